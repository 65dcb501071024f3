// SPDX-License-Identifier: AGPL-3.0-only
// varnel._varnel: what the Python package does not do in Python. It trusts the package to have checked what it hands over.

#include "library/varnel_reverb.h"

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <mutex>
#include <string>
#include <vector>

namespace py = pybind11;

namespace
{

using Samples = py::array_t<float, py::array::c_style>; // (channels, frames)
using Values = std::array<float, VARNEL_REVERB_NUM_PARAMETERS>;

void require (varnel_reverb_status status)
{
    if (status == VARNEL_REVERB_NO_MEMORY)
        throw std::bad_alloc();

    if (status != VARNEL_REVERB_OK)
        throw py::value_error (varnel_reverb_status_text (status));
}

/** A handle of the library. One thread at a time: whoever comes second waits, without the interpreter's lock. */
class Stream
{
public:
    Stream (double rate, std::size_t numInputs, const Values& values)
    {
        require (varnel_reverb_create (&reverb));
        set (values);
        require (varnel_reverb_prepare (reverb, rate, numInputs));
    }

    ~Stream() { varnel_reverb_destroy (reverb); }

    Stream (const Stream&) = delete;
    Stream& operator= (const Stream&) = delete;

    void set (const Values& values)
    {
        for (std::size_t i = 0; i < values.size(); ++i)
            require (varnel_reverb_set (reverb, i, values[i]));
    }

    Samples process (const Samples& audio, std::size_t numOutputs)
    {
        const auto numFrames = static_cast<std::size_t> (audio.shape (1));
        Samples result ({ numOutputs, numFrames });
        const std::array inputs { audio.data (0), audio.data (audio.shape (0) - 1) };
        const std::array outputs { result.mutable_data (0), result.mutable_data (static_cast<py::ssize_t> (numOutputs) - 1) };

        const py::gil_scoped_release release;
        const std::scoped_lock lock (mutex);
        require (varnel_reverb_process (reverb, inputs.data(), outputs.data(), numOutputs, numFrames));
        return result;
    }

    void reset()
    {
        const py::gil_scoped_release release;
        const std::scoped_lock lock (mutex);
        require (varnel_reverb_reset (reverb));
    }

    double tailSeconds() const
    {
        auto seconds = 0.0;
        require (varnel_reverb_tail_seconds (reverb, &seconds));
        return seconds;
    }

    varnel_reverb* reverb = nullptr;

private:
    std::mutex mutex;
};

/** How long all channels have been inaudible: under -96 dBFS for a second is the end of a tail, as varnel-render has it. */
struct TailEnd
{
    std::size_t framesOfSilence, silent = 0;

    /** @returns the number of frames up to the end, or all if it has not come yet */
    std::size_t find (const std::array<std::vector<float>, 2>& channels, std::size_t numChannels, std::size_t start, std::size_t numFrames)
    {
        for (std::size_t i = 0; i < numFrames; ++i)
        {
            auto quiet = true;

            for (std::size_t channel = 0; channel < numChannels; ++channel)
                quiet = quiet && std::abs (channels[channel][start + i]) < 1.58489319e-5f;

            silent = quiet ? silent + 1 : 0;

            if (reached())
                return i + 1;
        }

        return numFrames;
    }

