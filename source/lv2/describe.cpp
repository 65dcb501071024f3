// SPDX-License-Identifier: AGPL-3.0-only
// Writes the plain bundle's data in Turtle, from the tables of parameters and presets. The build runs it.

#include "Ports.h"
#include "processor/Product.h"

#include <cmath>
#include <cstdio>
#include <fstream>
#include <locale>
#include <sstream>
#include <string>

namespace
{

using namespace varnel::lv2;

constexpr auto prefixes = R"(@prefix doap: <http://usefulinc.com/ns/doap#> .
@prefix foaf: <http://xmlns.com/foaf/0.1/> .
@prefix lv2: <http://lv2plug.in/ns/lv2core#> .
@prefix pg: <http://lv2plug.in/ns/ext/port-groups#> .
@prefix pprops: <http://lv2plug.in/ns/ext/port-props#> .
@prefix pset: <http://lv2plug.in/ns/ext/presets#> .
@prefix rdf: <http://www.w3.org/1999/02/22-rdf-syntax-ns#> .
@prefix rdfs: <http://www.w3.org/2000/01/rdf-schema#> .
@prefix units: <http://lv2plug.in/ns/extensions/units#> .

)";

constexpr auto uri = "<" VARNEL_PLAIN_LV2_URI ">";

/** What the tables do not say of the controls. GStreamer decides what else is left out: it takes all
    ports of a group for audio, and a control's scale points for all values that it can have. */
constexpr std::array<const char*, VARNEL_REVERB_NUM_PARAMETERS> comments {
    "The room: how long it rings, how dense and how loud it is.",
    "How fast and how far the delays move, which keeps a long tail from ringing like metal.",
    "Level of the lows. A cut shortens their decay as well.",
    "Level of the highs. A cut shortens their decay as well.",
    "The listener's distance: early against late sound and, in insert mode, dry against wet.",
    "Whether the reverb runs. Switched off, it lets the sound through and forgets its tail.",
    "Whether the dry sound is in the output. Off for an effect bus.",
};

std::string number (float value)
{
    std::ostringstream text;
    text.imbue (std::locale::classic());
    text.precision (9);
    text << value;
    return text.str().find_first_of (".e") == std::string::npos ? text.str() + ".0" : text.str();
}

/** A place in the presets' file for a name, of which letters and digits stay. */
std::string place (const char* kind, std::string name)
{
    for (auto& letter : name)
        if (! ((letter >= 'A' && letter <= 'Z') || (letter >= 'a' && letter <= 'z') || (letter >= '0' && letter <= '9')))
            letter = '_';

    std::string text ("<presets.ttl#");
    return text.append (kind).append (name).append (">");
}

std::string preset (const varnel_reverb_preset& preset)
{
    return place ("", preset.name);
}

std::string manifest()
{
    auto text = prefixes + std::string (uri) + "\n    a lv2:Plugin ;\n    lv2:binary <" VARNEL_PLAIN_LV2_BINARY "> ;\n    rdfs:seeAlso <dsp.ttl> .\n";

    for (std::size_t i = 0; i < varnel_reverb_num_presets(); ++i)
        text.append ("\n").append (preset (*varnel_reverb_preset_at (i))).append ("\n    a pset:Preset ;\n    lv2:appliesTo ").append (uri).append (" ;\n    rdfs:seeAlso <presets.ttl> .\n");

    return text;
}

std::string presets()
{
    std::string text = prefixes, folders;

    for (std::size_t i = 0; i < varnel_reverb_num_presets(); ++i)
    {
        const auto& entry = *varnel_reverb_preset_at (i);
        const std::string folder = entry.folder;
        text += preset (entry) + "\n    a pset:Preset ;\n    lv2:appliesTo " + uri + " ;\n    rdfs:label \"" + entry.name + "\" ;\n";

        if (const auto bank = place ("bank_", folder); ! folder.empty())
        {
            text += "    pset:bank " + bank + " ;\n";

            if (folders.find (bank) == std::string::npos)
                folders += bank + "\n    a pset:Bank ;\n    rdfs:label \"" + folder + "\" .\n\n";
        }

        for (std::size_t p = 0; p < symbols.size(); ++p)
            text += std::string (p == 0 ? "    lv2:port" : " ,") + " [\n        lv2:symbol \"" + symbols[p] + "\" ;\n        pset:value " + number (entry.values[p]) + "\n    ]";

        text += " .\n\n";
    }

    return text + folders;
}

std::string audioPort (Port port, const char* symbol, const char* name, const char* comment, const char* type, const char* group, const char* side)
{
    return "    lv2:port [\n        a lv2:AudioPort , lv2:" + std::string (type) + " ;\n        lv2:index " + std::to_string (port) + " ;\n        lv2:symbol \"" + symbol + "\" ;\n        lv2:name \"" + name + "\" ;\n        rdfs:comment \"" + comment + "\" ;\n        pg:group <#" + group + "> ;\n        lv2:designation pg:" + side + "\n    ] ;\n";
}

