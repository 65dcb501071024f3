// SPDX-License-Identifier: AGPL-3.0-only
#include "AllocationCounter.h"

#include <cstdlib>
#include <new>

namespace
{

thread_local int numCalls = 0;
thread_local bool counting = false;

void* allocate (std::size_t size)
{
    numCalls += counting ? 1 : 0;

    if (auto* const memory = std::malloc (size > 0 ? size : 1))
        return memory;

    throw std::bad_alloc();
}

void release (void* memory) noexcept
{
    numCalls += counting && memory != nullptr ? 1 : 0;
    std::free (memory);
}

} // namespace

AllocationCounter::AllocationCounter() noexcept
{
    numCalls = 0;
    counting = true;
}

AllocationCounter::~AllocationCounter()
{
    counting = false;
}

int AllocationCounter::count() const noexcept
{
    return numCalls;
}

void* operator new (std::size_t size)
{
    return allocate (size);
}

void* operator new[] (std::size_t size)
{
    return allocate (size);
}

void operator delete (void* memory) noexcept
{
    release (memory);
}

void operator delete[] (void* memory) noexcept
{
    release (memory);
}

void operator delete (void* memory, std::size_t) noexcept
{
    release (memory);
}

void operator delete[] (void* memory, std::size_t) noexcept
{
    release (memory);
}
