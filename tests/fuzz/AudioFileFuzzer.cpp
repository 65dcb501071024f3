// SPDX-License-Identifier: AGPL-3.0-only
// An audio file that the renderer is asked to read, and whose metadata it hands on.

#include "Fuzz.h"

#include "render/Errors.h"
#include "render/InputAudioFile.h"
#include "render/OutputAudioFile.h"
#include "render/SampleRates.h"

/** libsndfile 1.2.0 forgets what it began of a Vorbis stream whose header is damaged: 6 kB for each such file. */
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:vorbis_info_init";
}

int LLVMFuzzerTestOneInput (const uint8_t* data, size_t size)
{
    fuzz::environment();
    constexpr int blockSize = 512;
    constexpr std::int64_t enoughSamples = 1 << 16; // a few bytes can stand for hours of silence

    try
    {
        varnel::InputAudioFile file (fuzz::fileOf ("input", data, size).getFullPathName().toStdString());
        REQUIRE (file.numChannels() > 0 && file.numFrames().value_or (1) > 0);
        REQUIRE (file.sampleRate() >= varnel::lowestSampleRate && file.sampleRate() <= varnel::highestSampleRate);

        std::vector<double> block (static_cast<size_t> (file.numChannels() * blockSize));
        const auto end = std::max<std::int64_t> (blockSize, enoughSamples / file.numChannels());

        for (std::int64_t at = 0; at < end && file.read (block.data(), blockSize) == blockSize;)
            at += blockSize;

        lostIn ({ varnel::Container::wav, varnel::Encoding::int16, false, file.sampleRate(), file.numChannels(), 1, false }, file.metadata());
    }
    catch (const varnel::RenderError&)
    {
        // What it is for
    }

    return 0;
}
