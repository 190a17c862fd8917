// The bus through a broker: from publish() in one process to the signal in another, compared with the bare C client,
// which moves the same bytes.

#include "benchcase.h"
#include "hostedlibrary.h"
#include "measure.h"
#include "natspeer.h"
#include "recordsource.h"

#include <lxbus/bus.h>
#include <natsbroker.h>

#include <nats/nats.h>

#include <QSemaphore>

#include <algorithm>

using NatsBench::Peer;
using NatsBench::Symbols;

namespace {

constexpr int Rounds = 9;
constexpr int RecordsPerRound = 40000; // fewer than may wait for a receiver
constexpr int PacedPerRound = 20000;
constexpr int RequestsPerRound = 5000;
constexpr int PatienceMs = 60000;

void check(natsStatus status)
{
    if (status != NATS_OK)
        qFatal("NATS: %s", natsStatus_GetText(status));
}

// The times at which records arrive; all of them on one thread.
class Arrivals
{
public:
    void expect(int count)
    {
        m_times.clear();
        m_times.reserve(static_cast<size_t>(count));
        m_expected = count;
    }
    void take()
    {
        m_times.push_back(Measure::nowNs());
        if (static_cast<int>(m_times.size()) == m_expected)
            m_complete.release();
    }
    const std::vector<qint64> &wait()
    {
        if (!m_complete.tryAcquire(1, PatienceMs))
            qFatal("records are missing: %zu of %d", m_times.size(), m_expected);
        return m_times;
    }

private:
    std::vector<qint64> m_times;
    int m_expected = 0;
    QSemaphore m_complete;
};

// The library on a bus through the broker.
class LibraryEnd
{
public:
    enum Kind { Quotes, Transactions };

    explicit LibraryEnd(const QString &url, Kind kind = Quotes)
    {
        QString error;
        if (!LxBus::start(url, {}, &error))
            qFatal("%s", qUtf8Printable(error));
        QStringList symbols;
        for (int i = 0; i < Symbols; ++i)
            symbols.append(RecordSource::symbol(i));
        LxQuotaHandler &handler = hostedLibrary();
        if (kind == Quotes) {
            handler.SubscribeQuote(symbols, true);
            QObject::connect(&handler, &LxQuotaHandler::signalStockQuotaUpdate, [this] { arrivals.take(); });
        } else {
            handler.SubscribeRecordTransaction(symbols, true);
            QObject::connect(&handler, &LxQuotaHandler::signalRecordTransactionUpdate, [this] { arrivals.take(); });
        }
        if (!LxBus::current()->openPublisher()->flush(PatienceMs))
            qFatal("the broker does not answer");
    }

    Arrivals arrivals;
};

// The C client alone.
class BareEnd
{
public:
    explicit BareEnd(const QString &url, const char *prefix = NatsBench::barePrefix)
    {
        check(natsConnection_ConnectTo(&connection, url.toUtf8().constData()));
        const auto take = [](natsConnection *, natsSubscription *, natsMsg *message, void *closure) {
            static_cast<BareEnd *>(closure)->arrivals.take();
            natsMsg_Destroy(message);
        };
        check(
            natsConnection_Subscribe(&m_subscription, connection, (QByteArray(prefix) + '>').constData(), take, this));
        check(natsSubscription_SetPendingLimits(m_subscription, -1, -1));
        check(natsConnection_Flush(connection));
    }
    ~BareEnd()
    {
        natsSubscription_Destroy(m_subscription);
        natsConnection_Destroy(connection);
    }

    Arrivals arrivals;
    natsConnection *connection = nullptr;

private:
    natsSubscription *m_subscription = nullptr;
};

QString startBroker(NatsBroker *broker)
{
    if (!broker->start())
        qFatal("%s", broker->log().constData());
    return broker->url();
}

double rate(Peer *peer, Arrivals *arrivals)
{
    arrivals->expect(RecordsPerRound);
    peer->begin("publish", RecordsPerRound);
    const qint64 last = arrivals->wait().back();
    const qint64 first = peer->sent(RecordsPerRound).front();
    return 1e9 * RecordsPerRound / static_cast<double>(last - first);
}

std::vector<qint64> latencies(Peer *peer, Arrivals *arrivals)
{
    arrivals->expect(PacedPerRound);
    peer->begin("pace", PacedPerRound);
    std::vector<qint64> times = arrivals->wait();
    const std::vector<qint64> sent = peer->sent(PacedPerRound);
    std::transform(times.begin(), times.end(), sent.begin(), times.begin(), std::minus<>());
    std::sort(times.begin(), times.end());
    return times;
}

class NullListener final : public LxBusListener
{
    void published(const QString &, const QString &, const QVariant &) override { }
    void answered(int, const QString &, const QString &, const QVariant &) override { }
};

} // namespace

