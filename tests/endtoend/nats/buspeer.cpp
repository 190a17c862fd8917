// A process on a bus, controlled by lines on its standard input. It answers each with a line on its standard output.
//
//     start URL [pending=N] [timeout=MS] [reads]
//                                               joins the bus; creates the broker's streams, unless it only reads
//     client NAME TOPIC KIND SYMBOL...          opens an endpoint that reads these symbols
//     publish TOPIC FIRST LAST SYMBOL...        publishes records with these numbers for each symbol: "ok", how many
//                                               were accepted
//     feed TOPIC[,TOPIC] SYMBOL...              publishes continuously, up to 200 records ahead of the broker
//     halt                                      stops feeding: "ok", the last number
//     day                                       a trading day begins
//     await NAME NUMBER SYMBOL...               waits until NAME has received this record, or a later one, of each
//     flush                                     waits until everything published before has been delivered
//     count NAME COUNT                          waits until NAME has received COUNT messages
//     more NAME COUNT                           waits until NAME has received COUNT more messages
//     heard NAME                                what NAME has received: "SYMBOL:FIRST-LAST/COUNT", followed by "!" if
//                                               that was not in order
//     dropped                                   what the bus has dropped
//     bulk TOPIC BYTES SYMBOL                   publishes BYTES bytes without waiting for the broker: "ok", the last
//                                               number
//     reconnected COUNT                         waits until the connection has been restored for the COUNTth time
//     serve TYPE                                answers each request with its own number
//     served COUNT                              waits until it has answered COUNT requests
//     storm TYPE THREADS COUNT FIRST            sends requests and waits for the answers: the numbers of those that
//                                               were answered, timed out, failed, and got the answer to another request
//     ask NAME TYPE FIRST LAST                  sends requests without waiting for the answers
//     quit

#include <bustesting.h>

#include <QCoreApplication>
#include <QMap>
#include <QTextStream>

#include <cstdio>
#include <map>

using namespace BusTesting;

namespace {

constexpr int FeedAhead = 200;

QVariant recordBody(const QString &symbol, int number, const QString &padding = QString())
{
    CPackMessageCommon pack;
    pack.AddVaule(QStringLiteral("Symbol"), symbol);
    pack.AddVaule(QStringLiteral("Number"), number);
    if (!padding.isEmpty())
        pack.AddVaule(QStringLiteral("Padding"), padding);
    return pack.GetPackedMsg(false);
}

class Reader final : public LxBusListener
{
public:
    Reader(Bus &bus, const QString &name, const QString &topic, const QString &kind, const QStringList &symbols)
        : m_endpoint(bus->openEndpoint(name, this))
    {
        m_endpoint->subscribe(topic);
        if (!symbols.isEmpty())
            m_endpoint->put(LxBusTopics::subscribeRequest, subscribeBody(kind.toInt(), Subscribe, symbols));
    }

    bool await(int number, const QStringList &symbols)
    {
        return waitUntil([&] {
            return std::all_of(symbols.cbegin(), symbols.cend(),
                               [&](const QString &symbol) { return m_heard.value(symbol).last >= number; });
        });
    }
    int count() const
    {
        QMutexLocker locker(&m_mutex);
        return m_count;
    }
    bool waitForCount(int count)
    {
        return waitUntil([&] { return m_count >= count; });
    }
    QString heard() const
    {
        QStringList texts;
        QMutexLocker locker(&m_mutex);
        for (auto one = m_heard.cbegin(); one != m_heard.cend(); ++one) {
            texts.append(QStringLiteral("%1:%2-%3/%4%5")
                             .arg(one.key())
                             .arg(one->first)
                             .arg(one->last)
                             .arg(one->count)
                             .arg(one->inOrder ? QString() : QStringLiteral("!")));
        }
        return texts.join(QLatin1Char(' '));
    }
    LxBusEndpoint *endpoint() const { return m_endpoint.get(); }

private:
    struct Heard
    {
        int first = 0;
        int last = 0;
        int count = 0;
        bool inOrder = true;
    };