    bool reached() const { return silent >= framesOfSilence; }
};

/** What varnel-render makes of a sound, to the bit.
    @param tailSeconds  below 0: until the tail is inaudible */
Samples render (const Samples& audio, double rate, const Values& values, double tailSeconds, double fadeSeconds, std::size_t numOutputs)
{
    constexpr std::size_t blockSize = 512;
    constexpr double longestTail = 60.0;

    const auto numInputs = static_cast<std::size_t> (audio.shape (0)), numFrames = static_cast<std::size_t> (audio.shape (1));
    const auto endsByItself = tailSeconds < 0.0;
    const auto end = numFrames + static_cast<std::size_t> (std::llround ((endsByItself ? longestTail : tailSeconds) * rate));
    const std::array inputs { audio.data (0), audio.data (audio.shape (0) - 1) };
    std::array<std::vector<float>, 2> out;
    const auto numChannels = numInputs == 1 && numOutputs == 1 ? std::size_t { 1 } : std::size_t { 2 };

    {
        const py::gil_scoped_release release;
        Stream stream (rate, numInputs, values);
        TailEnd tailEnd { static_cast<std::size_t> (rate) };
        const std::vector<float> silence (blockSize);
        std::size_t done = 0;

        const auto process = [&] (const float* left, const float* right, std::size_t count)
        {
            const std::array from { left, right };

            for (std::size_t channel = 0; channel < numChannels; ++channel)
                out[channel].resize (done + count);

            const std::array to { out[0].data() + done, out[numChannels - 1].data() + done };
            require (varnel_reverb_process (stream.reverb, from.data(), to.data(), numChannels, count));
            const auto upToEnd = tailEnd.find (out, numChannels, done, count);
            done += count;
            return upToEnd;
        };

        if (! endsByItself)
            for (auto& channel : out)
                channel.reserve (end);

        while (done < numFrames)
            process (inputs[0] + done, inputs[1] + done, std::min (blockSize, numFrames - done));

        if (endsByItself)
            tailEnd.silent = 0;

        while (done < end && ! (endsByItself && tailEnd.reached()))
        {
            const auto start = done;
            const auto upToEnd = process (silence.data(), silence.data(), std::min (blockSize, end - done));

            if (endsByItself)
                done = start + upToEnd;
        }

        for (std::size_t channel = 0; channel < numChannels; ++channel)
            out[channel].resize (done);

        if (numChannels > numOutputs)
            std::transform (out[0].begin(), out[0].end(), out[1].begin(), out[0].begin(), [] (float left, float right)
                            { return 0.5f * (left + right); });

        if (const auto numFaded = std::min (done, static_cast<std::size_t> (std::llround (fadeSeconds * rate))); ! tailEnd.reached())
            for (std::size_t i = 0; i < numFaded; ++i)
            {
                const auto left = 1.0 - static_cast<double> (i + 1) / static_cast<double> (numFaded);

                for (std::size_t channel = 0; channel < numOutputs; ++channel)
                {
                    auto& sample = out[channel][done - numFaded + i];
                    sample = static_cast<float> (static_cast<double> (sample) * (left * left * (3.0 - 2.0 * left)));
                }
            }
    }

    Samples result ({ numOutputs, out[0].size() });

    for (std::size_t channel = 0; channel < numOutputs; ++channel)
        std::copy (out[channel].begin(), out[channel].end(), result.mutable_data (static_cast<py::ssize_t> (channel)));

    return result;
}

py::list parameters()
{
    py::list all;

    for (std::size_t i = 0; i < VARNEL_REVERB_NUM_PARAMETERS; ++i)
    {
        const auto& p = *varnel_reverb_parameter_at (i);
        all.append (py::make_tuple (p.id, p.name, p.unit, p.lowest, p.highest, p.step, p.default_value));
    }

    return all;
}

py::list presets()
{
    py::list all;

    for (std::size_t i = 0; i < varnel_reverb_num_presets(); ++i)
    {
        const auto& preset = *varnel_reverb_preset_at (i);
        all.append (py::make_tuple (preset.folder, preset.name, std::vector<float> (std::begin (preset.values), std::end (preset.values))));
    }

    return all;
}

} // namespace

PYBIND11_MODULE (_varnel, module)
{
    module.doc() = "The compiled part of the package varnel";
    module.attr ("version") = varnel_reverb_version();
    module.def ("parameters", parameters);
    module.def ("presets", presets);
    module.def ("render", render);
    py::class_<Stream> (module, "Stream")
        .def (py::init<double, std::size_t, const Values&>())
        .def ("set", &Stream::set)
        .def ("process", &Stream::process)
        .def ("reset", &Stream::reset)
        .def ("tail_seconds", &Stream::tailSeconds);
}
