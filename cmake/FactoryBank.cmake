# SPDX-License-Identifier: AGPL-3.0-only
# Reads presets/factory for whatever has the bank built in. Adding a preset configures anew.
#
# VARNEL_PRESETS: the presets' numbers. Of preset N: VARNEL_PRESET_N_NAME, _FOLDER (empty for the start sound), and _VALUES,
# in the parameters' order.

set (VARNEL_PRESETS)
set (bank_names)
file (GLOB_RECURSE bank_files RELATIVE "${PROJECT_SOURCE_DIR}/presets/factory" CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/presets/factory/*.xml")

# Files of the bank itself first, then folder by folder
set (bank_roots ${bank_files})
list (FILTER bank_roots EXCLUDE REGEX "/")
list (FILTER bank_files INCLUDE REGEX "/")

foreach (bank_file IN LISTS bank_roots bank_files)
    file (READ "${PROJECT_SOURCE_DIR}/presets/factory/${bank_file}" bank_text)
    set (bank_values)

    foreach (bank_id ReverbSize ReverbMod ReverbLo ReverbHi Position Bypass ReverbInsertMode)
        if (NOT bank_text MATCHES "<PARAM id=\"${bank_id}\" value=\"(-?[0-9]+\\.[0-9]+)\"/>")
            message (FATAL_ERROR "presets/factory/${bank_file} has no value for ${bank_id}")
        endif()

        list (APPEND bank_values ${CMAKE_MATCH_1})
    endforeach()

    get_filename_component (bank_name "${bank_file}" NAME_WLE)
    get_filename_component (bank_folder "${bank_file}" DIRECTORY)

    if (bank_name IN_LIST bank_names)
        message (FATAL_ERROR "presets/factory has two presets with the name ${bank_name}")
    endif()

    list (LENGTH VARNEL_PRESETS bank_number)
    list (APPEND bank_names "${bank_name}")
    list (APPEND VARNEL_PRESETS ${bank_number})
    set (VARNEL_PRESET_${bank_number}_NAME "${bank_name}")
    set (VARNEL_PRESET_${bank_number}_FOLDER "${bank_folder}")
    set (VARNEL_PRESET_${bank_number}_VALUES ${bank_values})
endforeach()
