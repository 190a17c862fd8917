// A client that is not linked to the library: it loads it and ends in the way that its argument specifies.

#include "feed.h"

#include <lxwidget/lxpluginbaseobject.h>
#include <lxwidget/lxpluginhost.h>

#include <QCoreApplication>

#include <cstdio>
#include <cstring>

#include <dlfcn.h>

namespace {

void fail(const char *reason)
{
    std::fprintf(stderr, "%s\n", reason);
    std::_Exit(1);
}

void *load(const char *file)
{
    void *library = dlopen(file, RTLD_NOW | RTLD_LOCAL);
    if (!library)
        fail(dlerror());
    if (LxPluginHost::plugins().size() != 1)
        fail("the library brings no plug-in object");
    return library;
}

// Initialises the library as the platform does, and makes it process some records.
void use(Feed &feed)
{
    QMetaObject::invokeMethod(LxPluginHost::plugins().constFirst(), "slotInit");
    if (feed.publishOnce() == 0)
        fail("the library does not listen");
    feed.flush();
}

void unload(void *library, const char *file)
{
    if (dlclose(library) != 0)
        fail(dlerror());
    if (dlopen(file, RTLD_NOW | RTLD_NOLOAD))
        fail("the library is still loaded");
    if (!LxPluginHost::plugins().isEmpty())
        fail("the library's plug-in object is left");
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 3)
        fail("usage: MODE LIBRARY");
    const char *mode = argv[1];
    const char *file = argv[2];
    const auto is = [mode](const char *name) { return std::strcmp(mode, name) == 0; };
    // Destroyed before the static objects of the library if that is still loaded then.
    QCoreApplication application(argc, argv);

    if (is("exit-unused")) {
        load(file);
    } else if (is("exit-used")) {
        Feed feed;
        load(file);
        use(feed);
    } else if (is("exit-host-loaded")) {
        if (!LxPluginHost::load(QString::fromLocal8Bit(file)))
            fail("the host cannot load the library");
    } else if (is("exit-busy")) {
        Feed &feed = feedUntilExit();
        load(file);
        use(feed);
        feed.start();
    } else if (is("close-unused")) {
        unload(load(file), file);
    } else if (is("close-used")) {
        Feed feed;
        void *library = load(file);
        use(feed);
        unload(library, file);
    } else if (is("close-twice-unused")) {
        for (int i = 0; i < 2; ++i)
            unload(load(file), file);
    } else if (is("close-twice-used")) {
        Feed feed;
        for (int i = 0; i < 2; ++i) {
            void *library = load(file);
            use(feed);
            unload(library, file);
        }
    } else if (is("close-busy")) {
        Feed feed;
        void *library = load(file);
        use(feed);
        feed.start();
        unload(library, file);
        // The library is unloaded, so nothing receives records any more.
        feed.stop();
        if (feed.publishOnce() != 0)
            fail("the library still listens");
    } else {
        fail("no such mode");
    }
    return 0;
}
