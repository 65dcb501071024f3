// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

/** Counts what the calling thread takes from and gives back to the heap with new and delete, while it lives. */
class AllocationCounter
{
public:
    AllocationCounter() noexcept;
    ~AllocationCounter();

    int count() const noexcept;

    AllocationCounter (const AllocationCounter&) = delete;
    AllocationCounter& operator= (const AllocationCounter&) = delete;
};
