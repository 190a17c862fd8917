#pragma once

#include "recordeddata.h"

#include <requestservice.h>

#include <lxbus/bus.h>
#include <lxdefine/lxfields.h>
#include <lxmsg/packmessagecommon.h>
#include <lxmsg/unpackmessagecommon.h>

#include <QMutex>
#include <QSemaphore>
#include <QtTest>

#include <deque>

/// The fields of one packed row.
using Fields = QMap<QString, QVariant>;

constexpr int Timeout = 30000; // far longer than any answer takes

const QString bars = QStringLiteral("KLineResponse");
// The indicators: "REQUEST" and "RESPONSE" in one.
const QString priceEarnings = QStringLiteral("MSG_QUERY_P_E_RATIO_RE%1");
const QString volumeRatio = QStringLiteral("MSG_QUERY_QUANTITY_RELATIVE_RATIO_RE%1");
const QString risingDays = QStringLiteral("MSG_QUERY_UP_N_DAY_RE%1");

inline QString requestOf(const QString &pattern)
{
    return pattern.arg(QStringLiteral("QUEST"));
}

inline QString responseOf(const QString &pattern)
{
    return pattern.arg(QStringLiteral("SPONSE"));
}

/// A client that subscribes to the service's topics and stores the messages it receives, in order.
class Client final : public LxBusListener
{
public:
    struct Message
    {
        QString type;
        QVariant body;
    };

    Client() : m_endpoint(LxBus::current()->openEndpoint(QStringLiteral("client"), this))
    {
        for (const QString &topic :
             { bars, responseOf(priceEarnings), responseOf(volumeRatio), responseOf(risingDays) })
            m_endpoint->subscribe(topic);
    }
    ~Client() { m_endpoint.reset(); }

    LxBusEndpoint *operator->() const { return m_endpoint.get(); }

    /// The next message, or one without a type if none comes.
    Message take()
    {
        if (!m_arrived.tryAcquire(1, Timeout))
            return {};
        QMutexLocker locker(&m_mutex);
        const Message message = m_messages.front();
        m_messages.pop_front();
        return message;
    }

    void published(const QString &, const QString &topic, const QVariant &body) override { keep({ topic, body }); }
    void answered(int, const QString &, const QString &type, const QVariant &body) override { keep({ type, body }); }

private:
    void keep(const Message &message)
    {
        QMutexLocker locker(&m_mutex);
        m_messages.push_back(message);
        m_arrived.release();
    }

    QMutex m_mutex; // guards the next one
    std::deque<Message> m_messages;
    QSemaphore m_arrived;
    std::unique_ptr<LxBusEndpoint> m_endpoint;
};

inline QVariant packed(const QVector<Fields> &rows)
{
    CPackMessageCommon pack;
    for (int i = 0; i < rows.size(); ++i) {
        if (i > 0)
            pack.AddRow();
        for (auto field = rows.at(i).cbegin(); field != rows.at(i).cend(); ++field)
            pack.AddVaule(field.key(), field.value());
    }
    return pack.GetPackedMsg(false);
}

inline QVector<Fields> unpacked(const QVariant &body)
{
    CUnPackMessageCommon rows;
    rows.SetUnPackMsg(body, false);
    QVector<Fields> all;
    for (int i = 0; i < rows.GetRowCount(); ++i) {
        rows.SetCurrentRow(i);
        all.append(rows.GetRowValue());
    }
    return all;
}

inline QVariant statusOf(const QVector<Fields> &rows)
{
    return rows.value(0).value(Orca_Fields::System::requestExeStatus);
}

const QVariant success(Orca_Values::RequestExeStatus::success);

inline QVariant indicatorRequest(const QString &symbol, const QString &date)
{
    return packed({ { { QStringLiteral("Symbol"), symbol }, { QStringLiteral("MDDate"), date } } });
}

/// A bus, a store of the recorded data, and for every test a new service that answers from it.
class RequestServiceTest : public QObject
{
    Q_OBJECT

protected Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(m_recorded.isValid(), qPrintable(m_recorded.errorString()));
        QString error;
        QVERIFY2(LxBus::start(QStringLiteral("inproc:"), {}, &error), qPrintable(error));
    }
    void init() { startService(m_recorded.path()); }
    void cleanup() { m_service.reset(); }
    void cleanupTestCase() { LxBus::stop(); }

protected:
    void startService(const QString &store)
    {
        QString error;
        m_service = std::make_unique<RequestService>();
        QVERIFY2(m_service->start(store, &error), qPrintable(error));
    }

    /// The rows of the answer to an indicator's request; none if something else comes.
    QVector<Fields> ask(Client *client, const QString &pattern, const QVariant &body)
    {
        (*client)->put(requestOf(pattern), body);
        const Client::Message answer = client->take();
        const QVector<Fields> rows = unpacked(answer.body);
        const bool rightType = answer.type == responseOf(pattern)
            && rows.value(0).value(Orca_Fields::System::msgType) == QVariant(answer.type);
        return rightType ? rows : QVector<Fields>();
    }

    RecordedStore m_recorded;
    std::unique_ptr<RequestService> m_service;
};
