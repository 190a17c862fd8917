#include <lxbus/links/tickorder_p.h>

#include <QtTest>

#include <optional>

namespace {

LxTick tick(quint64 epoch, quint64 sequence, quint64 floor = 0)
{
    return { epoch, sequence, floor, epoch * 10000 + sequence };
}

// A stream, and what an LxTickOrder has announced of it: "EPOCH:SEQUENCE".
class Stream final : public LxTickOrder::Observer
{
public:
    void announce(const QVariant &body) override
    {
        const quint64 number = body.toULongLong();
        announced.append(QStringLiteral("%1:%2").arg(number / 10000).arg(number % 10000));
    }
    void fetch(quint64 position, int delayMs) override
    {
        QVERIFY(!m_asked);
        m_asked = position;
        fetches.append(position);
        delay += delayMs;
    }
    void fetchLatest() override { ++latestFetches; }
    void lost(quint64 count) override { lostCount += count; }

    // Answers fetches until nothing is asked for any more; at most `count`.
    void answer(LxTickOrder *order, int count = 1000000)
    {
        for (; m_asked && count > 0; --count) {
            const quint64 position = *std::exchange(m_asked, std::nullopt);
            if (position > static_cast<quint64>(stored.size()))
                order->nothingFetched();
            else
                order->fetched(stored.at(static_cast<int>(position) - 1), position);
        }
    }
    bool isAsked() const { return m_asked.has_value(); }
    void forget() { m_asked.reset(); }

    QVector<LxTick> stored; // the first one has position 1
    QStringList announced;
    QVector<quint64> fetches;
    quint64 lostCount = 0;
    int latestFetches = 0;
    int delay = 0;

private:
    std::optional<quint64> m_asked;
};

QStringList numbers(quint64 epoch, int first, int last)
{
    QStringList all;
    for (int i = first; i <= last; ++i)
        all.append(QStringLiteral("%1:%2").arg(epoch).arg(i));
    return all;
}

QStringList list(const char *text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '));
}

} // namespace

class tst_TickOrder : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void first();
    void inOrder();
    void gapIsFetched();
    void lateJoinerGetsAll();
    void lateJoinerOfTheLatest();
    void lateJoinerOfAStreamThatHasForgottenItsBeginning();
    void leftoversOfAPublisherPrecedeItsSuccessor();
    void twoPublishersAtOnce();
    void whatIsNotStoredYetIsFetchedLater();
    void streamOutOfOrder();
    void whatTheStreamLacksIsCounted();
    void heldBackIsBounded();
    void absentStream();
    void unansweredFetchIsRepeated();
    void otherRecordsOfTheStreamAreSkipped();
    void reconnected();
};

// A symbol without earlier ticks is announced at once; otherwise the earlier ones come first.
void tst_TickOrder::first()
{
    Stream stream;
    LxTickOrder order(&stream);
    order.streamIsEmpty();
    order.arrived(tick(1, 1));
    QVERIFY(order.isComplete());
    QCOMPARE(stream.announced, numbers(1, 1, 1));
    QVERIFY(stream.fetches.isEmpty());
}

void tst_TickOrder::inOrder()
{
    Stream stream;
    LxTickOrder order(&stream);
    order.streamIsEmpty();
    for (quint64 i = 1; i <= 5; ++i) {
        order.arrived(tick(1, i));
        order.arrived(tick(1, i)); // by another way
        order.arrived(tick(1, 1));
    }
    QCOMPARE(stream.announced, numbers(1, 1, 5));
    QVERIFY(stream.fetches.isEmpty());
    QCOMPARE(stream.lostCount, quint64(0));
}

void tst_TickOrder::gapIsFetched()
{
    Stream stream;
    for (quint64 i = 1; i <= 8; ++i)
        stream.stored.append(tick(1, i));
    LxTickOrder order(&stream);
    order.streamIsEmpty();
    order.arrived(tick(1, 1));
    order.arrived(tick(1, 2, 1));
    order.arrived(tick(1, 6, 1));
    order.arrived(tick(1, 8, 1)); // another gap
    QVERIFY(!order.isComplete());
    QCOMPARE(stream.announced, numbers(1, 1, 2));
    stream.answer(&order);
    QVERIFY(order.isComplete());
    QCOMPARE(stream.announced, numbers(1, 1, 8));
    QCOMPARE(stream.fetches.first(), quint64(2)); // not from the beginning
    QCOMPARE(stream.lostCount, quint64(0));
}

