// SPDX-License-Identifier: AGPL-3.0-only
// The stream that a CLAP host hands over, in parts of any size: a chunk, one in a VST3 session's wrapping, or anything else.

#include "Fuzz.h"

#include "clap/Abi.h"
#include "processor/ParameterTable.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace
{

/** An instance in a host that has timers, which never call. */
struct Hosted
{
    const clap_host_timer_support_t timers { [] (const clap_host_t*, uint32_t, clap_id*)
                                             { return true; },
                                             [] (const clap_host_t*, clap_id)
                                             { return true; } };
    const clap_host_t host { CLAP_VERSION_INIT, this, "fuzzer", "", "", "", [] (const clap_host_t* h, const char* id) -> const void*
                             { return std::strcmp (id, CLAP_EXT_TIMER_SUPPORT) == 0 ? &static_cast<Hosted*> (h->host_data)->timers : nullptr; },
                             [] (const clap_host_t*) {},
                             [] (const clap_host_t*) {},
                             [] (const clap_host_t*) {} };
    const clap_plugin_t* const plugin = []<typename Factory> (const Factory* factory, const clap_host_t* h)
    { return factory->create_plugin (factory, h, factory->get_plugin_descriptor (factory, 0)->id); }(static_cast<const clap_plugin_factory_t*> (clap_entry.get_factory (CLAP_PLUGIN_FACTORY_ID)), &host);
};

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
    fuzz::environment();
    static auto& hosted = *new Hosted;
    static const auto isReady = hosted.plugin->init (hosted.plugin);
    REQUIRE (isReady);

    if (size == 0)
        return 0;

    const auto before = valuesOf (hosted.plugin);
    const auto isTaken = load (hosted.plugin, { data + 1, size - 1, data[0] + size_t { 1 } });
    const auto after = valuesOf (hosted.plugin);
    REQUIRE (isTaken || after == before);

    // The same in other parts
    REQUIRE (load (hosted.plugin, { data + 1, size - 1, 4096 }) == isTaken && valuesOf (hosted.plugin) == after);
    return 0;
}
