// SPDX-License-Identifier: AGPL-3.0-only
// The program varnel-render, run as a person or a script would run it.

#include "library/varnel_reverb.h"
#include "processor/PresetFile.h"
#include "processor/Product.h"
#include "processor/Settings.h"
#include "support/Plugin.h"

#include <gtest/gtest.h>
#include <sndfile.h>

#include <cmath>
#include <cstdlib>
#include <map>
#include <string_view>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

struct Result
{
    int status = -1;
    juce::String out, err;
};

/** Samples of a file as the library gives them: exact for integers of 32 bits and for all floats. */
struct Sound
{
    int channels = 0, rate = 0, format = 0;
    std::vector<double> samples; // interleaved

    int frames() const { return static_cast<int> (samples.size()) / std::max (1, channels); }
    double at (int frame, int channel) const { return samples[static_cast<size_t> (frame * channels + channel)]; }

    double peak (int from, int to, int channel) const
    {
        auto result = 0.0;
        for (int i = from; i < to; ++i)
            result = std::max (result, std::abs (at (i, channel)));
        return result;
    }

    /** The samples of some channels. */
    std::vector<double> only (std::initializer_list<int> which) const
    {
        std::vector<double> result;
        for (int i = 0; i < frames(); ++i)
            for (const auto channel : which)
                result.push_back (at (i, channel));
        return result;
    }
};

class Render : public testing::Test
{
protected:
    Render() { folder.createDirectory(); }

    ~Render() override
    {
        folder.setReadOnly (false);
        folder.deleteRecursively();
    }

    juce::File file (const juce::String& name) const { return folder.getChildFile (name); }

    juce::MemoryBlock bytes (const juce::String& name) const
    {
        juce::MemoryBlock block;
        EXPECT_TRUE (file (name).loadFileAsData (block)) << name;
        return block;
    }

    /** Runs a line of shell script in the test's folder. */
    Result shell (const juce::String& script) const
    {
        const auto out = juce::File::createTempFile ("out"), err = juce::File::createTempFile ("err");
        const auto command = "cd '" + folder.getFullPathName() + "' && { " + script + "; } >'" + out.getFullPathName() + "' 2>'" + err.getFullPathName() + "'";
        const auto status = std::system (command.toRawUTF8());
        Result result { WIFEXITED (status) ? WEXITSTATUS (status) : -1, out.loadFileAsString(), err.loadFileAsString() };
        out.deleteFile();
        err.deleteFile();

        // JUCE introduces itself in debug builds.
        if (result.err.startsWith ("JUCE v"))
            result.err = result.err.fromFirstOccurrenceOf ("\n", false, false);

        EXPECT_FALSE (result.err.contains ("JUCE Assertion") || result.err.contains ("Leaked objects")) << result.err;
        return result;
    }

    Result render (const juce::String& arguments, const juce::String& before = {}) const
    {
        return shell (before + " '" VARNEL_RENDER_PROGRAM "' " + arguments);
    }

    void expectDone (const juce::String& arguments) const
    {
        const auto result = render (arguments);
        ASSERT_EQ (result.status, 0) << arguments << ": " << result.err;
    }

    /** Expects one line on standard error that holds all the words, no output file and nothing left behind. */
    void expectRefusal (const Result& result, int status, const std::vector<const char*>& words) const
    {
        EXPECT_EQ (result.status, status) << result.err;
        EXPECT_EQ (result.out, "");
        EXPECT_TRUE (status != 1 || juce::StringArray::fromLines (result.err.trimEnd()).size() == 1) << result.err;
        for (const auto* word : words)
            EXPECT_TRUE (result.err.contains (word)) << "\"" << word << "\" is not in: " << result.err;
        expectNothingLeft ("*out*");
        expectNothingLeft (".varnel*");
    }

    void expectNothingLeft (const juce::String& pattern) const
    {
        for (const auto& left : folder.findChildFiles (juce::File::findFilesAndDirectories, true, pattern))
            ADD_FAILURE() << "left behind: " << left.getFullPathName();
    }

    /** A recording of decaying sines and clicks, different in each channel. */
    static Sound audio (int channels, int frames, int rate = 44100, int format = SF_FORMAT_WAV | SF_FORMAT_PCM_16)
    {
        Sound sound { channels, rate, format, {} };
        for (int i = 0; i < frames; ++i)
            for (int channel = 0; channel < channels; ++channel)
                sound.samples.push_back (std::round (16000.0 * std::sin (i * (channel + 2) * 0.02) * std::exp ((i % 5000) * -0.001)) / 32768.0);
        return sound;
    }

    void write (const juce::String& name, const Sound& sound, const std::function<void (SNDFILE*)>& describe = {}) const
    {
        SF_INFO info {};
        info.channels = sound.channels;
        info.samplerate = sound.rate;
        info.format = sound.format;
        auto* const target = sf_open (file (name).getFullPathName().toRawUTF8(), SFM_WRITE, &info);
        ASSERT_NE (target, nullptr) << name << ": " << sf_strerror (nullptr);
        if (describe)
            describe (target);
        sf_writef_double (target, sound.samples.data(), sound.frames());
        sf_close (target);
    }

    Sound read (const juce::String& name, const std::function<void (SNDFILE*)>& look = {}) const
    {
        SF_INFO info {};
        auto* const source = sf_open (file (name).getFullPathName().toRawUTF8(), SFM_READ, &info);
        EXPECT_NE (source, nullptr) << name << ": " << sf_strerror (nullptr);
        if (source == nullptr)
            return {};
        Sound sound { info.channels, info.samplerate, info.format, {} };
        std::vector<double> piece (static_cast<size_t> (info.channels) << 12);
        for (sf_count_t got = 0; (got = sf_read_double (source, piece.data(), static_cast<sf_count_t> (piece.size()))) > 0;)
            sound.samples.insert (sound.samples.end(), piece.begin(), piece.begin() + got);
        if (look)
            look (source);
        sf_close (source);
        return sound;
    }

    void expectEqual (const juce::String& a, const juce::String& b) const
    {
        const auto first = read (a), second = read (b);
        EXPECT_TRUE (first.samples == second.samples && first.frames() > 0) << a << " and " << b;
    }

    const juce::File folder = juce::File::createTempFile ("varnel render");
};

/** What the plug-in itself makes of the sound and a tail. @param preset  to load first */
std::vector<double> processed (const Sound& sound, int numOutputs, int tail = 0, const juce::File& preset = {})
{
    varnel::VarnelReverbAudioProcessor processor (varnel::VarnelReverbAudioProcessor::UserSettings::ignored);
    if (preset != juce::File())
        processor.setParameterState (varnel::treeFromState (varnel::readPresetFile (preset).state));
    const auto channels = [] (int n)
    { return juce::AudioChannelSet::discreteChannels (n); };
    processor.setBusesLayout ({ { channels (sound.channels) }, { channels (numOutputs) } });
    processor.prepareToPlay (sound.rate, 512);

    juce::AudioBuffer<float> buffer (numOutputs, sound.frames() + tail);
    buffer.clear();
    for (int channel = 0; channel < sound.channels; ++channel)
        for (int i = 0; i < sound.frames(); ++i)
            buffer.setSample (channel, i, static_cast<float> (sound.at (i, channel)));

    juce::MidiBuffer midi;
    processor.processBlock (buffer, midi);
    std::vector<double> result;
    for (int i = 0; i < buffer.getNumSamples(); ++i)
        for (int channel = 0; channel < numOutputs; ++channel)
            result.push_back (static_cast<double> (buffer.getSample (channel, i)));
    return result;
}

} // namespace

