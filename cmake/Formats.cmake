# SPDX-License-Identifier: AGPL-3.0-only
# The formats that the plug-in is built in, and what each of them is told in its own terms.

set (VARNEL_AAX_SDK_DIR "" CACHE PATH "An AAX SDK; the AAX format is built only if this names one, and needs an upstream JUCE")

# Programs that JUCE builds and runs while it builds these formats cannot load what a sanitizer has instrumented.
if (NOT VARNEL_SANITIZERS)
    set (VARNEL_FORMATS VST3 LV2)

    if (APPLE)
        list (APPEND VARNEL_FORMATS AU) # of type aumf, an effect that hears MIDI: auval -v aumf R6i9 Osty
    endif()
endif()

# CLAP is ours alone, and needs no such program.
set (VARNEL_CLAP_DIR "" CACHE PATH "A folder with CLAP's headers (include/clap in it); empty for those of Debian's dpf-source")

if (CMAKE_SYSTEM_NAME STREQUAL "Linux")
    if (VARNEL_CLAP_DIR)
        set (folders "${VARNEL_CLAP_DIR}/include" "${VARNEL_CLAP_DIR}")
    else()
        set (folders /usr/include /usr/share/dpf/distrho/src)
    endif()

    foreach (folder IN LISTS folders)
        if (NOT VARNEL_CLAP_HEADERS AND EXISTS "${folder}/clap/ext/params.h")
            set (VARNEL_CLAP_HEADERS "${folder}")
        endif()
    endforeach()

    if (VARNEL_CLAP_HEADERS)
        message (STATUS "CLAP: headers in ${VARNEL_CLAP_HEADERS}")
    elseif (VARNEL_CLAP_DIR)
        message (FATAL_ERROR "${VARNEL_CLAP_DIR} does not hold CLAP's headers (include/clap)")
    else()
        message (STATUS "CLAP is not built: its headers were not found. Install dpf-source, or name a folder with -DVARNEL_CLAP_DIR=<folder>.")
    endif()
endif()

if (VARNEL_AAX_SDK_DIR)
    juce_set_aax_sdk_path ("${VARNEL_AAX_SDK_DIR}")
    list (APPEND VARNEL_FORMATS AAX)
endif()

set (VARNEL_FORMAT_TERMS
     DESCRIPTION "${PROJECT_DESCRIPTION}"
     VST3_CATEGORIES Fx Reverb
     LV2URI ${VARNEL_LV2_URI}
     AAX_CATEGORY Reverb
     AAX_IDENTIFIER ${VARNEL_EFFECT_ID})

# JUCE's programs that describe the bundles load the plug-in, which would look for its user's settings, and start some.
# Whoever builds is no user: what runs in this folder's build has a home of its own.
set_property (DIRECTORY PROPERTY RULE_LAUNCH_CUSTOM
              "\"${CMAKE_COMMAND}\" -E env --unset=XDG_CONFIG_HOME --unset=XDG_CACHE_HOME --unset=XDG_DATA_HOME \"HOME=${PROJECT_BINARY_DIR}/home\"")
file (MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/home")

# What juce_add_plugin leaves to be done, once the target is there.
function (varnel_finish_formats target)
    # Not every program needs all that the shared code could use, a sound card for instance.
    if (NOT MSVC AND NOT APPLE)
        target_link_options (${target} INTERFACE -Wl,--as-needed)
    endif()

    # Bundles are installed as they lie in the build tree, where nobody strips them.
    foreach (format VST3 LV2)
        if (TARGET ${target}_${format} AND NOT MSVC AND NOT APPLE)
            target_link_options (${target}_${format} PRIVATE $<$<CONFIG:Release>:-Wl,--strip-all>)
        endif()
    endforeach()

    if (TARGET ${target}_LV2)
        # JUCE's generated header with the identifier comes too late where JUCE has been packaged.
        target_compile_definitions (${target}_LV2 PRIVATE JucePlugin_LV2URI="${VARNEL_LV2_URI}")

        add_custom_command (TARGET ${target}_LV2 POST_BUILD
                            COMMAND "${CMAKE_COMMAND}" -DBUNDLE=$<TARGET_FILE_DIR:${target}_LV2>
                                    -P "${PROJECT_SOURCE_DIR}/cmake/CorrectLv2Data.cmake"
                            VERBATIM)
    endif()
endfunction()
