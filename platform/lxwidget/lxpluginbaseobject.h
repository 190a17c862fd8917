#pragma once

#include <lxwidget/lxwidget_export.h>

#include <QObject>
#include <QString>
#include <QVariant>

#include <memory>

/// Base of the object that a plug-in library brings: the platform finds it when the library is loaded
/// (LxPluginHost::load()) and brings the plug-in up through it.
class LXWIDGET_EXPORT LxPluginBaseObject : public QObject
{
    Q_OBJECT

public:
    explicit LxPluginBaseObject(QObject *parent = nullptr);
    ~LxPluginBaseObject() override;

    /// Brings the plug-in up. Does nothing here.
    virtual void initialize();
    /// Told before the client closes. Does nothing here.
    virtual void doBeforeClose();

    /// The plug-in's property table; both setters write it. Any thread.
    QVariant getPluginObjectPropety(const QString &key) const;
    void setPluginObjectPropety(const QString &key, const QVariant &value);
    void setPluginWidgetPropety(const QString &key, const QVariant &value);

private:
    struct Private;
    std::unique_ptr<Private> d;
};