void tst_TickOrder::lateJoinerGetsAll()
{
    Stream stream;
    for (quint64 i = 1; i <= 3; ++i)
        stream.stored.append(tick(1, i));
    for (quint64 i = 1; i <= 3; ++i)
        stream.stored.append(tick(2, i));
    LxTickOrder order(&stream);
    order.arrived(tick(2, 3)); // the latest
    stream.answer(&order, 2);
    order.arrived(tick(2, 4)); // meanwhile
    stream.answer(&order);
    QCOMPARE(stream.announced, numbers(1, 1, 3) + numbers(2, 1, 4));
    QVERIFY(order.isComplete());
    QCOMPARE(stream.lostCount, quint64(0));
    QCOMPARE(stream.fetches.size(), 5);
}

void tst_TickOrder::lateJoinerOfTheLatest()
{
    Stream stream;
    for (quint64 i = 1; i <= 7; ++i)
        stream.stored.append(tick(1, i));
    LxTickOrder order(&stream, LxTickOrder::LatestTick);
    order.arrived(tick(1, 5, 3));
    QCOMPARE(stream.announced, numbers(1, 5, 5));
    order.arrived(tick(1, 4));
    order.arrived(tick(1, 7)); // from now on nothing is missed
    stream.answer(&order);
    QCOMPARE(stream.announced, numbers(1, 5, 7));
    QCOMPARE(stream.lostCount, quint64(0));
}

void tst_TickOrder::lateJoinerOfAStreamThatHasForgottenItsBeginning()
{
    Stream stream;
    stream.stored = { tick(1, 90), tick(1, 91), tick(1, 92) };
    LxTickOrder order(&stream);
    order.arrived(tick(1, 92));
    stream.answer(&order);
    QCOMPARE(stream.announced, numbers(1, 90, 92));
    QCOMPARE(stream.lostCount, quint64(0));
}

void tst_TickOrder::leftoversOfAPublisherPrecedeItsSuccessor()
{
    Stream stream;
    LxTickOrder order(&stream);
    order.streamIsEmpty();
    order.arrived(tick(1, 1));
    stream.stored = { tick(1, 1), tick(1, 2), tick(1, 3), tick(2, 1), tick(2, 2) };
    order.arrived(tick(2, 1));
    order.arrived(tick(2, 2));
    QCOMPARE(stream.announced, numbers(1, 1, 1));
    stream.answer(&order);
    QCOMPARE(stream.announced, numbers(1, 1, 3) + numbers(2, 1, 2));
    QVERIFY(order.isComplete());
    QCOMPARE(stream.lostCount, quint64(0));
}

void tst_TickOrder::twoPublishersAtOnce()
{
    Stream stream;
    stream.stored = { tick(1, 1), tick(2, 1) };
    LxTickOrder order(&stream);
    order.streamIsEmpty();
    order.arrived(tick(1, 1));
    order.arrived(tick(2, 1));
    stream.answer(&order);
    const int fetches = stream.fetches.size();
    for (quint64 i = 2; i <= 4; ++i) {
        order.arrived(tick(1, i));
        order.arrived(tick(2, i));
    }
    QCOMPARE(stream.announced, list("1:1 2:1 1:2 2:2 1:3 2:3 1:4 2:4"));
    QCOMPARE(stream.fetches.size(), fetches);
}

void tst_TickOrder::whatIsNotStoredYetIsFetchedLater()
{
    Stream stream;
    LxTickOrder order(&stream);
    order.arrived(tick(1, 3));
    stream.answer(&order, 2); // nothing
    QVERIFY(stream.isAsked());
    QVERIFY(stream.delay > 0);
    stream.stored = { tick(1, 1), tick(1, 2), tick(1, 3) };
    stream.answer(&order);
    QCOMPARE(stream.announced, numbers(1, 1, 3));
    QCOMPARE(stream.lostCount, quint64(0));
}

