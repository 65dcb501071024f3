# SPDX-License-Identifier: AGPL-3.0-only
# Compiles through ccache where that is in use: its store has to be there, since a build leaves nothing in a home of its own accord.

find_program (VARNEL_CCACHE ccache)

if (VARNEL_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    execute_process (COMMAND "${VARNEL_CCACHE}" --get-config cache_dir OUTPUT_VARIABLE store ERROR_QUIET OUTPUT_STRIP_TRAILING_WHITESPACE)

    if (IS_DIRECTORY "${store}")
        set (CMAKE_C_COMPILER_LAUNCHER "${VARNEL_CCACHE}")
        set (CMAKE_CXX_COMPILER_LAUNCHER "${VARNEL_CCACHE}")
        message (STATUS "ccache: ${store}")
    else()
        message (STATUS "ccache is not used: make its store, ${store}, if it is to be")
    endif()
endif()