std::string controlPort (std::size_t i)
{
    const auto& parameter = *varnel_reverb_parameter_at (i);
    const auto isEnabled = i == VARNEL_REVERB_EFFECT;
    const std::string unit = parameter.unit;
    auto text = "    lv2:port [\n        a lv2:ControlPort , lv2:InputPort ;\n        lv2:index " + std::to_string (firstControl + i) + " ;\n        lv2:symbol \"" + symbols[i] + "\" ;\n        lv2:name \"" + parameter.name + "\" ;\n        rdfs:comment \"" + comments[i] + "\" ;\n";
    text += "        lv2:default " + number (parameter.default_value) + " ;\n        lv2:minimum " + number (parameter.lowest) + " ;\n        lv2:maximum " + number (parameter.highest) + " ;\n";

    if (isEnabled)
        text += "        lv2:designation lv2:enabled ;\n";

    if (parameter.is_switch != 0)
        return text + "        lv2:portProperty lv2:integer , lv2:toggled ;\n        lv2:scalePoint [ rdfs:label \"Off\" ; rdf:value 0 ] , [ rdfs:label \"On\" ; rdf:value 1 ]\n    ]";

    text += "        pprops:rangeSteps " + std::to_string (std::lround ((parameter.highest - parameter.lowest) / parameter.step) + 1) + " ;\n";

    if (parameter.step >= 1.0f)
        text += "        lv2:portProperty lv2:integer ;\n";

    return text + "        units:unit units:" + (unit == "dB" ? "db" : unit == "%" ? "pc"
                                                                                   : "coef")
           + "\n    ]";
}

/** Releases have even numbers, and each is higher than those before. */
std::string version()
{
    const auto code = varnel::product::versionCode;
    return "    lv2:minorVersion " + std::to_string ((code >> 16) * 100 + (code >> 8 & 0xff) * 2) + " ;\n    lv2:microVersion " + std::to_string ((code & 0xff) * 2) + " ;\n";
}

std::string plugin()
{
    std::string text = prefixes;
    text += std::string ("<urn:ostry:varnel-reverb-project>\n    a doap:Project ;\n    doap:name \"") + varnel::product::name + "\" ;\n    doap:license <https://www.gnu.org/licenses/agpl-3.0> ;\n    doap:maintainer [ a foaf:Person ; foaf:name \"" + varnel::product::maker + "\" ] .\n\n";

    for (const auto& [symbol, type, label] : { std::array { "in", "InputGroup , pg:StereoGroup", "Input" }, { "out", "OutputGroup , pg:StereoGroup", "Output" } })
        text += std::string ("<#") + symbol + ">\n    a pg:" + type + " ;\n    lv2:symbol \"" + symbol + "\" ;\n    lv2:name \"" + label + "\" .\n\n";

    text += std::string (uri) + "\n    a lv2:Plugin , lv2:ReverbPlugin , doap:Project ;\n    lv2:project <urn:ostry:varnel-reverb-project> ;\n    doap:name \"" + varnel::product::name + " plain\" ;\n    doap:license <https://www.gnu.org/licenses/agpl-3.0> ;\n    doap:maintainer [ a foaf:Person ; foaf:name \"" + varnel::product::maker + "\" ] ;\n";
    text += "    rdfs:comment \"A stereo algorithmic reverb with seven controls: the sound of the plug-in that has a window, to the bit, for hosts and boxes without a screen.\" ;\n";
    text += version() + "    lv2:optionalFeature lv2:hardRTCapable ;\n    pg:mainInput <#in> ;\n    pg:mainOutput <#out> ;\n";
    text += audioPort (inLeft, "in_l", "Input left", "The left input.", "InputPort", "in", "left");
    text += audioPort (inRight, "in_r", "Input right", "The right input.", "InputPort", "in", "right");
    text += audioPort (outLeft, "out_l", "Output left", "The left output.", "OutputPort", "out", "left");
    text += audioPort (outRight, "out_r", "Output right", "The right output.", "OutputPort", "out", "right");

    for (std::size_t i = 0; i < symbols.size(); ++i)
        text += controlPort (i) + (i + 1 < symbols.size() ? " ;\n" : " .\n");

    return text;
}

} // namespace

int main (int argc, char** argv)
{
    if (argc != 2)
    {
        std::fputs ("usage: varnel-describe-lv2 BUNDLE\n", stderr);
        return 2;
    }

    for (const auto& [name, text] : { std::pair { "manifest.ttl", manifest() }, { "dsp.ttl", plugin() }, { "presets.ttl", presets() } })
        if (const auto path = argv[1] + std::string ("/") + name; ! (std::ofstream (path, std::ios::binary) << text).flush())
        {
            std::fprintf (stderr, "varnel-describe-lv2: %s: cannot be written\n", path.c_str());
            return 1;
        }
}