// A publisher that reconnects may publish a tick again after later ones.
void tst_TickOrder::streamOutOfOrder()
{
    Stream stream;
    stream.stored = { tick(1, 1), tick(1, 3), tick(1, 4), tick(1, 2), tick(1, 5) };
    LxTickOrder order(&stream);
    order.arrived(tick(1, 5));
    stream.answer(&order);
    QCOMPARE(stream.announced, numbers(1, 1, 5));
    QCOMPARE(stream.lostCount, quint64(0));
    QVERIFY(order.isComplete());
}

void tst_TickOrder::whatTheStreamLacksIsCounted()
{
    Stream stream;
    LxTickOrder order(&stream);
    order.streamIsEmpty();
    order.arrived(tick(1, 1));
    stream.stored = { tick(1, 1), tick(1, 4), tick(1, 6) };
    order.arrived(tick(1, 6));
    stream.answer(&order);
    QCOMPARE(stream.announced, list("1:1 1:4 1:6"));
    QCOMPARE(stream.lostCount, quint64(3));
    QVERIFY(stream.delay > 1000);
    QVERIFY(order.isComplete());
    order.arrived(tick(1, 7));
    QCOMPARE(stream.announced.last(), QStringLiteral("1:7"));
    order.arrived(tick(1, 2)); // too late
    QCOMPARE(stream.announced.size(), 4);
}

void tst_TickOrder::heldBackIsBounded()
{
    constexpr int Count = static_cast<int>(LxTickOrder::HeldLimit) + 10;
    Stream stream;
    LxTickOrder order(&stream);
    for (quint64 i = 1; i <= Count; ++i)
        stream.stored.append(tick(1, i));
    for (quint64 i = 2; i <= Count; ++i)
        order.arrived(tick(1, i));
    stream.answer(&order);
    QCOMPARE(stream.announced, numbers(1, 1, static_cast<int>(LxTickOrder::HeldLimit) + 1));
    // The rest is found by the latest.
    QCOMPARE(stream.latestFetches, 1);
    order.arrived(tick(1, Count));
    stream.answer(&order);
    QCOMPARE(stream.announced, numbers(1, 1, Count));
    QCOMPARE(stream.latestFetches, 1);
    QCOMPARE(stream.lostCount, quint64(0));
}

void tst_TickOrder::absentStream()
{
    Stream stream;
    LxTickOrder order(&stream);
    order.arrived(tick(1, 5));
    QVERIFY(stream.announced.isEmpty());
    order.setStreamAbsent(true);
    QVERIFY(order.isComplete());
    order.arrived(tick(1, 6));
    order.arrived(tick(1, 8));
    QCOMPARE(stream.announced, list("1:5 1:6 1:8"));
    QCOMPARE(stream.lostCount, quint64(1));
    stream.forget();
    order.setStreamAbsent(false);
    order.arrived(tick(1, 10));
    QVERIFY(!order.isComplete());
}

void tst_TickOrder::unansweredFetchIsRepeated()
{
    Stream stream;
    stream.stored = { tick(1, 1), tick(1, 2) };
    LxTickOrder order(&stream);
    order.arrived(tick(1, 2));
    stream.forget();
    order.fetchFailed();
    QVERIFY(stream.isAsked());
    stream.answer(&order);
    QCOMPARE(stream.announced, numbers(1, 1, 2));
    order.fetchFailed(); // of nothing
    QVERIFY(!stream.isAsked());
}

void tst_TickOrder::otherRecordsOfTheStreamAreSkipped()
{
    Stream stream;
    stream.stored = { tick(1, 1), tick(9, 9), tick(1, 2) };
    LxTickOrder order(&stream);
    order.arrived(tick(1, 2));
    stream.answer(&order, 1);
    stream.forget();
    order.fetchedOther(2);
    stream.answer(&order);
    QCOMPARE(stream.announced, numbers(1, 1, 2));
}

void tst_TickOrder::reconnected()
{
    Stream stream;
    stream.stored = { tick(1, 1), tick(1, 2), tick(1, 3) };
    LxTickOrder order(&stream);
    order.reconnected();
    QVERIFY(!stream.isAsked());
    order.arrived(tick(1, 3));
    stream.answer(&order, 1);
    stream.forget(); // lost with the connection
    order.reconnected();
    QCOMPARE(stream.fetches.last(), quint64(2));
    stream.answer(&order);
    QCOMPARE(stream.announced, numbers(1, 1, 3));
}

QTEST_GUILESS_MAIN(tst_TickOrder)
#include "tst_tickorder.moc"
