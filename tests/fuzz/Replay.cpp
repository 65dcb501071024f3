// SPDX-License-Identifier: AGPL-3.0-only
// Usage: varnel-corpus-tests FUZZER FILE...
// All fuzzers in one program that makes nothing up, for builds without libFuzzer: each file is fed to one of them.

#include "Fuzz.h"

#include <cstring>

#define LLVMFuzzerTestOneInput audioFileFuzzer
#include "AudioFileFuzzer.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput binaryRecordFuzzer
#include "BinaryRecordFuzzer.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput chunkFuzzer
#include "ChunkFuzzer.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput clapStateFuzzer
#include "ClapStateFuzzer.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput midiFuzzer
#include "MidiFuzzer.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput nksFuzzer
#include "NksFuzzer.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput presetFuzzer
#include "PresetFuzzer.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput settingsFuzzer
#include "SettingsFuzzer.cpp"
#undef LLVMFuzzerTestOneInput

int main (int argc, char** argv)
{
    fuzz::environment();
    const std::pair<const char*, decltype (&chunkFuzzer)> fuzzers[] {
        { "audio-file", audioFileFuzzer }, { "binary-record", binaryRecordFuzzer }, { "chunk", chunkFuzzer }, { "clap-state", clapStateFuzzer }, { "midi", midiFuzzer }, { "nks", nksFuzzer }, { "preset", presetFuzzer }, { "settings", settingsFuzzer }
    };

    for (const auto& [name, fuzzer] : fuzzers)
        for (int i = 2; i < argc && std::strcmp (argv[1], name) == 0; ++i)
        {
            juce::MemoryBlock bytes;
            REQUIRE (juce::File::getCurrentWorkingDirectory().getChildFile (juce::String::fromUTF8 (argv[i])).loadFileAsData (bytes));
            std::printf ("%s\n", argv[i]);
            std::fflush (stdout);
            fuzzer (static_cast<const uint8_t*> (bytes.getData()), bytes.getSize());

            if (i + 1 == argc)
            {
                // JUCE would miss what never goes.
                fuzz::deleteHome();
                std::_Exit (0);
            }
        }

    return 1; // of no fuzzer, or without files
}
