#pragma once

#include <lxwidget/lxwidget_export.h>

#include <QObject>
#include <QString>
#include <QVariant>

#include <memory>

/// Base class of plug-in objects. LxPluginHost::load() finds the plug-in objects that a library constructs when it is
/// loaded, and calls initialize().
class LXWIDGET_EXPORT LxPluginBaseObject : public QObject
{
    Q_OBJECT

public:
    /// Enters the object among those that LxPluginHost::load() initialises.
    explicit LxPluginBaseObject(QObject *parent = nullptr);
    ~LxPluginBaseObject() override;

    /// Called once by the host, on the thread that loads the plug-in. The default implementation does nothing.
    virtual void initialize();
    /// Called before the client closes. The default implementation does nothing.
    virtual void doBeforeClose();

    /// A property of the plug-in; invalid if it has not been set. Any thread.
    QVariant getPluginObjectPropety(const QString &key) const;
    /// Sets a property of the plug-in. Any thread.
    void setPluginObjectPropety(const QString &key, const QVariant &value);
    /// As setPluginObjectPropety(): both write the same table.
    void setPluginWidgetPropety(const QString &key, const QVariant &value);

private:
    struct Private;
    std::unique_ptr<Private> d;
};
