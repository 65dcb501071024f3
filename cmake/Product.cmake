# SPDX-License-Identifier: AGPL-3.0-only
# What the product is called and known by, for the build, the formats' wrappers, the code (Product.h) and the packages.

set (VARNEL_RELEASE_DATE 2026-11-24) # of the version in the project's CMakeLists.txt
set (VARNEL_NAME "Varnel Reverb")
set (VARNEL_MAKER "Ostry")
set (VARNEL_MAKER_CODE Osty)
set (VARNEL_PRODUCT_CODE R6i9)
set (VARNEL_EFFECT_ID com.Ostry.Reverb)
set (VARNEL_LV2_URI "urn:ostry:varnel-reverb") # in sessions of hosts: never changes
set (VARNEL_CLAP_ID com.ostry.varnel-reverb)   # as the LV2 URI

# Below the machine's folder for application data, which on Linux is /opt to JUCE.
set (VARNEL_FACTORY_FOLDER "Application Support/${VARNEL_MAKER}/${VARNEL_NAME}/Factory Presets")

math (EXPR VARNEL_VERSION_CODE
      "(${PROJECT_VERSION_MAJOR} << 16) | (${PROJECT_VERSION_MINOR} << 8) | ${PROJECT_VERSION_PATCH}" OUTPUT_FORMAT HEXADECIMAL)

configure_file ("${PROJECT_SOURCE_DIR}/source/processor/Product.h.in" "${PROJECT_BINARY_DIR}/generated/processor/Product.h" @ONLY)
