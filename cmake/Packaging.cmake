# SPDX-License-Identifier: AGPL-3.0-only
# What is installed where, and the packages made of it. The programs' own rules stand beside their targets.

set (CPACK_PACKAGE_CONTACT "Ostry <nobody@ostry.invalid>")

# Installs files as Debian wants its manual pages and changelogs. Old copies are made anew when what they are made of changes.
function (varnel_install_compressed destination)
    foreach (file IN LISTS ARGN)
        cmake_path (GET file FILENAME name)
        configure_file ("${file}" "${PROJECT_BINARY_DIR}/compressed/${name}" COPYONLY)
        execute_process (COMMAND gzip -9 --no-name --force --keep "${PROJECT_BINARY_DIR}/compressed/${name}" COMMAND_ERROR_IS_FATAL ANY)
        install (FILES "${PROJECT_BINARY_DIR}/compressed/${name}.gz" DESTINATION ${destination})
    endforeach()
endfunction()

# The factory folder is one place on the machine, whatever the prefix; DESTDIR is respected. Archives for systems where
# nothing is installed as on Linux hold it beside the rest.
if (WIN32 OR APPLE)
    set (factory_folder "Factory Presets")
else()
    set (factory_folder "/opt/${VARNEL_FACTORY_FOLDER}")
endif()

install (DIRECTORY presets/factory/ DESTINATION "${factory_folder}" COMPONENT presets EXCLUDE_FROM_ALL)

if (WIN32 OR APPLE)
    foreach (format VST3 AU)
        if (TARGET VarnelReverb_${format})
            get_target_property (bundle VarnelReverb_${format} JUCE_PLUGIN_ARTEFACT_FILE)
            install (DIRECTORY "${bundle}" DESTINATION ${format} USE_SOURCE_PERMISSIONS)
        endif()
    endforeach()

    install (DIRECTORY "$<TARGET_FILE_DIR:VarnelReverb_LV2>" DESTINATION LV2 USE_SOURCE_PERMISSIONS)

    install (FILES "${PROJECT_SOURCE_DIR}/LICENSE" "${PROJECT_SOURCE_DIR}/docs/manual.md" DESTINATION .)