QVector<BenchRow> natsThroughput()
{
    NatsBroker broker;
    const QString url = startBroker(&broker);
    LibraryEnd library(url);
    BareEnd bare(url);
    Peer busPeer(QStringLiteral("bus"), url);
    Peer barePeer(QStringLiteral("bare"), url);
    const Measure::Comparison result = Measure::interleave(
        Rounds, [&] { return rate(&busPeer, &library.arrivals); }, [&] { return rate(&barePeer, &bare.arrivals); });
    return { { QStringLiteral("16"), QStringLiteral("over NATS, publish to signal / bare C client"),
               QStringLiteral("records/s"), result.figure, result.reference, result.ratio, BenchRow::AtLeast, 0.5 } };
}

static Measure::Comparison streamRates(const char *mode, LibraryEnd::Kind kind, const char *barePrefix)
{
    NatsBroker broker;
    const QString url = startBroker(&broker);
    const auto peer = [&](const char *role) {
        return std::make_unique<Peer>(QLatin1String(role) + QLatin1Char('-') + QLatin1String(mode), url);
    };
    const auto busPeer = peer("bus"); // creates the streams
    const auto barePeer = peer("bare");
    LibraryEnd library(url, kind);
    BareEnd bare(url, barePrefix);
    return Measure::interleave(
        Rounds, [&] { return rate(busPeer.get(), &library.arrivals); },
        [&] { return rate(barePeer.get(), &bare.arrivals); });
}

QVector<BenchRow> natsQuoteStream()
{
    const Measure::Comparison result = streamRates("quotes", LibraryEnd::Quotes, NatsBench::bareQuotePrefix);
    return { { QStringLiteral("20 quotes"), QStringLiteral("quotes through the stream of last values / bare C client"),
               QStringLiteral("records/s"), result.figure, result.reference, result.ratio, BenchRow::AtLeast, 0.5 } };
}

QVector<BenchRow> natsTickStream()
{
    const Measure::Comparison result = streamRates("ticks", LibraryEnd::Transactions, NatsBench::bareTickPrefix);
    return { { QStringLiteral("20 ticks"), QStringLiteral("transactions through the stream of ticks / bare C client"),
               QStringLiteral("records/s"), result.figure, result.reference, result.ratio, BenchRow::AtLeast, 0.5 } };
}

QVector<BenchRow> natsLatency()
{
    NatsBroker broker;
    const QString url = startBroker(&broker);
    LibraryEnd library(url);
    BareEnd bare(url);
    Peer busPeer(QStringLiteral("bus-atonce"), url);
    Peer barePeer(QStringLiteral("bare-atonce"), url);
    Measure::Percentiles percentiles;
    for (int i = -1; i < Rounds; ++i) {
        const auto subject = latencies(&busPeer, &library.arrivals);
        const auto reference = latencies(&barePeer, &bare.arrivals);
        if (i >= 0) // the first one warms up
            percentiles.add(subject, reference);
    }
    return percentiles.rows(QStringLiteral("17"), QStringLiteral("latency over NATS at 20000/s, %1 / bare C client"),
                            1.5);
}

QVector<BenchRow> natsRequests()
{
    NatsBroker broker;
    const QString url = startBroker(&broker);
    QString error;
    if (!LxBus::start(url, {}, &error))
        qFatal("%s", qUtf8Printable(error));
    NullListener listener;
    const auto endpoint = LxBus::current()->openEndpoint(QStringLiteral("bench"), &listener);
    BareEnd bare(url);
    Peer busPeer(QStringLiteral("bus-atonce"), url);
    Peer barePeer(QStringLiteral("bare-atonce"), url);
    const QVariant body = RecordSource::stockQuotes().record(0, RecordSource::symbol(0));
    const QByteArray bytes = NatsBench::wireRecords(RecordSource::stockQuotes()).front();
    const auto perSecond = [](const std::function<void()> &request) {
        const qint64 begin = Measure::nowNs();
        for (int i = 0; i < RequestsPerRound; ++i)
            request();
        return 1e9 * RequestsPerRound / static_cast<double>(Measure::nowNs() - begin);
    };
    const Measure::Comparison result = Measure::interleave(
        Rounds,
        [&] {
            return perSecond([&] {
                QVariant answer;
                if (endpoint->requestSync(NatsBench::requestType, body, &answer) != LxBusEndpoint::Ok)
                    qFatal("a request was not answered");
            });
        },
        [&] {
            return perSecond([&] {
                natsMsg *answer = nullptr;
                check(natsConnection_Request(&answer, bare.connection, NatsBench::bareRequest, bytes.constData(),
                                             bytes.size(), PatienceMs));
                natsMsg_Destroy(answer);
            });
        });
    return { { QStringLiteral("18"), QStringLiteral("synchronous requests over NATS / bare C client"),
               QStringLiteral("requests/s"), result.figure, result.reference, result.ratio, BenchRow::AtLeast, 0.5 } };
}
