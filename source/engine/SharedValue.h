// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <atomic>
#include <type_traits>

namespace varnel
{

/** A value that one thread writes while another reads it, each time as a whole and without waiting.

    Reads and writes are relaxed atomics: on every processor that matters they compile to a plain
    load and a plain store. Nothing is promised about the order in which several such values become
    visible, which suits settings and meters.
*/
template <typename Type>
class SharedValue
{
public:
    constexpr SharedValue() noexcept = default;
    constexpr SharedValue (Type initial) noexcept
        : value (initial) {}

    SharedValue& operator= (Type newValue) noexcept
    {
        value.store (newValue, std::memory_order_relaxed);
        return *this;
    }

    SharedValue (const SharedValue& other) noexcept
        : value (static_cast<Type> (other)) {}
    SharedValue& operator= (const SharedValue& other) noexcept
    {
        *this = static_cast<Type> (other);
        return *this;
    }

    operator Type() const noexcept { return static_cast<Type> (value.load (std::memory_order_relaxed)); }

private:
    // On RISC-V, what is smaller than an int may have to wait for a lock.
    using Stored = std::conditional_t<(sizeof (Type) < sizeof (int)), int, Type>;
    static_assert (std::atomic<Stored>::is_always_lock_free);

    std::atomic<Stored> value {};
};

/** A control that is kept as several SharedValues, which any number of threads may set at once.

    Whoever sets it writes all the values, and looks afterwards whether somebody else has set it meanwhile. Then both may
    have written some of them, so the newer setting is written once more. In the end all values belong to the last one.
    Nobody waits: writing is repeated only if another thread has got on.
*/
class Setting
{
public:
    /** @param write  called with the setting whose values it is to write */
    template <typename Write>
    void set (float setting, Write write) noexcept
    {
        last.exchange (setting, std::memory_order_acq_rel);

        do
            write (setting);
        while (! last.compare_exchange_strong (setting, setting, std::memory_order_acq_rel)); // or takes the newer one over
    }

private:
    static_assert (std::atomic<float>::is_always_lock_free);

    std::atomic<float> last { 0.0f };
};

} // namespace varnel
