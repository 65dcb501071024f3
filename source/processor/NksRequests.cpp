// SPDX-License-Identifier: AGPL-3.0-only
#include "NksRequests.h"

#include <array>
#include <cstring>
#include <iostream>

namespace varnel
{

namespace
{

// The upper half of a request's index: two letters whose case tells the direction.
constexpr std::uint32_t get = 0x4e49 /* NI */, set = 0x6e69 /* ni */, describe = 0x4e69 /* Ni */;

struct Property
{
    std::uint32_t number;
    std::int64_t size; ///< bytes
    bool writable;
    std::int64_t value;
    bool hasValue;
};

constexpr std::uint32_t viewMode = 13, nksVersion = 32;

constexpr std::array<Property, 4> properties { {
    { 12, 4, false, 3, true },
    { viewMode, 4, true, 0, true },
    { 28, 1, false, 0, false },
    { nksVersion, 8, true, 1, true },
} };

const Property* find (std::uint32_t number)
{
    for (const auto& property : properties)
        if (property.number == number)
            return &property;

    return nullptr;
}

std::intptr_t getProperty (const Property& property, void* ptr)
{
    if (! property.hasValue)
        return 1;

    if (ptr == nullptr)
        return 0;

    if (property.size == sizeof (std::int32_t))
    {
        const auto value = static_cast<std::int32_t> (property.value);
        std::memcpy (ptr, &value, sizeof (value));
    }
    else
    {
        std::memcpy (ptr, &property.value, sizeof (property.value));
    }

    return 1;
}

std::intptr_t describeProperty (const Property& property, void* ptr)
{
    if (ptr != nullptr)
    {
        const char writable = property.writable ? 1 : 0;
        std::memcpy (ptr, &property.size, sizeof (property.size));
        std::memcpy (static_cast<char*> (ptr) + sizeof (property.size), &writable, sizeof (writable));
    }

    return 1;
}

/** The window has one view and any version will do, so hosts are only heard out. */
std::intptr_t setProperty (const Property& property, std::intptr_t size, const void* ptr)
{
    if (! property.writable || ptr == nullptr || size != property.size)
        return 0;

    if (property.number == viewMode)
    {
        std::int32_t mode = 0;
        std::memcpy (&mode, ptr, sizeof (mode));
        std::cout << "Set the plugin to " << (mode == 1 ? "big" : mode == 2 ? "compact"
                                                                            : "not embedded")
                  << " view" << std::endl;
    }
    else
    {
        std::uint64_t version = 0;
        std::memcpy (&version, ptr, sizeof (version));
        std::cout << "Current nks version of the host is: " << version << std::endl;
    }

    return 1;
}

} // namespace

std::intptr_t answerNksRequest (std::int32_t index, std::intptr_t value, void* ptr)
{
    const auto bits = static_cast<std::uint32_t> (index);
    const auto* const property = find (bits & 0xffff);

    if (property == nullptr)
        return 0;

    switch (bits >> 16)
    {
        case get:
            return getProperty (*property, ptr);
        case describe:
            return describeProperty (*property, ptr);
        case set:
            return setProperty (*property, value, ptr);
        default:
            return 0;
    }
}

} // namespace varnel
