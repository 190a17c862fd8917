#pragma once

#include <lxdouble/export.h>

#include <QHash>
#include <QMutex>
#include <QObject>
#include <QVariant>

/// A plug-in object that records which of its setters wrote what.
class LXDOUBLE_EXPORT LxPluginBaseObject : public QObject
{
    Q_OBJECT

public:
    explicit LxPluginBaseObject(QObject *parent = nullptr);
    ~LxPluginBaseObject() override;

    virtual void initialize();
    virtual void doBeforeClose();

    QVariant getPluginObjectPropety(const QString &key) const;
    void setPluginObjectPropety(const QString &key, const QVariant &value);
    void setPluginWidgetPropety(const QString &key, const QVariant &value);

private:
    mutable QMutex m_mutex;
    QHash<QString, QVariant> m_properties;
};