TEST_F (Render, GivesWhatThePluginGives)
{
    write ("in.wav", audio (2, 30000, 48000));
    const auto result = render ("in.wav out.wav --bits 32 --tail 0.25 --fade 0 --block 100");
    ASSERT_EQ (result.status, 0) << result.err;
    EXPECT_EQ (juce::StringArray::fromLines (result.out.trimEnd()).size(), 1);
    EXPECT_TRUE (result.out.startsWith ("out.wav: 0.88 s (0.25 s of it tail), peak in -6.2 dBFS")) << result.out;
    EXPECT_EQ (result.err, "");
    const auto out = read ("out.wav");
    EXPECT_EQ (out.rate, 48000);
    EXPECT_EQ (out.format & SF_FORMAT_SUBMASK, SF_FORMAT_FLOAT);
    EXPECT_EQ (out.samples, processed (audio (2, 30000, 48000), 2, 12000));

    // Mono is spread unless told not to; without the effect, both sides get the recording.
    write ("mono.wav", audio (1, 5000));
    expectDone ("mono.wav wide.wav --tail 0 --fade 0 --bits 32");
    expectDone ("mono.wav narrow.wav --tail 0 --fade 0 --bits 32 --mono");
    expectDone ("mono.wav dry.wav --tail 0 --set Effect=off");
    EXPECT_EQ (read ("wide.wav").samples, processed (audio (1, 5000), 2));
    EXPECT_EQ (read ("narrow.wav").samples, processed (audio (1, 5000), 1));
    EXPECT_EQ (read ("dry.wav").only ({ 0 }), audio (1, 5000).samples);
    EXPECT_EQ (read ("dry.wav").only ({ 1 }), audio (1, 5000).samples);

    // Of stereo, one channel is the mean.
    expectDone ("in.wav one.wav --bits 32 --tail 0.25 --fade 0 --mono");
    const auto one = read ("one.wav");
    ASSERT_EQ (one.frames(), out.frames());
    for (int i = 0; i < one.frames(); ++i)
        ASSERT_EQ (static_cast<float> (2.0 * one.at (i, 0)), static_cast<float> (out.at (i, 0)) + static_cast<float> (out.at (i, 1)));
}

TEST_F (Render, GivesWhatPluginAndLibraryGiveWithEveryPreset)
{
    const auto sound = audio (2, 12000, 48000);
    write ("in.wav", sound);
    varnel_reverb* reverb = nullptr;
    ASSERT_EQ (varnel_reverb_create (&reverb), VARNEL_REVERB_OK);
    const std::unique_ptr<varnel_reverb, void (*) (varnel_reverb*)> owner (reverb, varnel_reverb_destroy);
    const juce::File bank (VARNEL_FACTORY_PRESETS);
    ASSERT_EQ (static_cast<int> (varnel_reverb_num_presets()), bank.findChildFiles (juce::File::findFiles, true, "*.xml").size());

    for (size_t number = 0; number < varnel_reverb_num_presets(); ++number)
    {
        const auto& preset = *varnel_reverb_preset_at (number);
        const auto path = bank.getChildFile (preset.folder).getChildFile (juce::String (preset.name) + ".xml");
        expectDone ("in.wav preset.wav --bits 32 --tail 0.05 --fade 0 --preset \"" + path.getFullPathName() + "\"");
        const auto rendered = read ("preset.wav").samples;
        EXPECT_TRUE (rendered == processed (sound, 2, 2400, path)) << path.getFileName();

        std::vector<float> left (14400), right (14400);
        for (int i = 0; i < sound.frames(); ++i)
        {
            left[static_cast<size_t> (i)] = static_cast<float> (sound.at (i, 0));
            right[static_cast<size_t> (i)] = static_cast<float> (sound.at (i, 1));
        }
        float* const channels[] { left.data(), right.data() };
        ASSERT_EQ (varnel_reverb_prepare (reverb, 48000.0, 2), VARNEL_REVERB_OK);
        ASSERT_EQ (varnel_reverb_load_preset (reverb, preset.name), VARNEL_REVERB_OK);
        ASSERT_EQ (varnel_reverb_process (reverb, channels, channels, 2, left.size()), VARNEL_REVERB_OK);
        std::vector<double> ours;
        for (size_t i = 0; i < left.size(); ++i)
            ours.insert (ours.end(), { static_cast<double> (left[i]), static_cast<double> (right[i]) });
        EXPECT_TRUE (rendered == ours) << path.getFileName();
    }
}

