#include "lxpluginhost.h"

#include "lxpluginbaseobject.h"
#include "lxpluginregistry_p.h"

#include <QLibrary>
#include <QMutex>
#include <QSet>

namespace {

struct Registry
{
    QMutex mutex;
    QVector<LxPluginBaseObject *> plugins;
    QSet<LxPluginBaseObject *> initialized;
};

Registry &registry()
{
    static Registry instance;
    return instance;
}

} // namespace

void LxPluginRegistry::enter(LxPluginBaseObject *plugin)
{
    QMutexLocker locker(&registry().mutex);
    registry().plugins.append(plugin);
}

void LxPluginRegistry::leave(LxPluginBaseObject *plugin)
{
    QMutexLocker locker(&registry().mutex);
    registry().plugins.removeOne(plugin);
    registry().initialized.remove(plugin);
}

bool LxPluginHost::load(const QString &file, QString *error)
{
    QLibrary library(file);
    if (!library.load()) {
        if (error)
            *error = library.errorString();
        return false;
    }
    QVector<LxPluginBaseObject *> added;
    {
        QMutexLocker locker(&registry().mutex);
        for (LxPluginBaseObject *plugin : std::as_const(registry().plugins)) {
            if (!registry().initialized.contains(plugin)) {
                registry().initialized.insert(plugin);
                added.append(plugin);
            }
        }
    }
    if (added.isEmpty()) {
        if (error)
            *error = QStringLiteral("%1 has no plug-in object").arg(file);
        return false;
    }
    for (LxPluginBaseObject *plugin : std::as_const(added))
        plugin->initialize();
    return true;
}

QVector<LxPluginBaseObject *> LxPluginHost::plugins()
{
    QMutexLocker locker(&registry().mutex);
    return registry().plugins;
}
