#include "allocationcount.h"

#include <cstddef>

namespace {

thread_local bool counting = false;
thread_local qint64 allocations = 0;

void countAllocation()
{
    if (counting)
        ++allocations;
}

} // namespace

void AllocationCount::start()
{
    allocations = 0;
    counting = true;
}

qint64 AllocationCount::stop()
{
    counting = false;
    return allocations;
}

// operator new and the Qt containers of every library of the process call these.
extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *memory, size_t size);

void *malloc(size_t size) noexcept
{
    countAllocation();
    return __libc_malloc(size);
}

void *calloc(size_t count, size_t size) noexcept
{
    countAllocation();
    return __libc_calloc(count, size);
}

void *realloc(void *memory, size_t size) noexcept
{
    countAllocation();
    return __libc_realloc(memory, size);
}
}
