#pragma once

#include <cstddef>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *bytes, size_t size);

/// Ends the process, as a finding of the fuzzer, unless `holds`.
inline void fuzzRequire(bool holds, const char *what)
{
    if (holds)
        return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}
