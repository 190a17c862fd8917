// Any bytes are either refused with a reason or decoded to a message, which is the same for every reader and does not
// change when it is encoded and decoded again.

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
