#include <QtGlobal>

// A library that can be loaded and has no plug-in object.
extern "C" Q_DECL_EXPORT int lxNoPluginObject()
{
    return 0;
}
