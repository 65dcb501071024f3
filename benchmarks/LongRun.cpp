// SPDX-License-Identifier: AGPL-3.0-only
// A day of audio, or every corner of the controls, through the plug-in's processor without a pause. scripts/long-run.sh
// builds and runs this; it is no test because of the time that it takes.

#include "processor/VarnelReverbAudioProcessor.h"
#include "render/ProgressBar.h"

#include <CLI/CLI.hpp>
#include <juce_events/juce_events.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

using varnel::VarnelReverbAudioProcessor;

namespace
{

constexpr double sampleRate = 48000.0;
constexpr int blockSize = 512;
constexpr size_t spinIndex = 1, bypassIndex = 5; // in the table of parameters

double decibels (double gain)
{
    return 20.0 * std::log10 (std::max (gain, 1e-30));
}

/** What the process has in memory, in MB. */
double residentMegabytes()
{
    const auto lines = juce::StringArray::fromLines (juce::File ("/proc/self/status").loadFileAsString());

    for (const auto& line : lines)
        if (line.startsWith ("VmRSS:"))
            return line.fromFirstOccurrenceOf (":", false, false).getDoubleValue() / 1024.0;

    return 0.0;
}

struct Reverb
{
    Reverb() { processor.prepareToPlay (sampleRate, blockSize); }

    /** Moves a parameter, as a host does. @param value  0 to 1 */
    void move (size_t index, double value)
    {
        processor.parameterState.getParameter (varnel::parameterTable[index].id)->setValueNotifyingHost (static_cast<float> (value));
    }

    void setToDefaults()
    {
        for (const auto& parameter : varnel::parameterTable)
        {
            auto* const moved = processor.parameterState.getParameter (parameter.id);
            moved->setValueNotifyingHost (moved->convertTo0to1 (parameter.defaultValue));
        }
    }

    /** Runs the block that is in the buffer. */
    void run() { processor.processBlock (buffer, midi); }

    void run (double seconds)
    {
        for (auto left = seconds * sampleRate; left > 0; left -= blockSize)
        {
            buffer.clear();
            run();
        }
    }

    VarnelReverbAudioProcessor processor { VarnelReverbAudioProcessor::UserSettings::ignored, VarnelReverbAudioProcessor::Buses::on };
    juce::AudioBuffer<float> buffer { 2, blockSize };
    juce::MidiBuffer midi;
};

/** What an hour's output was like. */
struct Levels
{
    void add (const juce::AudioBuffer<float>& buffer)
    {
        for (int channel = 0; channel < buffer.getNumChannels(); ++channel)
            for (int i = 0; i < buffer.getNumSamples(); ++i)
            {
                const auto sample = static_cast<double> (buffer.getSample (channel, i));
                allFinite = allFinite && std::isfinite (sample);
                sum += sample;
                squares += sample * sample;
                peak = std::max (peak, std::abs (sample));
                ++count;
            }
    }

    double level() const { return decibels (std::sqrt (squares / count)); }
    double offset() const { return decibels (std::abs (sum / count)); }

