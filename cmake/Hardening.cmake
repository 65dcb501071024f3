# SPDX-License-Identifier: AGPL-3.0-only
# What makes a fault that somebody would exploit end the program instead: the flags that Debian builds its packages with.

option (VARNEL_HARDENING "Build release code with stack protection, checked library calls and read-only relocations" ON)

if (VARNEL_HARDENING AND CMAKE_SYSTEM_NAME STREQUAL "Linux" AND NOT VARNEL_SANITIZERS)
    include (CheckCXXCompilerFlag)
    include (CheckPIESupported)
    check_pie_supported (LANGUAGES C CXX)

    set (flags -fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)

    # Not every processor has these.
    foreach (flag -fstack-clash-protection -fcf-protection)
        string (MAKE_C_IDENTIFIER "VARNEL_HAS${flag}" has)
        check_cxx_compiler_flag (${flag} ${has})
        if (${has})
            list (APPEND flags ${flag})
        endif()
    endforeach()

    add_compile_options ("$<$<CONFIG:Release,RelWithDebInfo>:${flags}>")
    add_link_options ($<$<CONFIG:Release,RelWithDebInfo>:-Wl,-z,relro,-z,now,-z,noexecstack>)
endif()