TEST_F (Render, ReadsAndWritesEveryFormatAndKeepsUntouchedSamples)
{
    const std::pair<const char*, std::vector<int>> containers[] {
        { "wav", { SF_FORMAT_WAV | SF_FORMAT_PCM_U8, SF_FORMAT_WAV | SF_FORMAT_PCM_16, SF_FORMAT_WAV | SF_FORMAT_PCM_24, SF_FORMAT_WAV | SF_FORMAT_PCM_32, SF_FORMAT_WAV | SF_FORMAT_FLOAT, SF_FORMAT_WAV | SF_FORMAT_DOUBLE, SF_FORMAT_WAV | SF_FORMAT_ULAW, SF_FORMAT_WAV | SF_FORMAT_ALAW, SF_FORMAT_WAVEX | SF_FORMAT_PCM_24 } },
        { "rf64", { SF_FORMAT_RF64 | SF_FORMAT_PCM_16, SF_FORMAT_RF64 | SF_FORMAT_DOUBLE } },
        { "w64", { SF_FORMAT_W64 | SF_FORMAT_PCM_U8, SF_FORMAT_W64 | SF_FORMAT_PCM_32, SF_FORMAT_W64 | SF_FORMAT_ULAW } },
        { "aif", { SF_FORMAT_AIFF | SF_FORMAT_PCM_S8, SF_FORMAT_AIFF | SF_FORMAT_PCM_24, SF_FORMAT_AIFF | SF_FORMAT_PCM_32, SF_FORMAT_AIFF | SF_FORMAT_DOUBLE, SF_FORMAT_AIFF | SF_FORMAT_ALAW } },
        { "au", { SF_FORMAT_AU | SF_FORMAT_PCM_S8, SF_FORMAT_AU | SF_FORMAT_PCM_32, SF_FORMAT_AU | SF_FORMAT_FLOAT } },
        { "caf", { SF_FORMAT_CAF | SF_FORMAT_PCM_S8, SF_FORMAT_CAF | SF_FORMAT_PCM_24, SF_FORMAT_CAF | SF_FORMAT_DOUBLE } },
        { "flac", { SF_FORMAT_FLAC | SF_FORMAT_PCM_S8, SF_FORMAT_FLAC | SF_FORMAT_PCM_16, SF_FORMAT_FLAC | SF_FORMAT_PCM_24 } },
    };

    for (const auto& [extension, formats] : containers)
        for (const auto format : formats)
        {
            // Noise, so that every bit counts
            auto sound = audio (5, 600, 44100, format);
            juce::Random random (1);
            for (auto& sample : sound.samples)
                sample = random.nextDouble() - 0.5;
            const auto in = juce::String ("in.") + extension, out = juce::String ("same.") + extension, wet = juce::String ("wet.") + extension;
            write (in, sound);
            expectDone (in + " " + out + " --tail 0 --set Effect=off");
            expectDone (in + " " + wet + " --tail 0.1 --fade 0 -q");
            expectEqual (in, out);
            EXPECT_EQ (read (out).format & (SF_FORMAT_SUBMASK | SF_FORMAT_TYPEMASK), format);
            EXPECT_EQ (read (wet).frames(), 600 + 4410);

            // With the effect on, channels past the second still pass.
            const auto dry = read (in).only ({ 2, 3, 4 });
            auto passed = read (wet).only ({ 2, 3, 4 });
            passed.resize (dry.size()); // A-law has no silence
            EXPECT_TRUE (passed == dry) << in << " " << format;
        }

    // What codecs give is not the same, but the same every time and about as loud.
    write ("in.wav", audio (2, 20000, 48000));
    const auto encode = [this] (const juce::String& name)
    {
        for (const auto* extension : { ".ogg", ".opus", ".mp3" })
            expectDone ("in.wav --tail 0 --set Position=0 " + name + extension);
    };
    encode ("lossy");
    juce::Thread::sleep (1100); // encoders that number their streams take the seconds
    encode ("again");
    for (const juce::String extension : { ".ogg", ".opus", ".mp3" })
    {
        EXPECT_EQ (bytes ("lossy" + extension), bytes ("again" + extension)) << extension;
        expectDone ("lossy" + extension + " decoded.wav --tail 0");
        EXPECT_EQ (read ("decoded.wav").format & SF_FORMAT_SUBMASK, SF_FORMAT_FLOAT);
        EXPECT_NEAR (read ("decoded.wav").peak (0, 19000, 0), 0.45, 0.1) << extension;
    }

    // Vorbis at its best; at its usual quality this is -31 dB.
    const auto sound = read ("in.wav"), lossy = read ("lossy.ogg");
    auto power = 0.0, lost = 0.0;
    for (size_t i = 0; i < sound.samples.size(); ++i)
    {
        power += std::pow (sound.samples[i], 2);
        lost += std::pow (lossy.samples[i] - sound.samples[i], 2);
    }
    EXPECT_LT (10.0 * std::log10 (lost / power), -36.0);

    // Other bits are asked for, or are the nearest that there are.
    write ("in.wav", audio (1, 500, 44100, SF_FORMAT_WAV | SF_FORMAT_FLOAT));
    for (const auto& [arguments, format] : std::map<juce::String, int> { { "a.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_24 }, { "a.x --format au --bits 64", SF_FORMAT_AU | SF_FORMAT_DOUBLE }, { "a.w64 --bits 32i", SF_FORMAT_W64 | SF_FORMAT_PCM_32 } })
    {
        expectDone ("in.wav " + arguments);
        EXPECT_EQ (read (arguments.upToFirstOccurrenceOf (" ", false, false)).format, format) << arguments;
    }
    expectRefusal (render ("in.wav out.flac --bits 32"), 2, { "FLAC", "float" });
    expectRefusal (render ("in.wav out.opus"), 1, { "Opus cannot hold", "48000" });
    expectRefusal (render ("in.wav out.mp4"), 2, { "out.mp4", ".flac", "--format" });
}

TEST_F (Render, KeepsWhatAFileSaysOfItself)
{
    const auto describe = [] (SNDFILE* target)
    {
        sf_set_string (target, SF_STR_TITLE, "A title");
        sf_set_string (target, SF_STR_ARTIST, "Somebody");
        SF_CUES cues {};
        cues.cue_count = 1;
        cues.cue_points[0].sample_offset = 77;
        sf_command (target, SFC_SET_CUE, &cues, sizeof (cues));
        SF_INSTRUMENT loops {};
        loops.loop_count = 1;
        loops.loops[0] = { SF_LOOP_FORWARD, 5, 50, 0 };
        sf_command (target, SFC_SET_INSTRUMENT, &loops, sizeof (loops));
        SF_BROADCAST_INFO broadcast {};
        juce::String ("Take 7").copyToUTF8 (broadcast.description, sizeof (broadcast.description));
        sf_command (target, SFC_SET_BROADCAST_INFO, &broadcast, sizeof (broadcast));
    };
    write ("in.wav", audio (2, 500), describe);
    EXPECT_EQ (render ("in.wav out.wav").err, "");
    read ("out.wav", [] (SNDFILE* source)
          {
              EXPECT_STREQ (sf_get_string (source, SF_STR_ARTIST), "Somebody");
              SF_CUES cues {};
              EXPECT_EQ (sf_command (source, SFC_GET_CUE, &cues, sizeof (cues)), SF_TRUE);
              EXPECT_EQ (cues.cue_points[0].sample_offset, 77u);
              SF_INSTRUMENT loops {};
              EXPECT_EQ (sf_command (source, SFC_GET_INSTRUMENT, &loops, sizeof (loops)), SF_TRUE);
              EXPECT_EQ (loops.loops[0].end, 50u);
              SF_BROADCAST_INFO broadcast {};
              EXPECT_EQ (sf_command (source, SFC_GET_BROADCAST_INFO, &broadcast, sizeof (broadcast)), SF_TRUE);
              EXPECT_STREQ (broadcast.description, "Take 7"); });
    const auto flac = render ("in.wav out.flac").err;
    EXPECT_TRUE (flac.contains ("dropped: cue points, loops, broadcast data")) << flac;
    read ("out.flac", [] (SNDFILE* source)
          { EXPECT_STREQ (sf_get_string (source, SF_STR_TITLE), "A title"); });
    EXPECT_TRUE (render ("in.wav out.w64").err.contains ("dropped: title, artist, cue points"));
}

TEST_F (Render, PassesSoundThroughPipes)
{
    const auto program = juce::String ("'" VARNEL_RENDER_PROGRAM "' ");
    write ("in.wav", audio (2, 9000, 44100, SF_FORMAT_WAV | SF_FORMAT_FLOAT));
    write ("in.flac", audio (2, 9000, 44100, SF_FORMAT_FLAC | SF_FORMAT_PCM_24));
    expectDone ("in.wav a.wav --tail 1");
    expectDone ("in.flac a.flac --tail 1");

    // The length is unknown both ways; whatever is not sound goes elsewhere.
    const auto result = shell ("cat in.wav | " + program + "- - --tail 1 >b.wav");
    EXPECT_EQ (result.status, 0);
    EXPECT_TRUE (result.err.startsWith ("standard output: 1.20 s")) << result.err;
    EXPECT_EQ (memcmp (static_cast<const char*> (bytes ("b.wav").getData()) + 4, "\xff\xff\xff\xff", 4), 0);
    EXPECT_TRUE (read ("a.wav").samples == read ("b.wav").samples);

    // So a stream goes through again, with a note; other formats wait for their end.
    EXPECT_TRUE (shell (program + "b.wav c.wav --tail 0 --set Effect=off").err.contains ("never finished"));
    expectEqual ("a.wav", "c.wav");
    EXPECT_EQ (shell ("cat in.flac | " + program + "- - --tail 1 --format flac -q | cat >b.flac").status, 0);
    expectEqual ("a.flac", "b.flac");
    EXPECT_EQ (shell ("cat in.wav | " + program + "- - --tail 1 --format aiff --normalise -3 -q | cat >b.aiff").status, 0);
    EXPECT_NEAR (std::max (read ("b.aiff").peak (0, 53100, 0), read ("b.aiff").peak (0, 53100, 1)), std::pow (10.0, -3.0 / 20.0), 1e-7);

    // Every length that programs leave in a header that they do not come back to
    for (const juce::uint32 length : { 0u, 0xffffffffu, 0x7ffff000u })
    {
        auto stream = bytes ("in.wav");
        const juce::uint32 all = length == 0 ? 8 : length;
        stream.copyFrom (&all, 4, 4);
        for (int i = 12; i < 200; ++i)
            if (memcmp (static_cast<const char*> (stream.getData()) + i, "data", 4) == 0)
                stream.copyFrom (&length, i + 4, 4);
        file ("s.wav").replaceWithData (stream.getData(), stream.getSize());
        EXPECT_TRUE (render ("s.wav d.wav --tail 1").err.contains ("never finished")) << length;
        expectEqual ("a.wav", "d.wav");
        EXPECT_EQ (shell ("cat s.wav | " + program + "- d.wav --tail 1").status, 0);
        expectEqual ("a.wav", "d.wav");
    }
    expectRefusal (shell ("head -c 60000 in.wav | " + program + "- out.wav"), 1, { "standard input is cut short" });
    expectRefusal (shell (program + "- out.wav </dev/null"), 1, { "standard input is empty" });

    // Nobody listens.
    const auto closed = shell ("(" + program + "--tail 86400 in.wav -; echo $? >status) | head -c 100 >/dev/null");
    EXPECT_EQ (closed.err, "");
    EXPECT_EQ (file ("status").loadFileAsString().trim(), "141");
}

TEST_F (Render, RendersFoldersAsEachFileByItself)
{
    const juce::String program = "'" VARNEL_RENDER_PROGRAM "' ";
    ASSERT_EQ (shell ("mkdir -p dry/a/b dry/.hidden").status, 0);
    const std::vector<juce::String> names { "one.wav", "a/two.flac", "a/b/three.aif" };
    for (const auto& name : names)
        write ("dry/" + name, audio (2, 2000 + 100 * name.length(), 44100, name.endsWith ("wav") ? SF_FORMAT_WAV | SF_FORMAT_PCM_16 : name.endsWith ("flac") ? SF_FORMAT_FLAC | SF_FORMAT_PCM_24
                                                                                                                                                             : SF_FORMAT_AIFF | SF_FORMAT_PCM_S8));
    file ("dry/notes.txt").replaceWithText ("no sound");
    file ("dry/.hidden/x.wav").replaceWithText ("no sound");
    file ("dry/a/bad.wav").replaceWithText ("no sound");

    const juce::String how = " --random Size=10:60 --random lo=-6dB:3 --seed 7 --same-length --manifest m.jsonl ";
    const auto first = render ("--recursive dry --output-folder wet --suffix -wet --jobs 3" + how);
    EXPECT_EQ (first.status, 1);
    const auto lines = juce::StringArray::fromLines (first.out.trimEnd());
    EXPECT_EQ (lines.size(), 3);
    EXPECT_TRUE (lines[0].startsWith ("three-wet.aif: 0.07 s (0.00 s of it tail)") && lines[2].startsWith ("one-wet.wav")) << "in the order of the inputs: " << first.out;
    EXPECT_TRUE (first.err.contains ("varnel-render: dry/a/bad.wav: is no audio file") && first.err.trimEnd().endsWith ("3 made, 0 kept as they were, 1 failed")) << first.err;
    EXPECT_FALSE (file ("wet/notes.txt").exists() || file ("wet/.hidden").exists());

    // A run of its own and the manifest give the same bytes.
    ASSERT_EQ (render ("--from-manifest m.jsonl --output-folder again --jobs 1").status, 0);
    for (const auto& name : names)
    {
        const auto made = name.replace (".", "-wet.");
        expectDone ("dry/" + name + " own" + juce::File (file (name)).getFileExtension() + " " + how.replace ("m.jsonl", "other.jsonl"));
        EXPECT_EQ (bytes ("wet/" + made), bytes ("own" + file (name).getFileExtension())) << made;
        EXPECT_EQ (bytes ("wet/" + made), bytes ("again/wet/" + made)) << made;
    }
    expectDone ("dry/one.wav other.wav" + how.replace ("seed 7", "seed 8"));
    EXPECT_NE (bytes ("own.wav"), bytes ("other.wav"));

    // What is there is kept, so an interrupted batch goes on.
    file ("wet/one-wet.wav").replaceWithText ("mine");
    file ("wet/a/two-wet.flac").deleteFile();
    EXPECT_TRUE (render ("--recursive dry --output-folder wet --suffix -wet" + how).err.contains ("1 made, 2 kept as they were, 1 failed"));
    EXPECT_EQ (file ("wet/one-wet.wav").loadFileAsString(), "mine");
    EXPECT_EQ (bytes ("wet/a/two-wet.flac"), bytes ("again/wet/a/two-wet.flac"));
    EXPECT_TRUE (render ("--recursive dry --output-folder wet --suffix -wet --overwrite" + how).err.contains ("3 made"));
    EXPECT_EQ (bytes ("wet/one-wet.wav"), bytes ("again/wet/one-wet.wav"));

    // Bad files leave nothing open, so there may be any number of them.
    ASSERT_EQ (shell ("mkdir many; for i in $(seq 60); do echo no sound >many/$i.wav; done; cp dry/one.wav many/good.wav").status, 0);
    EXPECT_TRUE (render ("many --recursive --output-folder well --jobs 1", "ulimit -n 40;").err.contains ("1 made, 0 kept as they were, 60 failed"));

    // Nothing begins that could not end well.
    expectRefusal (render ("--output-folder out dry"), 1, { "dry", "is a folder", "--recursive" });
    expectRefusal (render ("--output-folder out dry/one.wav dry/a/../one.wav"), 2, { "dry/one.wav and dry/a/../one.wav would both become" });
    expectRefusal (render ("--output-folder dry dry/one.wav"), 1, { "never overwritten" });
    expectRefusal (render ("--output-folder out"), 2, { "an input is needed" });
    expectRefusal (render ("--random Size=60:10 dry/one.wav out.wav"), 2, { "lower value" });
    file ("m.jsonl").replaceWithText ("{}\n");
    expectRefusal (render ("--from-manifest m.jsonl"), 1, { "m.jsonl", "line 1" });
    EXPECT_EQ (render ("--output-folder out dry/one.wav --dry-run").out, "dry/one.wav -> out/one.wav\n");

    // What is drawn, worked out apart; a folder's name may be typed in any way.
    EXPECT_EQ (shell (juce::String::fromUTF8 ("cp dry/one.wav dry/ö.wav")).status, 0);
    const auto drawn = juce::JSON::parse (render (juce::String::fromUTF8 ("--dry-run --json --output-folder out dry/./ö.wav --random Size=10:11 --random Spin=0:100 --seed 0")).out);
    EXPECT_EQ (static_cast<double> (drawn["settings"]["ReverbSize"]), 11.0);
    EXPECT_EQ (static_cast<double> (drawn["settings"]["ReverbMod"]), 93.0);
    EXPECT_FALSE (file ("out").exists());
}

TEST_F (Render, TreatsTheSoundAsAsked)
{
    write ("in.wav", audio (2, 4000, 44100, SF_FORMAT_WAV | SF_FORMAT_FLOAT));
    expectDone ("in.wav plain.wav --tail 0.1 --fade 0");
    expectDone ("in.wav louder.wav --tail 0.1 --fade 0 --gain 6.020599913279624");
    expectDone ("in.wav faded.wav --tail 0.1");
    const auto plain = read ("plain.wav"), louder = read ("louder.wav"), faded = read ("faded.wav");
    const auto last = plain.frames() - 1;
    EXPECT_NEAR (louder.peak (0, last, 0), 2.0 * plain.peak (0, last, 0), 1e-6);
    EXPECT_EQ (faded.at (last - 441, 0), plain.at (last - 441, 0));
    EXPECT_LT (faded.peak (last - 220, last - 200, 0), 0.6 * plain.peak (last - 220, last - 200, 0));
    EXPECT_EQ (faded.at (last, 0), 0.0);
    EXPECT_NE (plain.at (last, 0), 0.0);

    // Noise of one step at most, only where samples had to be rounded, and the same every time
    expectDone ("in.wav noisy.wav --tail 0.1 --bits 16");
    expectDone ("in.wav same.wav --tail 0.1 --bits 16 --block 77");
    expectDone ("in.wav rounded.wav --tail 0.1 --bits 16 --dither none");
    EXPECT_EQ (bytes ("noisy.wav"), bytes ("same.wav"));
    const auto noisy = read ("noisy.wav"), rounded = read ("rounded.wav");
    auto furthest = 0.0, sum = 0.0;
    for (int i = 0; i < noisy.frames(); ++i)
    {
        EXPECT_LE (std::abs (rounded.at (i, 0) - faded.at (i, 0)), 0.5 / 32768);
        furthest = std::max (furthest, std::abs (noisy.at (i, 0) - faded.at (i, 0)) * 32768);
        sum += std::pow ((noisy.at (i, 0) - faded.at (i, 0)) * 32768, 2);
    }
    EXPECT_LE (furthest, 1.5);
    EXPECT_NEAR (sum / noisy.frames(), 0.25, 0.05) << "triangular noise and rounding together";

    // Which of many channels go through, and a note if that was not said
    write ("four.wav", audio (4, 3000, 44100, SF_FORMAT_WAV | SF_FORMAT_FLOAT));
    EXPECT_EQ (render ("--channels 4,2 four.wav chosen.wav --tail 0 --fade 0").err, "");
    auto pair = audio (4, 3000);
    pair = { 2, 44100, 0, pair.only ({ 3, 1 }) };
    EXPECT_EQ (read ("chosen.wav").only ({ 3, 1 }), processed (pair, 2));
    EXPECT_EQ (read ("chosen.wav").only ({ 0, 2 }), audio (4, 3000).only ({ 0, 2 }));
    EXPECT_TRUE (render ("four.wav first.wav").err.contains ("2 of 4 channels stay dry"));
    const auto quiet = render ("--quiet four.wav first.wav");
    EXPECT_EQ (quiet.out + quiet.err, "");
    expectRefusal (render ("four.wav out.wav --channels 1,5"), 1, { "there is no channel 5" });
    expectRefusal (render ("four.wav out.wav --channels 2,2"), 2, { "two different" });

    // Samples that are none are silence, wherever a block ends.
    auto broken = audio (2, 4000, 44100, SF_FORMAT_WAV | SF_FORMAT_FLOAT);
    broken.samples[1000] = std::nan ("");
    broken.samples[3001] = std::numeric_limits<double>::infinity();
    broken.samples[5000] = 1e30;
    write ("broken.wav", broken);
    EXPECT_TRUE (render ("broken.wav a.wav --block 7").err.contains ("3 samples were no number"));
    expectDone ("broken.wav b.wav --block 4096");
    expectEqual ("a.wav", "b.wav");
    for (const auto at : { 1000u, 3001u, 5000u })
        broken.samples[at] = 0.0;
    write ("mended.wav", broken);
    expectDone ("mended.wav b.wav");
    expectEqual ("a.wav", "b.wav");

    // An integer file cannot hold everything; the advice suits the format.
    auto loud = audio (2, 2000, 44100, SF_FORMAT_WAV | SF_FORMAT_FLOAT);
    for (auto& sample : loud.samples)
        sample *= 8.0;
    write ("loud.wav", loud);
    const auto wav = render ("loud.wav held.wav --bits 16 --tail 0").err, flac = render ("loud.wav held.flac --tail 0").err;
    EXPECT_TRUE (wav.contains ("clipped; --bits 32") && wav.contains ("--gain")) << wav;
    EXPECT_TRUE (flac.contains ("clipped; --gain") && ! flac.contains ("--bits")) << flac;
    EXPECT_EQ (render ("loud.wav kept.wav --tail 0").err, "");
    const auto kept = read ("kept.wav"), held = read ("held.wav");
    EXPECT_GT (kept.peak (0, 2000, 0), 2.0);
    for (int i = 0; i < 2000; ++i)
        ASSERT_NEAR (held.at (i, 0), std::clamp (kept.at (i, 0), -1.0, 1.0), 2.5 / 32768) << i;
    const auto data = bytes ("kept.wav");
    EXPECT_EQ (std::string_view (data.begin(), data.getSize()).find ("PEAK"), std::string_view::npos) << "a time of day, which differs from run to run";
}

TEST_F (Render, EndsTheTailWhenItIsInaudible)
{
    write ("in.wav", audio (2, 1000));
    expectDone ("in.wav auto.wav --bits 32 --block 100");
    expectDone ("in.wav other.wav --bits 32 --block 4096");
    expectEqual ("auto.wav", "other.wav");

    const auto out = read ("auto.wav");
    const auto limit = std::pow (10.0, -96.0 / 20.0);
    const auto length = out.frames();
    EXPECT_LT (std::max (out.peak (length - 44100, length, 0), out.peak (length - 44100, length, 1)), limit);
    EXPECT_GE (std::max (out.peak (length - 44101, length - 44100, 0), out.peak (length - 44101, length - 44100, 1)), limit) << "one sample earlier was audible";
    EXPECT_NE (out.at (length - 1, 0), 0.0) << "what ends by itself does not fade";

    write ("hush.wav", { 1, 8000, SF_FORMAT_WAV | SF_FORMAT_PCM_16, std::vector<double> (16000) });
    expectDone ("hush.wav still.wav");
    EXPECT_EQ (read ("still.wav").frames(), 24000) << "silence in the sound is not its tail's end";

    const auto endless = render ("in.wav long.wav --set Size=100");
    EXPECT_EQ (read ("long.wav").frames(), 1000 + 60 * 44100);
    EXPECT_TRUE (endless.err.contains ("still audible after 60 s")) << endless.err;
}

TEST_F (Render, WritesTheImpulseResponse)
{
    expectDone ("--impulse 0.5 --rate 96000 --fade 0 ir.wav");
    const auto response = read ("ir.wav");
    EXPECT_EQ (response.rate, 96000);
    EXPECT_EQ (response.format & SF_FORMAT_SUBMASK, SF_FORMAT_FLOAT);
    EXPECT_EQ (response.samples, processed ({ 2, 96000, 0, { 1.0, 1.0 } }, 2, 47999));

    // Each side by itself
    expectDone ("--impulse 0.5 --rate 96000 --fade 0 --true-stereo -o four.wav");
    EXPECT_EQ (read ("four.wav").only ({ 0, 1 }), processed ({ 2, 96000, 0, { 1.0, 0.0 } }, 2, 47999));
    EXPECT_EQ (read ("four.wav").only ({ 2, 3 }), processed ({ 2, 96000, 0, { 0.0, 1.0 } }, 2, 47999));

    expectRefusal (render ("--impulse 1 in.wav out.wav"), 2, { "output file only" });
    expectRefusal (render ("--impulse 1 --rate 800000 out.wav"), 2, { "--rate" });
    expectRefusal (render ("--impulse 1 --tail 2 out.wav"), 2, { "--tail" });
    expectRefusal (render ("--rate 48000 in.wav out.wav"), 2, { "--impulse" });
}

TEST_F (Render, SetsParametersByIdOrName)
{
    const auto shows = [this] (const juce::String& settings)
    {
        return render ("--show " + settings).out;
    };
    EXPECT_EQ (shows ("--set ReverbSize=70 --set ReverbInsertMode=0 --set ReverbLo=-3"), shows ("--set lo=-3dB --set 'insert mode'=OFF --set Size=5 --set sIZE=70%"));
    EXPECT_EQ (shows ("--set Effect=true --set Spin=20"), "ReverbSize=33\nReverbMod=20\nReverbLo=0\nReverbHi=-1.5\nPosition=33\nBypass=1\nReverbInsertMode=1\n");

    // What is printed can be given back. The default of Hi lies between two steps; setting it again changes nothing.
    auto again = juce::StringArray::fromLines (shows ("--set Lo=-3.4 --set Effect=no").trimEnd());
    EXPECT_EQ (shows ("--set " + again.joinIntoString (" --set ")).trimEnd(), again.joinIntoString ("\n"));
    EXPECT_EQ (render ("--show --set Hi=-1.5").err, "");
    EXPECT_TRUE (render ("--show --set Hi=-1.3").err.contains ("Hi moves in steps of 0.2")) << "a value between two steps is reported";

    write ("in.wav", audio (2, 3000));
    const std::pair<const char*, std::vector<const char*>> refusals[] {
        { "Siize=3", { "Siize", "ReverbSize", "Insert Mode" } },
        { "sIze=101", { "sIze goes from 0 to 100" } },
        { "Size=nan", { "a number" } },
        { "Size", { "a number" } },
        { "Size=3dB", { "no such unit" } },
        { "Hi=3%", { "no such unit" } },
    };
    for (const auto& [setting, words] : refusals)
        expectRefusal (render (juce::String ("in.wav out.wav --set ") + setting), 2, words);

    // As JSON
    const auto parameters = juce::JSON::parse (render ("--list-parameters --json").out);
    EXPECT_EQ (parameters[6]["id"].toString(), "ReverbInsertMode");
    EXPECT_TRUE (render ("--list-parameters").out.contains ("ReverbInsertMode"));
    const auto object = juce::JSON::parse (render ("in.wav a.wav --set Size=20 --tail 1 --json").out);
    EXPECT_EQ (static_cast<int> (object["frames"]), 3000 + 44100);
    EXPECT_EQ (static_cast<double> (object["settings"]["ReverbSize"]), 20.0);
    EXPECT_EQ (object["bits"].toString(), "16");
}

TEST_F (Render, StartsFromStatesAndPresetsAndWritesThem)
{
    write ("in.wav", audio (2, 3000));
    ASSERT_EQ (render ("in.wav a.wav --tail 0 --set Size=71 --set Lo=-3.4 --set 'Insert Mode=off' --save-state s.chunk --save-preset 'My Room.xml'").status, 0);

    for (const auto* start : { "--state s.chunk", "--preset 'My Room.xml'" })
    {
        expectDone (juce::String ("in.wav b.wav --tail 0 ") + start);
        expectEqual ("a.wav", "b.wav");
    }

    // Without audio they are converted; --set comes last.
    ASSERT_EQ (render ("--state s.chunk --save-preset again.xml").status, 0);
    EXPECT_EQ (file ("again.xml").loadFileAsString(), file ("My Room.xml").loadFileAsString());
    ASSERT_EQ (render ("--preset again.xml --set Size=5 --save-preset again.xml").status, 0);
    EXPECT_TRUE (file ("again.xml").loadFileAsString().contains ("id=\"ReverbSize\" value=\"5.0\""));

    // A binary record of either kind is a preset, the one with its header a state too.
    const auto record = binaryRecord (true, { 5.0f, 33.0f, 0.0f, -1.6f, 33.0f, 1.0f, 1.0f });
    file ("old.qvz").replaceWithData (record.getData(), record.getSize());
    file ("older.qvz").replaceWithData (static_cast<const char*> (record.getData()) + 8, record.getSize() - 8);
    for (const auto* start : { "--state old.qvz", "--preset old.qvz", "--preset older.qvz" })
    {
        ASSERT_EQ (render (juce::String (start) + " --save-preset from.xml").status, 0) << start;
        EXPECT_TRUE (file ("from.xml").loadFileAsString().contains ("id=\"ReverbSize\" value=\"5.0\"")) << start;
    }

    file ("cut.chunk").replaceWithData ("VC2!\x10\0\0\0Reverb", 14);
    file ("short.chunk").replaceWithText ("VC");
    file ("empty.chunk").replaceWithData ("VC2!\0\0\0\0 ", 9);
    file ("cut.qvz").replaceWithData (record.getData(), record.getSize() - 1);
    file ("other.chunk").replaceWithData ("VC2!\x8\0\0\0<Other/>", 17);
    file ("other.xml").replaceWithText ("<Other/>");
    file ("text.xml").replaceWithText ("Nothing");
    file ("entity.xml").replaceWithText ("<!DOCTYPE a [<!ENTITY e '7'>]><a presetName='&e;'/>");
    shell ("mkfifo pipe");
    const std::tuple<const char*, int, std::vector<const char*>> refusals[] {
        { "in.wav out.wav --state none.chunk", 1, { "none.chunk", "no such file" } },
        { "in.wav out.wav --state older.qvz", 1, { "older.qvz", "neither \"VC2!\" nor \"Ostr\"" } },
        { "in.wav out.wav --state cut.chunk", 1, { "cut.chunk", "cannot be parsed" } },
        { "in.wav out.wav --state short.chunk", 1, { "short.chunk", "too short" } },
        { "in.wav out.wav --state empty.chunk", 1, { "empty.chunk", "holds no text" } },
        { "in.wav out.wav --preset cut.qvz", 1, { "cut.qvz", "nor a whole binary record" } },
        { "in.wav out.wav --state other.chunk", 1, { "other.chunk", "root \"Other\"" } },
        { "in.wav out.wav --state pipe", 1, { "pipe", "not a regular file" } },
        { "in.wav out.wav --preset other.xml", 1, { "other.xml", "no \"presetName\"" } },
        { "in.wav out.wav --preset text.xml", 1, { "text.xml", "is no preset" } },
        { "in.wav out.wav --preset entity.xml", 1, { "entity.xml", "holds XML that uses an entity of its document type" } },
        { "in.wav out.wav --preset old.qvz --state old.qvz", 2, { "--preset", "--state" } },
        { "--save-state nowhere/out", 1, { "nowhere/out", "folder does not exist" } },
        { "--save-preset .", 1, { "is a folder" } },
        { "in.wav out.wav --save-preset out.wav", 1, { "out.wav", "sound's own output" } },
        { "in.wav out.wav --manifest in.wav", 1, { "in.wav", "never overwritten" } },
    };
    for (const auto& [arguments, status, words] : refusals)
        expectRefusal (render (arguments), status, words);

    const auto before = file ("in.wav").loadFileAsString();
    EXPECT_EQ (render ("in.wav b.wav --save-state in.wav").status, 1);
    EXPECT_EQ (file ("in.wav").loadFileAsString(), before);
}

TEST_F (Render, FindsPresetsByName)
{
    const auto home = juce::File::getSpecialLocation (juce::File::userHomeDirectory);
    const auto user = home.getChildFile ("Documents/Ostry/Varnel Reverb/User Presets");
    const auto save = [&] (const juce::String& path, int size)
    {
        user.getChildFile (path).create();
        user.getChildFile (path).replaceWithText ("<ReverbParams presetName=''><PARAM id='ReverbSize' value='" + juce::String (size) + "'/></ReverbParams>");
    };
    save ("Mine.xml", 1);
    save ("A/Twice.xml", 2);
    save ("B/Twice.xml", 3);
    save ("B/twice.xml", 4);
    save ("Deep/Er/Down.xml", 5);
    save ("B/New Sound.xml", 6);
    save ("Down.xml", 7);
    save ("Down.qvz", 8);
    save ("Choirs/Old Chapel.xml", 9);

    const auto sizeOf = [this] (const juce::String& name)
    {
        const auto result = render ("--preset '" + name + "' --save-preset found.xml");
        EXPECT_EQ (result.status, 0) << result.err;
        const auto xml = juce::parseXML (file ("found.xml"));
        return xml != nullptr ? xml->getChildByAttribute ("id", "ReverbSize")->getIntAttribute ("value") : -1;
    };

    EXPECT_EQ (sizeOf ("Mine"), 1);
    EXPECT_EQ (sizeOf ("mine"), 1);
    EXPECT_EQ (sizeOf ("A/Twice"), 2);
    EXPECT_EQ (sizeOf ("B/twice"), 4) << "letter case decides where it can";
    EXPECT_EQ (sizeOf ("twice"), 4);
    EXPECT_EQ (sizeOf ("Er/Down"), 5);
    EXPECT_EQ (sizeOf ("Deep/Er/Down"), 5);
    EXPECT_EQ (sizeOf (user.getChildFile ("B/Twice.xml").getFullPathName()), 3);
    EXPECT_EQ (sizeOf ("new sound"), 6) << "the user's presets come first";

    expectRefusal (render ("--preset Twice --save-preset out.xml"), 1, { "\"Twice\"", "several", "\"A/Twice\"", "\"B/Twice\"" });
    expectRefusal (render ("--preset Mime --save-preset out.xml"), 1, { "\"Mime\"", "no such file or preset", "near it", "\"Mine\"" });
    expectRefusal (render ("--preset Xyzzy --save-preset out.xml"), 1, { "\"Xyzzy\"", "--list-presets" });
    expectRefusal (render ("--preset '' --save-preset out.xml"), 1, { "no such file or preset" });

    // The list has the flat order: the user's nine, then the factory's, which a build tree brings. Every name in it is
    // taken, and names the preset of its line.
    const auto list = render ("--list-presets").out;
    const auto lines = juce::StringArray::fromLines (list.trimEnd());
    EXPECT_EQ (lines[0], user.getFullPathName());
    const char* const names[] { "Down.qvz", "Down.xml", "Mine", "A/Twice", "B/New Sound", "B/Twice", "B/twice", "Choirs/Old Chapel", "Deep/Er/Down" };
    const int sizes[] { 8, 7, 1, 2, 6, 3, 4, 9, 5 };
    for (int i = 0; i < 9; ++i)
    {
        EXPECT_EQ (lines[i + 1], juce::String (i).paddedLeft (' ', 6) + "  " + names[i]);
        EXPECT_EQ (sizeOf (names[i]), sizes[i]);
    }
    EXPECT_TRUE (list.contains ("\n     9  New Sound\n    10  Ambience/")) << list;
    EXPECT_EQ (sizeOf ("New Sound"), 40);
    EXPECT_EQ (sizeOf ("8"), 5) << "by its number";
    const auto array = juce::JSON::parse (render ("--list-presets --json").out);
    EXPECT_EQ (array[8]["name"].toString(), "Deep/Er/Down");
    EXPECT_EQ (array[8]["file"].toString(), user.getChildFile ("Deep/Er/Down.xml").getFullPathName());
    EXPECT_GE (lines.size(), 2 + 9 + 61);
    home.getChildFile ("Documents").deleteRecursively();
}

TEST_F (Render, KeepsOutOfTheUsersSettings)
{
    write ("in.wav", audio (2, 3000));
    ASSERT_EQ (render ("in.wav plain.wav --tail 0").status, 0);
    const auto home = juce::File::getSpecialLocation (juce::File::userHomeDirectory);
    for (const auto& left : home.findChildFiles (juce::File::findFiles, true))
        ADD_FAILURE() << left.getFullPathName();

    const auto settings = varnel::settingsStorage (true).getDefaultFile();
    ASSERT_EQ (render ("--set Size=90 --save-preset default.xml").status, 0);
    settings.create();
    settings.replaceWithText ("<PROPERTIES><VALUE name=\"initialized\" val=\"1\"/><VALUE name=\"defaultPreset\" val=\"" + file ("default.xml").getFullPathName() + "\"/></PROPERTIES>");
    const auto before = settings.loadFileAsString();
    ASSERT_EQ (render ("in.wav same.wav --tail 0").status, 0);
    expectEqual ("plain.wav", "same.wav");
    EXPECT_EQ (settings.loadFileAsString(), before);
    home.getChildFile (".config").deleteRecursively();
}

TEST_F (Render, AnswersQuestionsAndRefusesWrongUsage)
{
    EXPECT_EQ (render ("-V").out.trim(), juce::String ("varnel-render ") + varnel::product::version);
    const auto help = render ("-h").out;

    for (const auto* wrong : { "", "in.wav", "in.wav out.wav more", "--nonsense in.wav out.wav", "in.wav out.wav --block 0", "in.wav out.wav --bits 12", "in.wav out.wav --tail -1", "in.wav out.wav --tail forever", "in.wav out.wav --format mp5", "in.wav out.wav --gain 3 --normalise 0" })
        expectRefusal (render (wrong), 2, { "varnel-render: ", "--help" });
    EXPECT_TRUE (render ("--first --second in.wav out.wav").err.contains ("--first: there is no such option"));

    // What --help lists the manual page and the shells know too.
    const juce::File desktop (VARNEL_DESKTOP_FILES);
    int numOptions = 0;
    for (const auto& line : juce::StringArray::fromLines (help.fromFirstOccurrenceOf ("\nOptions:", false, false).upToFirstOccurrenceOf ("\nExamples:", false, false)))
    {
        const auto name = line.fromFirstOccurrenceOf ("--", false, false).initialSectionContainingOnly ("abcdefghijklmnopqrstuvwxyz-");
        if (! line.startsWith ("  -") || name.isEmpty())
            continue;
        ++numOptions;
        EXPECT_TRUE (desktop.getChildFile ("varnel-render.1").loadFileAsString().contains ("-" + name)) << "manual page: --" << name;
        EXPECT_TRUE (desktop.getChildFile ("completions/varnel-render.bash").loadFileAsString().contains ("--" + name)) << "bash: --" << name;
        EXPECT_TRUE (desktop.getChildFile ("completions/_varnel-render").loadFileAsString().contains ("--" + name)) << "zsh: --" << name;
        EXPECT_TRUE (desktop.getChildFile ("completions/varnel-render.fish").loadFileAsString().contains ("-l " + name)) << "fish: --" << name;
    }
    EXPECT_GT (numOptions, 30);
}

TEST_F (Render, RefusesBadInputInOneLine)
{
    file ("empty.wav").create();
    file ("text.wav").replaceWithText ("This is no audio, whatever its name says.");
    write ("none.wav", audio (2, 0));
    write ("fast.wav", audio (1, 10, 800000));
    write ("wide.aiff", audio (200, 10, 44100, SF_FORMAT_AIFF | SF_FORMAT_PCM_16));
    auto wide = bytes ("wide.aiff");
    static_cast<char*> (wide.getData())[20] = 2; // channels, from 200 to 712
    file ("wide.aiff").replaceWithData (wide.getData(), wide.getSize());
    write ("secret.wav", audio (1, 10));
    shell ("mkfifo pipe.wav; chmod 0 secret.wav; mkdir folder.wav");

    std::vector<std::pair<juce::String, std::vector<const char*>>> refusals {
        { "missing.wav", { "missing.wav", "no such file" } },
        { "folder.wav", { "is a folder" } },
        { "empty.wav", { "empty.wav", "is empty" } },
        { "pipe.wav", { "pipe.wav", "not a regular file" } },
        { "/dev/zero", { "/dev/zero", "not a regular file" } },
        { "text.wav", { "text.wav", "no audio file" } },
        { "none.wav", { "none.wav", "no audio" } },
        { "fast.wav", { "fast.wav", "800000 Hz" } },
        { "wide.aiff", { "wide.aiff", "712 channels" } },
    };
    if (geteuid() != 0) // the superuser may read everything
        refusals.push_back ({ "secret.wav", { "secret.wav", "ermission" } });
    for (const auto& [name, words] : refusals)
        expectRefusal (render (name + " out.wav"), 1, words);

    // Cut short by a little, by half, and inside the header.
    const std::pair<const char*, int> formats[] { { "cut.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16 }, { "cut.rf64", SF_FORMAT_RF64 | SF_FORMAT_FLOAT }, { "cut.w64", SF_FORMAT_W64 | SF_FORMAT_PCM_16 }, { "cut.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_24 }, { "cut.au", SF_FORMAT_AU | SF_FORMAT_PCM_16 }, { "cut.caf", SF_FORMAT_CAF | SF_FORMAT_PCM_16 }, { "cut.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16 }, { "cut.ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS }, { "cut.opus", SF_FORMAT_OGG | SF_FORMAT_OPUS } };
    for (const auto& [name, format] : formats)
    {
        write (name, audio (2, 60000, 48000, format));
        const auto whole = bytes (name);
        expectDone (juce::String (name) + " whole.wav --tail 0");

        for (const auto length : { whole.getSize() - 100, whole.getSize() / 2, size_t { 20 } })
        {
            file (name).replaceWithData (whole.getData(), length);
            expectRefusal (render (juce::String (name) + " out.wav"), 1, { name });
        }
    }
}

TEST_F (Render, LeavesTheTargetAloneUnlessAllIsWell)
{
    write ("in.wav", audio (2, 60000));
    const auto original = bytes ("in.wav");
    shell ("ln in.wav hard.wav; ln -s in.wav soft.wav; mkdir folder.wav; mkfifo pipe.wav; mkdir -m 555 closed");
    std::vector<std::pair<juce::String, std::vector<const char*>>> refusals {
        { "in.wav", { "in.wav", "never overwritten" } },
        { "hard.wav", { "never overwritten" } },
        { "soft.wav", { "never overwritten" } },
        { "nowhere/out.wav", { "nowhere", "folder does not exist" } },
        { "folder.wav", { "folder.wav", "is a folder" } },
        { "pipe.wav", { "pipe.wav", "is a pipe", "standard output" } },
        { "/dev/null --format wav", { "is a device" } },
    };
    if (geteuid() != 0)
        refusals.push_back ({ "closed/out.wav", { "closed", "cannot be written" } });
    for (const auto& [name, words] : refusals)
        expectRefusal (render ("in.wav " + name), 1, words);
    EXPECT_EQ (bytes ("in.wav"), original);

    // A link is written through, also one that leads nowhere yet, and permissions stay. Names are bytes, with anything in them.
    shell ("mkdir real; ln -s real/target.wav link.wav");
    expectDone ("in.wav link.wav");
    ASSERT_TRUE (file ("link.wav").isSymbolicLink());
    chmod (file ("real/target.wav").getFullPathName().toRawUTF8(), 0640);
    expectDone ("in.wav link.wav --gain -3");
    struct stat status
    {
    };
    ASSERT_EQ (stat (file ("real/target.wav").getFullPathName().toRawUTF8(), &status), 0);
    EXPECT_EQ (status.st_mode & 0777, 0640u);
    const auto named = shell ("n=$(printf '~ $ # &\\351\\n.wav'); cp in.wav \"$n\" && '" VARNEL_RENDER_PROGRAM "' \"$n\" \"$n.wav\" -q && cmp real/target.wav real/target.wav && test -s \"$n.wav\" && rm \"$n\"*");
    EXPECT_EQ (named.status, 0) << named.err;

    // A disk that fills up, in the shape of a limit to the size of files: 64 blocks of 512 bytes.
    for (const auto* name : { "full.wav", "full.aiff", "full.flac", "full.ogg", "full.caf" })
    {
        file (name).replaceWithText ("old");
        expectRefusal (render (juce::String ("--tail 30 --set Size=80 in.wav ") + name, "ulimit -f 64 &&"), 1, { name, "cannot be written: File too large" });
        EXPECT_EQ (file (name).loadFileAsString(), "old");
    }

    // Stopped half way
    for (const auto& [signal, expected] : std::map<juce::String, int> { { "HUP", 129 }, { "INT", 130 }, { "QUIT", 131 }, { "TERM", 143 } })
    {
        EXPECT_EQ (render ("--tail 86400 in.wav stopped.wav", "timeout --preserve-status -s " + signal + " 0.3").status, expected) << signal;
        expectNothingLeft ("*stopped*");
        expectNothingLeft (".varnel*");
    }
}
