#pragma once

#include <QHash>
#include <QMutex>
#include <QObject>
#include <QVariant>

// The class of the recording double, as a platform may write it whose own code knows no restrictions of Qt.
class LxPluginBaseObject : public QObject
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

    const char *id() const
    {
        const QByteArray name = getPluginObjectPropety("id").toString().toUtf8();
        return name == "" ? "none" : "some";
    }

signals:
    void closed();

public slots:
    void close() { emit closed(); }

private:
    mutable QMutex m_mutex;
    QHash<QString, QVariant> m_properties;
};