    void published(const QString &, const QString &topic, const QVariant &body) override
    {
        CUnPackMessageCommon rows;
        rows.SetUnPackMsg(body, false);
        const QString symbol = rows.GetValue(QStringLiteral("Symbol"), topic).toString();
        hear(symbol, rows.GetValue(QStringLiteral("Number"), 0).toInt());
    }
    // Of answers each number counts by itself.
    void answered(int, const QString &, const QString &, const QVariant &body) override
    {
        const int number = numberOf(body);
        hear(QString::number(number), number);
    }
    void hear(const QString &symbol, int number)
    {
        QMutexLocker locker(&m_mutex);
        Heard &heard = m_heard[symbol];
        if (heard.count++ == 0)
            heard.first = number;
        else if (number <= heard.last)
            heard.inOrder = false;
        heard.last = number;
        ++m_count;
        m_changed.wakeAll();
    }
    template<typename Condition>
    bool waitUntil(Condition condition)
    {
        const QDeadlineTimer deadline(PatienceMs);
        QMutexLocker locker(&m_mutex);
        while (!condition() && m_changed.wait(&m_mutex, deadline)) { }
        return condition();
    }

    mutable QMutex m_mutex; // guards what follows
    QWaitCondition m_changed;
    QMap<QString, Heard> m_heard; // by symbol
    int m_count = 0;

    std::unique_ptr<LxBusEndpoint> m_endpoint; // last, to be destroyed before the members that its callbacks use
};

class Peer
{
public:
    QString work(const QStringList &words);

private:
    void feed(const QStringList &topics, const QStringList &symbols);
    QString storm(const QString &type, int threads, int count, int first);
    QString dropped() const;
    template<typename Condition>
    bool waitUntil(Condition condition)
    {
        const QDeadlineTimer deadline(PatienceMs);
        QMutexLocker locker(&m_mutex);
        while (!condition() && m_changed.wait(&m_mutex, deadline)) { }
        return condition();
    }

    QMutex m_mutex; // guards what follows
    QWaitCondition m_changed;
    int m_returns = 0; // of the connection
    int m_served = 0;

