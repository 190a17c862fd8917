#pragma once

#include <lxutils/lxthread.h>

#include <QObject>
#include <QStringList>

/// The indicator worker: sends price-earnings and quantity-relative-ratio requests from a thread of its own, 20 messages
/// and then a pause of 100 ms, so that long lists neither flood the bus nor hold their caller up.
class LxAsyncIndicatorQryObj : public QObject
{
    Q_OBJECT

public:
    static LxAsyncIndicatorQryObj *instance();

    /// Ends the thread, in the middle of a list too. Not on the worker's own thread.
    void stop();

public Q_SLOTS:
    /// Worker's thread. Nothing is sent for an empty list or date.
    void slotQueryPEData(const QStringList &symbolList, const QString &tradeDate);
    void slotQueryQRRData(const QStringList &symbolList, const QString &tradeDate);

private:
    LxAsyncIndicatorQryObj();
    ~LxAsyncIndicatorQryObj() override;

    void sendPaced(const QString &messageType, const QStringList &symbols, const QString &tradeDate);

    LxThread m_thread;
};
