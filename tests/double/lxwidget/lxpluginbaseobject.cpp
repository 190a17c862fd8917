#include "lxpluginbaseobject.h"

#include "recorder_p.h"

LxPluginBaseObject::LxPluginBaseObject(QObject *parent) : QObject(parent)
{
    QMutexLocker locker(&Recorder::instance().mutex);
    m_properties = Recorder::instance().newPluginProperties;
    Recorder::instance().pluginObjects.append(this);
}

LxPluginBaseObject::~LxPluginBaseObject()
{
    QMutexLocker locker(&Recorder::instance().mutex);
    Recorder::instance().pluginObjects.removeOne(this);
}

void LxPluginBaseObject::initialize() { }

void LxPluginBaseObject::doBeforeClose() { }

QVariant LxPluginBaseObject::getPluginObjectPropety(const QString &key) const
{
    QMutexLocker locker(&m_mutex);
    return m_properties.value(key);
}

void LxPluginBaseObject::setPluginObjectPropety(const QString &key, const QVariant &value)
{
    QMutexLocker locker(&m_mutex);
    m_properties.insert(key, value);
    QMutexLocker recording(&Recorder::instance().mutex);
    Recorder::instance().propertyWrites.append({ false, key, value });
}

void LxPluginBaseObject::setPluginWidgetPropety(const QString &key, const QVariant &value)
{
    QMutexLocker locker(&m_mutex);
    m_properties.insert(key, value);
    QMutexLocker recording(&Recorder::instance().mutex);
    Recorder::instance().propertyWrites.append({ true, key, value });
}
