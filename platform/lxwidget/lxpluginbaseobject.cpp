#include "lxpluginbaseobject.h"

#include "lxpluginregistry_p.h"

#include <QHash>
#include <QMutex>

struct LxPluginBaseObject::Private
{
    mutable QMutex mutex;
    QHash<QString, QVariant> properties;
};

LxPluginBaseObject::LxPluginBaseObject(QObject *parent) : QObject(parent), d(std::make_unique<Private>())
{
    LxPluginRegistry::enter(this);
}

LxPluginBaseObject::~LxPluginBaseObject()
{
    LxPluginRegistry::leave(this);
}

void LxPluginBaseObject::initialize() { }

void LxPluginBaseObject::doBeforeClose() { }

QVariant LxPluginBaseObject::getPluginObjectPropety(const QString &key) const
{
    QMutexLocker locker(&d->mutex);
    return d->properties.value(key);
}

void LxPluginBaseObject::setPluginObjectPropety(const QString &key, const QVariant &value)
{
    QMutexLocker locker(&d->mutex);
    d->properties.insert(key, value);
}

void LxPluginBaseObject::setPluginWidgetPropety(const QString &key, const QVariant &value)
{
    setPluginObjectPropety(key, value);
}
