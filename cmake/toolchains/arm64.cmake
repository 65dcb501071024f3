# SPDX-License-Identifier: AGPL-3.0-only
# 64-bit ARM Linux, built on another Debian with its cross compiler, and with the libraries that `scripts/setup.sh --arch arm64`
# unpacks. Programs of the target, JUCE's helpers among them, run under qemu's emulation.

set (CMAKE_SYSTEM_NAME Linux)
set (CMAKE_SYSTEM_PROCESSOR aarch64)
set (VARNEL_DEBIAN_ARCHITECTURE arm64)
set (CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set (CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

get_filename_component (CMAKE_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../../.sysroot-arm64" REALPATH)
set (CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L "${CMAKE_SYSROOT}")

set (CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set (CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set (CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set (CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The building machine's pkg-config tells of the unpacked libraries. JUCE's own program, which is built for this machine
# from within, asks it too: hence no environment variables.
set (PKG_CONFIG_ARGN "--personality=${CMAKE_BINARY_DIR}/arm64.personality")
file (WRITE "${CMAKE_BINARY_DIR}/arm64.personality"
      "Triplet: aarch64-linux-gnu\n"
      "SysrootDir: ${CMAKE_SYSROOT}\n"
      "DefaultSearchPaths: ${CMAKE_SYSROOT}/usr/lib/aarch64-linux-gnu/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig\n"
      "SystemIncludePaths: ${CMAKE_SYSROOT}/usr/include\n"
      "SystemLibraryPaths: ${CMAKE_SYSROOT}/usr/lib/aarch64-linux-gnu\n")
