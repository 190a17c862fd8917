// Any bytes are refused with a reason or are a message, the same to any reader, that survives being written and read.

#include "wiretesting.h"

#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *bytes, size_t size);

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *bytes, size_t size)
{
    static LxWireReader reader; // with what it has kept of the inputs before
    static LxWireWriter writer;
    const QByteArray message(reinterpret_cast<const char *>(bytes), static_cast<int>(size));
    const QString problem = WireTesting::problem(message, &reader, &writer);
    if (!problem.isEmpty()) {
        std::fprintf(stderr, "%s\n", qUtf8Printable(problem));
        std::abort();
    }
    return 0;
}
