# SPDX-License-Identifier: AGPL-3.0-only
# Warnings for our own code.

option (VARNEL_WARNINGS_AS_ERRORS "Treat warnings in our own code as errors" ON)

if (MSVC)
    set (VARNEL_WARNINGS /W4 $<$<BOOL:${VARNEL_WARNINGS_AS_ERRORS}>:/WX>)
else()
    set (VARNEL_WARNINGS -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
         -Woverloaded-virtual -Wold-style-cast -Wcast-align -Wunused
         $<$<BOOL:${VARNEL_WARNINGS_AS_ERRORS}>:-Werror>)

    # To the compiler, a file that is compiled together with others is a header.
    if (CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        list (APPEND VARNEL_WARNINGS -Wno-subobject-linkage)
    endif()
endif()

# Arguments: targets
function (varnel_warn_about)
    foreach (target IN LISTS ARGN)
        target_compile_options (${target} PRIVATE "$<$<COMPILE_LANGUAGE:CXX>:${VARNEL_WARNINGS}>")
    endforeach()
endfunction()
