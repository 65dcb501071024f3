# SPDX-License-Identifier: AGPL-3.0-only
# Warnings for our own code.

option (VARNEL_WARNINGS_AS_ERRORS "Treat warnings in our own code as errors" ON)

if (MSVC)
    set (VARNEL_WARNINGS /W4 $<$<BOOL:${VARNEL_WARNINGS_AS_ERRORS}>:/WX>)
else()
    set (VARNEL_WARNINGS -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
         -Woverloaded-virtual -Wold-style-cast -Wcast-align -Wunused
         $<$<BOOL:${VARNEL_WARNINGS_AS_ERRORS}>:-Werror>)
endif()

# Only the listed sources get the warnings: a target may also hold sources that are not ours.
function (varnel_warn_about)
    set_source_files_properties (${ARGN} PROPERTIES COMPILE_OPTIONS "${VARNEL_WARNINGS}")
endfunction()
