// SPDX-License-Identifier: AGPL-3.0-only
// The stream that a CLAP host hands over, in parts of any size: a chunk, one in a VST3 session's wrapping, or anything else.

#include "Fuzz.h"

#include "clap/Abi.h"
#include "processor/ParameterTable.h"

#include <algorithm>
#include <array>

namespace
{

const clap_host_t host { CLAP_VERSION_INIT, nullptr, "fuzzer", "", "", "", [] (const clap_host_t*, const char*) -> const void*
                         { return nullptr; },
                         [] (const clap_host_t*) {},
                         [] (const clap_host_t*) {},
                         [] (const clap_host_t*) {} };

const clap_plugin_t* createPlugin()
{
    fuzz::environment();
    const auto* const factory = static_cast<const clap_plugin_factory_t*> (clap_entry.get_factory (CLAP_PLUGIN_FACTORY_ID));
    const auto* const plugin = factory->create_plugin (factory, &host, factory->get_plugin_descriptor (factory, 0)->id);
    REQUIRE (plugin->init (plugin));
    return plugin;
}

struct Source
{
    const uint8_t* data;
    size_t size, part;
};

using Values = std::array<double, varnel::Parameter::count>;

Values valuesOf (const clap_plugin_t* plugin)
{
    const auto& params = *static_cast<const clap_plugin_params_t*> (plugin->get_extension (plugin, CLAP_EXT_PARAMS));
    Values values {};
    for (clap_id id = 0; id < values.size(); ++id)
        REQUIRE (params.get_value (plugin, id, &values[id]) && values[id] >= varnel::parameterTable[id].start && values[id] <= varnel::parameterTable[id].end);
    return values;
}

bool load (const clap_plugin_t* plugin, Source source)
{
    const clap_istream_t stream { &source, [] (const clap_istream_t* s, void* into, uint64_t room) -> int64_t
                                  {
        auto& from = *static_cast<Source*> (s->ctx);
        const auto number = std::min ({ from.size, from.part, static_cast<size_t> (room) });
        std::copy_n (from.data, number, static_cast<uint8_t*> (into));
        from.data += number;
        from.size -= number;
        return static_cast<int64_t> (number); } };
    return static_cast<const clap_plugin_state_t*> (plugin->get_extension (plugin, CLAP_EXT_STATE))->load (plugin, &stream);
}

} // namespace

int LLVMFuzzerTestOneInput (const uint8_t* data, size_t size)
{
    static const auto* const plugin = createPlugin();

    if (size == 0)
        return 0;

    const auto before = valuesOf (plugin);
    const auto isTaken = load (plugin, { data + 1, size - 1, data[0] + size_t { 1 } });
    const auto after = valuesOf (plugin);
    REQUIRE (isTaken || after == before);

    // The same in other parts
    REQUIRE (load (plugin, { data + 1, size - 1, 4096 }) == isTaken && valuesOf (plugin) == after);
    return 0;
}