    // The last one goes first.
    std::unique_ptr<Bus> m_bus;
    std::unique_ptr<Publisher> m_publisher;
    std::unique_ptr<Service> m_service;
    std::map<QString, std::unique_ptr<Reader>> m_readers;
    std::atomic<bool> m_halt { false };
    std::atomic<int> m_lastFed { 0 };
    Threads m_threads;
};

QString Peer::work(const QStringList &words)
{
    const QString command = words.value(0);
    const auto ok = [](bool good) { return good ? QStringLiteral("ok") : QStringLiteral("timed out"); };
    if (command == QLatin1String("start")) {
        LxBusOptions options;
        const Bus::Role role = words.contains(QStringLiteral("reads")) ? Bus::OnlyReads : Bus::Publishes;
        for (const QString &option : words.mid(2)) {
            if (!option.contains(QLatin1Char('=')))
                continue;
            const int value = option.section(QLatin1Char('='), 1).toInt();
            (option.startsWith(QLatin1String("pending")) ? options.pendingLimit : options.requestTimeoutMs) = value;
        }
        m_bus = std::make_unique<Bus>(options, words.value(1), role);
        m_publisher = std::make_unique<Publisher>(*m_bus);
        QObject::connect(&(*m_bus)->connection(), &LxBusConnection::stateChanged, [this](const LxBusState &state) {
            QMutexLocker locker(&m_mutex);
            m_returns += state.kind == LxBusState::Connected;
            m_changed.wakeAll();
        });
        return ok(true);
    }
    if (command == QLatin1String("client")) {
        m_readers[words.value(1)] =
            std::make_unique<Reader>(*m_bus, words.value(1), words.value(2), words.value(3), words.mid(4));
        return ok(m_publisher->flush());
    }
    if (command == QLatin1String("publish")) {
        int taken = 0;
        for (int number = words.value(2).toInt(); number <= words.value(3).toInt(); ++number) {
            for (const QString &symbol : words.mid(4))
                taken += m_publisher->port->publish(words.value(1), symbol, recordBody(symbol, number));
        }
        return m_publisher->flush() ? QStringLiteral("ok %1").arg(taken) : ok(false);
    }
    if (command == QLatin1String("feed")) {
        m_halt = false;
        m_threads.run([this, words] { feed(words.value(1).split(QLatin1Char(',')), words.mid(2)); });
        return ok(true);
    }
    if (command == QLatin1String("day")) {
        m_publisher->port->beginDay();
        return ok(true);
    }
    if (command == QLatin1String("halt")) {
        m_halt = true;
        m_threads.join();
        return QStringLiteral("ok %1").arg(m_lastFed);
    }
    if (command == QLatin1String("bulk")) {
        const QString padding(1000, QLatin1Char('x'));
        const QString symbol = words.value(3);
        for (int bytes = words.value(2).toInt(); bytes > 0; bytes -= padding.size())
            m_publisher->port->publish(words.value(1), symbol, recordBody(symbol, ++m_lastFed, padding));
        return QStringLiteral("ok %1").arg(m_lastFed);
    }
    if (command == QLatin1String("await"))
        return ok(m_readers.at(words.value(1))->await(words.value(2).toInt(), words.mid(3)));
    if (command == QLatin1String("count"))
        return ok(m_readers.at(words.value(1))->waitForCount(words.value(2).toInt()));
    if (command == QLatin1String("more")) {
        Reader &reader = *m_readers.at(words.value(1));
        return ok(reader.waitForCount(reader.count() + words.value(2).toInt()));
    }
    if (command == QLatin1String("heard"))
        return m_readers.at(words.value(1))->heard();
    if (command == QLatin1String("flush"))
        return ok(m_publisher->flush());
    if (command == QLatin1String("dropped"))
        return dropped();
    if (command == QLatin1String("reconnected"))
        return ok(waitUntil([&] { return m_returns >= words.value(1).toInt(); }));
    if (command == QLatin1String("serve")) {
        m_service = std::make_unique<Service>(*m_bus, QStringList { words.value(1) },
                                              [this](LxBusServicePort *port, const LxBusRequest &request) {
                                                  port->answer(request, QStringLiteral("answer"), request.body);
                                                  QMutexLocker locker(&m_mutex);
                                                  ++m_served;
                                                  m_changed.wakeAll();
                                              });
        return ok(m_publisher->flush());
    }
    if (command == QLatin1String("served"))
        return ok(waitUntil([&] { return m_served >= words.value(1).toInt(); }));
    if (command == QLatin1String("storm"))
        return storm(words.value(1), words.value(2).toInt(), words.value(3).toInt(), words.value(4).toInt());
    if (command == QLatin1String("ask")) {
        for (int number = words.value(3).toInt(); number <= words.value(4).toInt(); ++number)
            m_readers.at(words.value(1))->endpoint()->requestAsync(words.value(2), numberBody(number));
        return ok(true);
    }
    return QStringLiteral("no command: ") + words.join(QLatin1Char(' '));
}

void Peer::feed(const QStringList &topics, const QStringList &symbols)
{
    int ahead = 0;
    while (!m_halt) {
        const int number = ++m_lastFed;
        for (const QString &symbol : symbols) {
            for (const QString &topic : topics)
                m_publisher->port->publish(topic, symbol, recordBody(symbol, number));
        }
        ahead += symbols.size() * topics.size();
        if (ahead >= FeedAhead) {
            m_publisher->flush();
            ahead = 0;
        }
    }
    m_publisher->flush();
}

QString Peer::storm(const QString &type, int threads, int count, int first)
{
    std::atomic<int> answered { 0 };
    std::atomic<int> timedOut { 0 };
    std::atomic<int> failed { 0 };
    std::atomic<int> wrong { 0 };
    {
        Threads callers;
        for (int i = 0; i < threads; ++i) {
            callers.run([&, i] {
                Client client(*m_bus, QStringLiteral("caller"));
                for (int number = first + i; number < first + count; number += threads) {
                    QVariant answer;
                    const int result = client.endpoint->requestSync(type, numberBody(number), &answer);
                    if (result == LxBusEndpoint::Ok && numberOf(answer) != number)
                        ++wrong;
                    ++(result == LxBusEndpoint::Ok ? answered : result == LxBusEndpoint::TimedOut ? timedOut : failed);
                }
            });
        }
    }
    return QStringLiteral("%1 %2 %3 %4").arg(answered).arg(timedOut).arg(failed).arg(wrong);
}

QString Peer::dropped() const
{
    const std::pair<LxBusDrop, const char *> reasons[] {
        { LxBusDrop::NoService, "noservice" }, { LxBusDrop::QueueFull, "full" },
        { LxBusDrop::ReceiverGone, "gone" },   { LxBusDrop::LateAnswer, "late" },
        { LxBusDrop::Malformed, "malformed" }, { LxBusDrop::NotSent, "notsent" },
        { LxBusDrop::LostOnTheWay, "lost" },   { LxBusDrop::Conflated, "conflated" },
    };
    QStringList texts;
    for (const auto &[reason, name] : reasons) {
        if (const quint64 count = m_bus->dropped(reason))
            texts.append(QStringLiteral("%1:%2").arg(QLatin1String(name)).arg(count));
    }
    return texts.join(QLatin1Char(' '));
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QTextStream in(stdin);
    QTextStream out(stdout);
    Peer peer;
    QString line;
    while (in.readLineInto(&line) && line != QLatin1String("quit")) {
        out << peer.work(line.split(QLatin1Char(' '), Qt::SkipEmptyParts)) << '\n';
        out.flush();
    }
    return 0;
}
