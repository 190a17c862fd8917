#pragma once

#include <cstddef>
#include <cstdlib>

// AddressSanitizer replaces malloc() itself, and only glibc has a second name for its malloc().
#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__)
#define LX_COUNTS_ALLOCATIONS
#endif

/// Counts the allocations of a thread. Include this header in one source file of an executable.
namespace AllocationCounter {

inline thread_local bool counting = false;
inline thread_local int allocations = 0;

inline void note()
{
    if (counting)
        ++allocations;
}

/// The number of allocations of the calling thread during `function`.
template<typename Function>
int during(Function function)
{
    allocations = 0;
    counting = true;
    function();
    counting = false;
    return allocations;
}

} // namespace AllocationCounter

#ifdef LX_COUNTS_ALLOCATIONS
// The executable's malloc() replaces that of the C library for every library in the process.
extern "C" void *__libc_malloc(size_t size);
extern "C" void *malloc(size_t size) noexcept;
extern "C" void *malloc(size_t size) noexcept
{
    AllocationCounter::note();
    return __libc_malloc(size);
}
#endif
