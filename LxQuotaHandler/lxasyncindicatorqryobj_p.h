#pragma once

#include <lxutils/lxthread.h>

#include <QObject>
#include <QStringList>

/// The indicator worker: sends price-earnings and quantity-relative-ratio requests from its own thread, with a pause of
/// 100 ms after every 20 messages, so that long lists neither flood the bus nor block their callers.
class LxAsyncIndicatorQryObj : public QObject
{
    Q_OBJECT

public:
    static LxAsyncIndicatorQryObj *instance();

    /// Ends the thread and waits for it. The list that is being sent gets 3 seconds; the rest of it is discarded then,
    /// as are the lists behind it. Must not be called on the worker's own thread.
    void stop();

public Q_SLOTS:
    /// Both run on the worker's thread and send nothing if the list or the date is empty.
    void slotQueryPEData(const QStringList &symbolList, const QString &tradeDate);
    void slotQueryQRRData(const QStringList &symbolList, const QString &tradeDate);

private:
    LxAsyncIndicatorQryObj();
    ~LxAsyncIndicatorQryObj() override;

    // Returns false if the thread was interrupted before the end of the list.
    bool sendPaced(const QString &messageType, const QStringList &symbols, const QString &tradeDate);

    LxThread m_thread;
};
