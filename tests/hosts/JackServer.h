// SPDX-License-Identifier: AGPL-3.0-only
// A JACK server without hardware, programs that use it, and a client that plays to them and records what they answer.
#pragma once

#include "support/Program.h"
#include "support/Reference.h"

#include <jack/jack.h>
#include <jack/midiport.h>

#include <atomic>

/** A test with a server of its own. Its periods are long, so that a busy machine keeps up. */
class WithJack : public FreshHome
{
protected:
    static constexpr double sampleRate = 48000.0;

    WithJack()
    {
        setenv ("JACK_DEFAULT_SERVER", serverName.toRawUTF8(), 1);
        setenv ("JACK_NO_START_SERVER", "1", 1);
        setenv ("JACK_NO_AUDIO_RESERVATION", "1", 1);
        server.emplace (juce::StringArray { "jackd", "-n", serverName, "-r", "-t", "5000", "-d", "dummy", "-r", "48000", "-p", "4096" });

        for (int i = 0; i < 100 && client == nullptr && server->isRunning(); ++i)
        {
            usleep (100000);
            client = jack_client_open ("tester", JackNoStartServer, nullptr);
        }

        if (client == nullptr)
        {
            ADD_FAILURE() << "no JACK server: " << server->printed();
            return;
        }

        for (size_t i = 0; i < 2; ++i)
        {
            outputs[i] = jack_port_register (client, ("out_" + juce::String (i + 1)).toRawUTF8(), JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput, 0);
            inputs[i] = jack_port_register (client, ("in_" + juce::String (i + 1)).toRawUTF8(), JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0);
        }
        midi = jack_port_register (client, "midi", JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);

        jack_set_process_callback (
            client, [] (jack_nframes_t n, void* self)
            { return static_cast<WithJack*> (self)->process (static_cast<int> (n)); },
            this);
        jack_set_xrun_callback (
            client, [] (void* self)
            { ++static_cast<WithJack*> (self)->numDropouts; return 0; },
            this);
        jack_activate (client);
    }

    ~WithJack() override
    {
        if (client != nullptr)
            jack_client_close (client);
    }

    /** Waits for ports and connects them to ours. */
    void connect (const juce::String& program, const juce::String& in, const juce::String& out)
    {
        for (int i = 0; i < 2; ++i)
        {
            const auto number = juce::String (i + 1);
            connectPorts (jack_port_name (outputs[static_cast<size_t> (i)]), program + ":" + in + number);
            connectPorts (program + ":" + out + number, jack_port_name (inputs[static_cast<size_t> (i)]));
        }
    }

    void connectPorts (const juce::String& from, const juce::String& to)
    {
        for (int i = 0; i < 200; ++i)
        {
            const auto result = jack_connect (client, from.toRawUTF8(), to.toRawUTF8());
            if (result == 0 || result == EEXIST)
                return;
            deliverMessages (50);
        }

        juce::StringArray there;
        if (const char** const ports = jack_get_ports (client, nullptr, nullptr, 0))
        {
            for (auto* port = ports; *port != nullptr; ++port)
                there.add (*port);
            jack_free (ports);
        }
        ADD_FAILURE() << "cannot connect " << from << " to " << to << "; there are " << there.joinIntoString (", ");
    }

    /** Plays a buffer and records for as long and two seconds more. */
    juce::AudioBuffer<float> exchange (const juce::AudioBuffer<float>& toPlay)
    {
        played = toPlay;
        recorded.setSize (2, toPlay.getNumSamples() + static_cast<int> (2 * sampleRate));
        recorded.clear();
        position = 0;
        playing = true;
        EXPECT_TRUE (deliverMessagesUntil ([this]
                                           { return ! playing; },
                                           30000));
        return recorded;
    }

    /** Lets sound ring out. */
    void wait (double seconds)
    {
        exchange (juce::AudioBuffer<float> (2, std::max (1, static_cast<int> ((seconds - 2.0) * sampleRate))));
    }

    void sendController (int controller, int value)
    {
        message = controller << 8 | value;
        EXPECT_SOON (message == 0);
    }

