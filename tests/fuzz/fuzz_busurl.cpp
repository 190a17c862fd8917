// Any string is refused with a reason or names servers, whose names do not contain the secrets.

#include "fuzzing.h"

#include <links/natsurl_p.h>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *bytes, size_t size)
{
    const QString string = QString::fromUtf8(reinterpret_cast<const char *>(bytes), static_cast<int>(size));
    LxNatsUrl url;
    QString error;
    if (!LxNatsUrl::parse(string, &url, &error)) {
        fuzzRequire(!error.isEmpty(), "a refusal has a reason");
        return 0;
    }
    fuzzRequire(LxNatsUrl::hasScheme(string), "a URL has a scheme");
    fuzzRequire(!url.servers.isEmpty(), "a URL names a server");
    for (const QByteArray &server : url.servers)
        fuzzRequire(server.startsWith("nats://") && !server.contains('@'), "a server is without the secrets");
    fuzzRequire(!url.hosts().contains(QLatin1Char('@')), "hosts are without the secrets");
    return 0;
}
