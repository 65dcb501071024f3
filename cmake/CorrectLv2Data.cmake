# SPDX-License-Identifier: AGPL-3.0-only
# Usage: cmake -DBUNDLE=<folder.lv2> -P CorrectLv2Data.cmake
# Completes and corrects the data that JUCE writes for LV2 hosts. What is not found is left alone: the tests tell
# whether the outcome is valid.

file (READ "${BUNDLE}/manifest.ttl" manifest)
file (READ "${BUNDLE}/dsp.ttl" dsp)
file (READ "${BUNDLE}/ui.ttl" ui)

# A preset without a name, for the one program that every processor has
string (REGEX REPLACE "<[^>]*:preset1>[^.]*\\] \\.\n" "" manifest "${manifest}")

# The category, and what "maintainer" and "release" are said of
string (REPLACE "\ta lv2:Plugin ;" "\ta lv2:Plugin , lv2:ReverbPlugin , doap:Project ;" dsp "${dsp}")
string (REGEX REPLACE "\t\tfoaf:(homepage|mbox) <> ;\n" "" dsp "${dsp}")

# JUCE's wrapper reads every audio input: none may be left out.
string (REPLACE "\t\tlv2:portProperty lv2:connectionOptional ;\n" "" dsp "${dsp}")

# Units
foreach (parameter ReverbLo ReverbHi)
    string (REPLACE "plug:${parameter}\n\ta lv2:Parameter ;" "plug:${parameter}\n\ta lv2:Parameter ;\n\tunits:unit units:db ;" dsp "${dsp}")
endforeach()

foreach (parameter ReverbMod Position)
    string (REPLACE "plug:${parameter}\n\ta lv2:Parameter ;" "plug:${parameter}\n\ta lv2:Parameter ;\n\tunits:unit units:pc ;" dsp "${dsp}")
endforeach()

# Names that are used for what they are not
string (REPLACE "\t\tui:noUserResize ,\n" "" ui "${ui}")
string (REPLACE "\t\topts:interface ,\n\t\topts:options ;" "\t\topts:options ;" ui "${ui}")

file (WRITE "${BUNDLE}/manifest.ttl" "${manifest}")
file (WRITE "${BUNDLE}/dsp.ttl" "${dsp}")
file (WRITE "${BUNDLE}/ui.ttl" "${ui}")