    double sum = 0.0, squares = 0.0, peak = 0.0, count = 0.0;
    bool allFinite = true;
};

/** Fills a block with the programme of an hour: bursts of noise with pauses between them, the same in every hour. */
void fillWithBursts (juce::AudioBuffer<float>& buffer, juce::int64 position, std::minstd_rand& random)
{
    std::uniform_real_distribution<float> sample { -1.0f, 1.0f };
    const auto isLoud = position / static_cast<int> (sampleRate) % 5 < 2;

    for (int channel = 0; channel < 2; ++channel)
        for (int i = 0; i < buffer.getNumSamples(); ++i)
            buffer.setSample (channel, i, isLoud ? sample (random) : 0.0f);
}

/** The answer to an impulse at the defaults, without modulation: two seconds or so, left and right in turn. */
std::vector<float> responseOf (Reverb& reverb)
{
    reverb.setToDefaults();
    reverb.move (spinIndex, 0.0);
    reverb.run (5.0); // for the controls to get where they are going

    // Off and on: nothing of before is heard.
    reverb.move (bypassIndex, 0.0);
    reverb.run (blockSize / sampleRate);
    reverb.move (bypassIndex, 1.0);

    std::vector<float> samples;
    for (int block = 0; block < 200; ++block)
    {
        reverb.buffer.clear();
        reverb.buffer.setSample (0, 0, block == 0 ? 1.0f : 0.0f);
        reverb.run();
        for (int channel = 0; channel < 2; ++channel)
            samples.insert (samples.end(), reverb.buffer.getReadPointer (channel), reverb.buffer.getReadPointer (channel) + blockSize);
    }
    return samples;
}

/** In dB. */
double energy (const std::vector<float>& samples)
{
    auto sum = 0.0;
    for (const auto sample : samples)
        sum += std::pow (static_cast<double> (sample), 2.0);
    return decibels (std::sqrt (sum));
}

double difference (std::vector<float> one, const std::vector<float>& other)
{
    for (size_t i = 0; i < one.size(); ++i)
        one[i] -= other[i];
    return energy (one) - energy (other);
}

/** Runs hours of audio while the controls move: slowly in each hour's first half, as white noise in its second. */
bool runHours (int numHours)
{
    Reverb reverb;
    const auto blocksPerHour = static_cast<juce::int64> (3600.0 * sampleRate) / blockSize;
    std::vector<Levels> hours;
    std::vector<float> early;
    std::vector<double> memory;

    std::puts ("hour  level dBFS  peak dBFS  offset dBFS  memory MB");

    for (int hour = 0; hour < numHours; ++hour)
    {
        varnel::ProgressBar progress (true);
        Levels levels;
        std::minstd_rand random { 1 }; // all hours are alike, so that their figures can be compared
        std::uniform_real_distribution<double> position { 0.0, 1.0 };

        for (juce::int64 block = 0; block < blocksPerHour; ++block)
        {
            const auto seconds = static_cast<double> (block) * blockSize / sampleRate;

            for (size_t i = 0; i < varnel::parameterTable.size(); ++i)
            {
                if (block >= blocksPerHour / 2)
                    reverb.move (i, position (random));
                else if (i != bypassIndex && block % 20 == 0)
                    reverb.move (i, 0.5 + 0.5 * std::sin (seconds / (7.0 + 3.0 * static_cast<double> (i))));
            }

            // A session that is stored and loaded now and then
            if (block % 5000 == 0)
            {
                juce::MemoryBlock chunk;
                reverb.processor.getStateInformation (chunk);
                reverb.processor.setStateInformation (chunk.getData(), static_cast<int> (chunk.getSize()));
            }

            fillWithBursts (reverb.buffer, block * blockSize, random);
            reverb.run();
            levels.add (reverb.buffer);

            if (block % 500 == 0)
                progress.show ((hour + static_cast<double> (block) / static_cast<double> (blocksPerHour)) / numHours, seconds, "hour " + juce::String (hour + 1));
        }

        if (hour == 0)
            early = responseOf (reverb);

        hours.push_back (levels);
        memory.push_back (residentMegabytes());
        std::printf ("%4d  %10.4f  %9.4f  %11.1f  %9.1f%s\n", hour + 1, levels.level(), decibels (levels.peak), levels.offset(), memory.back(), levels.allFinite ? "" : "  not all of it finite");
        std::fflush (stdout);
    }

    const auto late = responseOf (reverb);
    Reverb fresh;
    const auto change = difference (late, early), levelChange = energy (late) - energy (responseOf (fresh));
    const auto drift = hours.back().level() - hours[hours.size() > 1 ? 1 : 0].level();
    const auto growth = memory.back() - memory.front();
    std::printf ("level of the last hour against the second: %+.5f dB\n", drift);
    std::printf ("memory at the end against the first hour: %+.2f MB\n", growth);
    std::printf ("answer to an impulse at the end: differs from that after an hour by %.1f dB, in level from a new instance's by %+.4f dB\n", change, levelChange);

    const auto allFinite = std::all_of (hours.begin(), hours.end(), [] (const auto& hour)
                                        { return hour.allFinite; });
    return allFinite && std::abs (drift) < 0.01 && growth < 1.0 && change < -100.0 && std::abs (levelChange) < 0.1;
}

/** Looks for the setting that makes most of noise at full scale. */
bool searchForGain()
{
    struct Setting
    {
        double size, spin, position, insert;
        Levels levels;
    };

    std::vector<Setting> settings;
    for (const auto size : { 0.0, 0.05, 0.1, 0.2, 0.33, 0.5, 0.6, 0.7, 0.8, 0.9, 1.0 })
        for (const auto position : { 0.0, 0.25, 0.5, 0.75, 1.0 })
            for (const auto insert : { 0.0, 1.0 })
                for (const auto spin : { 0.0, 1.0 })
                    settings.push_back ({ size, spin, position, insert, {} });

    // Both shelves as loud as they go: neither makes a tail longer, but they raise all that there is.
    const auto measure = [] (Setting& setting, double secondsBefore, double seconds, bool mono)
    {
        Reverb reverb;
        std::minstd_rand random { 1 };
        std::uniform_real_distribution<float> sample { -1.0f, 1.0f };
        const double values[] { setting.size, setting.spin, 1.0, 1.0, setting.position, 1.0, setting.insert };
        setting.levels = {};

        for (size_t i = 0; i < varnel::parameterTable.size(); ++i)
            reverb.move (i, values[i]);

        for (auto time = -secondsBefore; time < seconds; time += blockSize / sampleRate)
        {
            for (int channel = 0; channel < 2; ++channel)
                for (int i = 0; i < blockSize; ++i)
                    reverb.buffer.setSample (channel, i, mono && channel == 1 ? reverb.buffer.getSample (0, i) : sample (random));

            reverb.run();
            if (time >= 0.0)
                setting.levels.add (reverb.buffer);
        }
    };

    {
        varnel::ProgressBar progress (true);
        for (size_t i = 0; i < settings.size(); ++i)
        {
            progress.show (static_cast<double> (i) / static_cast<double> (settings.size()), 40.0 * static_cast<double> (i), "looking");
            measure (settings[i], 20.0, 20.0, false);
        }
    }

    std::sort (settings.begin(), settings.end(), [] (const auto& a, const auto& b)
               { return a.levels.squares > b.levels.squares; });

    // The longest tails take half an hour to build up, so the largest sizes are looked at again with the loudest settings.
    const auto noiseLevel = decibels (std::sqrt (1.0 / 3.0));
    auto allFinite = true;
    std::puts ("Size  Spin  Position  Insert Mode  input   gain dB  peak (full scale 1)");
    for (size_t i = 0; i < 3; ++i)
        for (const auto size : { 0.9, 1.0 })
            for (const auto mono : { false, true })
            {
                auto setting = settings[i];
                setting.size = size;
                measure (setting, 1800.0, 600.0, mono);
                allFinite = allFinite && setting.levels.allFinite;
                std::printf ("%4.0f  %4.0f  %8.0f  %11s  %6s  %7.2f  %7.2f\n", setting.size * 100.0, setting.spin * 100.0, setting.position * 100.0, setting.insert > 0.5 ? "on" : "off", mono ? "mono" : "stereo", setting.levels.level() - noiseLevel, setting.levels.peak);
                std::fflush (stdout);
            }

    return allFinite;
}

} // namespace

int main (int argc, char** argv)
{
    CLI::App app { "Runs hours of audio through the plug-in while its controls move, and compares the hours; or looks for its largest gain." };
    int numHours = 24;
    bool gain = false;
    app.add_option ("--hours", numHours, "Hours of audio")->check (CLI::Range (1, 10000))->capture_default_str();
    app.add_flag ("--gain", gain, "Look for the setting that makes most of noise at full scale");
    CLI11_PARSE (app, argc, argv);

    const juce::ScopedJuceInitialiser_GUI juce;
    const auto isWell = gain ? searchForGain() : runHours (numHours);

    if (! isWell)
        std::fputs ("long-run: not as it should be\n", stderr);

    return isWell ? 0 : 1;
}
