# SPDX-License-Identifier: AGPL-3.0-only
# Makes JUCE 8 available, by one of three roads that lead to the same targets (juce::juce_core and so on):
#   1. the tree that VARNEL_JUCE_DIR names,
#   2. an installed JUCE 8 (on Debian 13 and later the package juce-modules-source),
#   3. the tree that scripts/setup.sh unpacks into .juce where no package will do.

set (fetched_juce "${PROJECT_SOURCE_DIR}/.juce")

if (NOT VARNEL_JUCE_DIR)
    # Installed JUCEs accept their exact version only, so ask which there are before loading one.
    find_package (JUCE 8 CONFIG QUIET)

    foreach (version IN LISTS JUCE_CONSIDERED_VERSIONS)
        if (NOT JUCE_FOUND AND version MATCHES "^8\\.")
            find_package (JUCE ${version} EXACT CONFIG QUIET)
        endif()
    endforeach()
endif()

if (VARNEL_JUCE_DIR)
    set (juce_tree "${VARNEL_JUCE_DIR}")
elseif (NOT JUCE_FOUND AND EXISTS "${fetched_juce}/CMakeLists.txt")
    set (juce_tree "${fetched_juce}")
endif()

if (juce_tree)
    file (STRINGS "${juce_tree}/CMakeLists.txt" juce_version REGEX "project *\\( *JUCE +VERSION +8\\.")
    if (NOT juce_version)
        message (FATAL_ERROR "${juce_tree} does not hold a JUCE 8 source tree")
    endif()

    message (STATUS "JUCE: source tree ${juce_tree}")

    # JUCE's own folder in a build holds one thing that takes minutes: a program that it builds for itself while it is
    # configured. No build needs it to be another one, with other flags or symbols.
    set (juce_binaries "${CMAKE_BINARY_DIR}/juce")

    if (VARNEL_JUCE_TOOLS_DIR)
        string (SHA1 name "${juce_tree}")
        string (SUBSTRING ${name} 0 8 name)
        set (juce_binaries "${VARNEL_JUCE_TOOLS_DIR}/${name}")
        file (MAKE_DIRECTORY "${juce_binaries}")
        file (LOCK "${juce_binaries}" DIRECTORY GUARD PROCESS)
    endif()

    if (NOT EXISTS "${juce_binaries}/tools/CMakeCache.txt")
        file (WRITE "${juce_binaries}/tools/CMakeCache.txt" "CMAKE_CXX_FLAGS_DEBUG:STRING=\n")
    endif()

    # Clang builds it in half the time.
    find_program (clang clang NO_CACHE)
    find_program (clangxx clang++ NO_CACHE)

    if (clang AND clangxx AND NOT "$ENV{CC}$ENV{CXX}")
        set (ENV{CC} "${clang}")
        set (ENV{CXX} "${clangxx}")
        add_subdirectory ("${juce_tree}" "${juce_binaries}" EXCLUDE_FROM_ALL)
        unset (ENV{CC})
        unset (ENV{CXX})
    else()
        add_subdirectory ("${juce_tree}" "${juce_binaries}" EXCLUDE_FROM_ALL)
    endif()
elseif (JUCE_FOUND)
    message (STATUS "JUCE: installed package ${JUCE_DIR}")
else()
    message (FATAL_ERROR "JUCE 8 was not found. Run scripts/setup.sh, or name a JUCE 8 tree with -DVARNEL_JUCE_DIR=<folder>.")
endif()

get_target_property (VARNEL_JUCE_MODULES juce::juce_core INTERFACE_JUCE_MODULE_PATH)

# What JUCE's modules are compiled with in the targets of the folder that calls this. It is most of what there is to compile,
# and hardly any of it is in the way of a sample: windows and letters are as quick with less optimisation. Sanitizers look for
# faults of ours; at memory and threads they can do so only where all code takes part, and then at what is quickest to compile.
function (varnel_compile_juce_quickly)
    file (GLOB modules "${VARNEL_JUCE_MODULES}/juce_*/juce_*.c*")
    set_source_files_properties (${modules} PROPERTIES SKIP_UNITY_BUILD_INCLUSION TRUE) # each is many files as it is

    set_property (SOURCE ${modules} PROPERTY COMPILE_OPTIONS $<IF:$<CXX_COMPILER_ID:MSVC>,/w,-w>) # warnings are not ours to mend

    if (MSVC)
        return()
    endif()

    if (VARNEL_SANITIZERS)
        set_property (SOURCE ${modules} APPEND PROPERTY COMPILE_OPTIONS -O0 -g1 -fno-sanitize=undefined)
    else()
        list (FILTER modules INCLUDE REGEX "juce_gui|Harfbuzz")
        set_property (SOURCE ${modules} APPEND PROPERTY COMPILE_OPTIONS "$<$<CONFIG:Release>:-O1>")
    endif()
endfunction()