else()
    set (desktop "${PROJECT_SOURCE_DIR}/assets/desktop")
    set (appstream_id com.ostry.varnel_reverb)

    # Hosts look into lib, whatever libraries' folders are called elsewhere.
    if (TARGET VarnelReverb_VST3)
        get_target_property (vst3_bundle VarnelReverb_VST3 JUCE_PLUGIN_ARTEFACT_FILE)
        install (DIRECTORY "${vst3_bundle}" DESTINATION lib/vst3)
    endif()

    if (TARGET VarnelReverb_LV2)
        install (DIRECTORY "$<TARGET_FILE_DIR:VarnelReverb_LV2>" DESTINATION lib/lv2)
    endif()

    if (TARGET VarnelReverb_CLAP)
        install (FILES "$<TARGET_FILE:VarnelReverb_CLAP>" DESTINATION lib/clap)
    endif()

    # AppStream takes pictures from a server only. Whoever publishes the project names theirs; this one is none.
    set (VARNEL_SCREENSHOTS "https://ostry.invalid/varnel-reverb/docs/images" CACHE STRING "Where the pictures in docs/images can be fetched")
    configure_file ("${desktop}/${appstream_id}.metainfo.xml" "${CMAKE_CURRENT_BINARY_DIR}/${appstream_id}.metainfo.xml" @ONLY)

    install (FILES "${desktop}/varnel-reverb.desktop" DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
    install (FILES "${desktop}/varnel-reverb.svg" DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
    install (FILES "${CMAKE_CURRENT_BINARY_DIR}/${appstream_id}.metainfo.xml" DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
    varnel_install_compressed (${CMAKE_INSTALL_MANDIR}/man1 "${desktop}/varnel-reverb.1" "${desktop}/varnel-render.1")
    install (FILES "${desktop}/completions/varnel-render.bash" DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME varnel-render)
    install (FILES "${desktop}/completions/_varnel-render" DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
    install (FILES "${desktop}/completions/varnel-render.fish" DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
    install (FILES "${desktop}/copyright" "${PROJECT_SOURCE_DIR}/LICENSE" DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/varnel-reverb)

    execute_process (COMMAND "${CMAKE_COMMAND}" -E env LC_ALL=C date -u -R -d ${VARNEL_RELEASE_DATE} OUTPUT_VARIABLE release_day OUTPUT_STRIP_TRAILING_WHITESPACE)
    configure_file ("${desktop}/changelog.in" "${PROJECT_BINARY_DIR}/changelog" @ONLY)
    configure_file ("${PROJECT_SOURCE_DIR}/CHANGELOG.md" "${PROJECT_BINARY_DIR}/NEWS.md" COPYONLY)
    varnel_install_compressed (${CMAKE_INSTALL_DATADIR}/doc/varnel-reverb "${PROJECT_BINARY_DIR}/changelog" "${PROJECT_BINARY_DIR}/NEWS.md")
    install (FILES "${desktop}/lintian-overrides" DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME varnel-reverb)

    set (face_licence /usr/share/doc/fonts-league-spartan/copyright)
    if (EXISTS "${face_licence}")
        install (FILES "${face_licence}" DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/varnel-reverb RENAME copyright.league-spartan)
    endif()
endif()

set (CPACK_PACKAGE_NAME varnel-reverb)
set (CPACK_INSTALL_PREFIX /usr)
set (CPACK_PACKAGE_VENDOR "${VARNEL_MAKER}")
set (CPACK_PACKAGE_DESCRIPTION_SUMMARY "stereo algorithmic reverb")
set (CPACK_PACKAGE_DESCRIPTION "A reverb with seven controls: a plug-in for hosts of VST3, LV2 and CLAP,\n a program with the same window for sound cards and JACK, and one that\n puts it on audio files.")
set (CPACK_RESOURCE_FILE_LICENSE "${PROJECT_SOURCE_DIR}/LICENSE")
set (CPACK_PACKAGE_DIRECTORY "${PROJECT_BINARY_DIR}/packages")
set (CPACK_STRIP_FILES ON)

# Packages hold the factory's presets as well, which lie in a place of their own.
if (WIN32 OR APPLE)
    set (CPACK_GENERATOR ZIP)
else()
    set (CPACK_GENERATOR DEB TGZ)
    set (CPACK_SET_DESTDIR ON)
endif()

set (CPACK_INSTALL_CMAKE_PROJECTS
     "${PROJECT_BINARY_DIR};${PROJECT_NAME};ALL;/;${PROJECT_BINARY_DIR};${PROJECT_NAME};presets;/")

set (CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set (CPACK_DEBIAN_PACKAGE_ARCHITECTURE "${VARNEL_DEBIAN_ARCHITECTURE}") # empty: that of the building machine
set (CPACK_DEBIAN_PACKAGE_SECTION sound)
set (CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)

# What is opened at run time, where no tool sees it; without any font the window has no words.
set (CPACK_DEBIAN_PACKAGE_DEPENDS "libx11-6, libxext6, libxrender1, libxinerama1, libxrandr2, libxcursor1, fonts-dejavu-core | fonts-freefont-ttf | fonts-noto-core")
set (CPACK_DEBIAN_PACKAGE_RECOMMENDS "libjack-jackd2-0 | libjack-0.125 | pipewire-jack, xdg-utils")

# CPack would have every package with a library in it call ldconfig, those with bundles too, unless it is given scripts of
# these names. It leaves out those that are not there. For a library a trigger does it.
set (CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/none/postinst;${PROJECT_BINARY_DIR}/none/postrm")

include (CPack)

# The C library and the Python module are packages of their own: see scripts/package.sh. Each has what Debian asks of any.
set (components_apart library library-development python)
set (packages_apart libvarnel-reverb1 libvarnel-reverb-dev python3-varnel)
foreach (component package IN ZIP_LISTS components_apart packages_apart)
    set (documents ${CMAKE_INSTALL_DATADIR}/doc/${package})
    install (FILES "${PROJECT_SOURCE_DIR}/assets/desktop/copyright" DESTINATION ${documents} COMPONENT ${component} EXCLUDE_FROM_ALL)
    install (FILES "${PROJECT_BINARY_DIR}/compressed/changelog.gz" DESTINATION ${documents} COMPONENT ${component} EXCLUDE_FROM_ALL OPTIONAL)
    file (CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/overrides/${package}" CONTENT
          "# Named as the licence of a part that came under a choice of two\n${package}: copyright-not-using-common-license-for-gpl\n")
    install (FILES "${PROJECT_BINARY_DIR}/overrides/${package}" DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()

file (WRITE "${PROJECT_BINARY_DIR}/triggers" "activate-noawait ldconfig\n")
configure_file ("${CMAKE_CURRENT_LIST_DIR}/CPackLibraries.cmake.in" "${PROJECT_BINARY_DIR}/CPackLibraries.cmake" @ONLY)
