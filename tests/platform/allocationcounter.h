#pragma once

#include <cstddef>
#include <cstdlib>

// The sanitizer brings a malloc() of its own, and other C libraries have no second name for theirs.
#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__)
#define LX_COUNTS_ALLOCATIONS
#endif

/// Counts what the calling thread allocates while counting is on. Include it in one source file of the executable.
namespace AllocationCounter {

inline thread_local bool counting = false;
inline thread_local int allocations = 0;

inline void note()
{
    if (counting)
        ++allocations;
}

/// Allocations of this thread during `function`.
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
// The executable's own malloc() stands before that of the C library, for every library in the process.
extern "C" void *__libc_malloc(size_t size);
extern "C" void *malloc(size_t size) noexcept;
extern "C" void *malloc(size_t size) noexcept
{
    AllocationCounter::note();
    return __libc_malloc(size);
}
#endif