    /** Plays noise and expects what the processor makes of it, after any delay. Dropouts of a machine that cannot keep up
        are no fault of the program: then it is tried again. */
    void expectSoundOf (Reference& reference, const juce::String& where)
    {
        juce::AudioBuffer<float> silence (2, static_cast<int> (5 * sampleRate));
        const auto signal = noise (2, 30000);

        for (int attempt = 0; attempt < 5; ++attempt)
        {
            wait (4.0);
            numDropouts = 0;
            auto heard = exchange (signal);
            if (numDropouts > 0)
                continue;

            silence.clear();
            reference.run (silence, 4096);
            auto expected = reference.run (signal, 4096);

            const auto start = firstSound (heard), expectedStart = firstSound (expected);
            const auto length = expected.getNumSamples() - expectedStart;
            ASSERT_LE (start + length, heard.getNumSamples()) << where << ": nothing came back";
            expectSame (part (heard, start, length), part (expected, expectedStart, length), where);
            return;
        }

        ADD_FAILURE() << where << ": this machine cannot keep up with periods of 85 ms";
    }

    /** Makes a preset the one to start with. It has no modulation, so that its sound does not depend on when it began, and
        is small, so that what was before is soon over. */
    void useStillPreset (const std::vector<std::pair<juce::String, int>>& midiMap = {})
    {
        varnel::VarnelReverbAudioProcessor processor (varnel::VarnelReverbAudioProcessor::UserSettings::ignored);
        set (processor, "ReverbSize", 5.0f);
        set (processor, "ReverbMod", 0.0f);
        auto tree = processor.copyParameterState();
        tree.setProperty ("presetName", "", nullptr);
        const auto preset = home.getChildFile ("still.xml");
        EXPECT_TRUE (tree.createXml()->writeTo (preset));

        juce::PropertiesFile file (varnel::settingsStorage (true));
        file.setValue (varnel::settingsKeys::initialized, 1);
        file.setValue (varnel::settingsKeys::defaultPreset, preset.getFullPathName());
        for (const auto& [key, controller] : midiMap)
            file.setValue (key, controller);
        EXPECT_TRUE (file.save());
    }

    /** The processor at that preset. */
    struct Still : Reference
    {
        Still()
            : Reference (juce::AudioChannelSet::stereo(), juce::AudioChannelSet::stereo(), sampleRate, 4096)
        {
            binding.setParameter ("ReverbSize", 0.05f);
            binding.setParameter ("ReverbMod", 0.0f);
            binding.prepare (sampleRate, 4096);
        }
    };

    jack_client_t* client = nullptr;

private:
    static int firstSound (const juce::AudioBuffer<float>& buffer)
    {
        int i = 0;
        while (i < buffer.getNumSamples() && std::abs (buffer.getSample (0, i)) < 1e-6f)
            ++i;
        return i;
    }

    static juce::AudioBuffer<float> part (juce::AudioBuffer<float>& buffer, int start, int length)
    {
        return juce::AudioBuffer<float> (buffer.getArrayOfWritePointers(), buffer.getNumChannels(), start, length);
    }

    int process (int numFrames)
    {
        auto* const midiBuffer = jack_port_get_buffer (midi, static_cast<jack_nframes_t> (numFrames));
        jack_midi_clear_buffer (midiBuffer);
        if (const auto m = message.exchange (0); m != 0)
        {
            const jack_midi_data_t bytes[] { 0xb0, static_cast<jack_midi_data_t> (m >> 8), static_cast<jack_midi_data_t> (m & 0x7f) };
            jack_midi_event_write (midiBuffer, 0, bytes, sizeof (bytes));
        }

        for (size_t channel = 0; channel < 2; ++channel)
        {
            auto* const out = static_cast<float*> (jack_port_get_buffer (outputs[channel], static_cast<jack_nframes_t> (numFrames)));
            const auto* const in = static_cast<const float*> (jack_port_get_buffer (inputs[channel], static_cast<jack_nframes_t> (numFrames)));
            for (int i = 0; i < numFrames; ++i)
            {
                const auto at = position + i;
                out[i] = playing && at < played.getNumSamples() ? played.getSample (static_cast<int> (channel), at) : 0.0f;
                if (playing && at < recorded.getNumSamples())
                    recorded.setSample (static_cast<int> (channel), at, in[i]);
            }
        }

        if (playing)
        {
            position += numFrames;
            if (position >= recorded.getNumSamples())
                playing = false;
        }

        return 0;
    }

    const juce::String serverName = "varnel-test-" + juce::String (getpid());
    std::optional<Program> server;
    jack_port_t *outputs[2] {}, *inputs[2] {}, *midi = nullptr;
    juce::AudioBuffer<float> played, recorded;
    int position = 0;
    std::atomic<bool> playing { false };
    std::atomic<int> message { 0 }, numDropouts { 0 };
};
