# SPDX-License-Identifier: AGPL-3.0-only
# Derives the caption face of the window from an openly licensed font of the system.
#
# Include this in the CMakeLists.txt that embeds the face, since the rule below is known there only.
# VARNEL_CAPTION_FACE is then the file to embed; its name makes it avenirHeavy_otf.

set (VARNEL_CAPTION_FONT "/usr/share/fonts/opentype/league-spartan/LeagueSpartan-Bold.otf" CACHE FILEPATH
     "Static OpenType or TrueType font that the caption face is derived from")

set (VARNEL_CAPTION_FACE "${CMAKE_BINARY_DIR}/assets/avenirHeavy.otf")
set (caption_face_script "${CMAKE_CURRENT_LIST_DIR}/../assets/make_caption_face.py")

if (NOT EXISTS "${VARNEL_CAPTION_FONT}")
    message (FATAL_ERROR "The font for the captions, ${VARNEL_CAPTION_FONT}, was not found. Run scripts/setup.sh, "
                         "install the package fonts-league-spartan, or name another font with -DVARNEL_CAPTION_FONT=<file>.")
endif()

# The first Python in the path is often one that does not see the modules of the system's packages.
function (find_fonttools_python result)
    find_package (Python3 COMPONENTS Interpreter QUIET)

    foreach (candidate IN ITEMS "${VARNEL_FONTTOOLS_PYTHON}" "${Python3_EXECUTABLE}" /usr/bin/python3 python3 python)
        if (candidate)
            execute_process (COMMAND "${candidate}" -c "import fontTools.ttLib.scaleUpem"
                             RESULT_VARIABLE failure OUTPUT_QUIET ERROR_QUIET)

            if (failure STREQUAL "0")
                set (${result} "${candidate}" PARENT_SCOPE)
                return()
            endif()
        endif()
    endforeach()

    message (FATAL_ERROR "No Python 3 with fontTools 4.37 or later was found. Run scripts/setup.sh, install the package "
                         "python3-fonttools, or name an interpreter with -DVARNEL_FONTTOOLS_PYTHON=<file>.")
endfunction()

set (VARNEL_FONTTOOLS_PYTHON "" CACHE FILEPATH "Python 3 interpreter with fontTools; empty to look for one")
find_fonttools_python (caption_face_python)
message (STATUS "Captions: ${VARNEL_CAPTION_FONT}, made with ${caption_face_python}")

file (MAKE_DIRECTORY "${CMAKE_BINARY_DIR}/assets")

add_custom_command (OUTPUT "${VARNEL_CAPTION_FACE}"
                    COMMAND "${caption_face_python}" "${caption_face_script}" "${VARNEL_CAPTION_FONT}" "${VARNEL_CAPTION_FACE}"
                    DEPENDS "${caption_face_script}" "${VARNEL_CAPTION_FONT}"
                    COMMENT "Making the caption face"
                    VERBATIM)
