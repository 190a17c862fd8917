#include "support.h"

#include <lxdefine/lxfields.h>

#include <QRandomGenerator>

#include <cmath>

namespace {

constexpr int Bodies = 10000;
constexpr quint32 Seed = 20230201;

const QStringList keys {
    u"Symbol"_s,
    u"TradingPhaseCode"_s,
    u"PreClosePx"_s,
    u"LastPx"_s,
    u"HighPx"_s,
    u"LowPx"_s,
    u"TotalVolumeTrade"_s,
    u"TotalValueTrade"_s,
    u"NumTrades"_s,
    u"Buy1Price"_s,
    u"Buy1OrderQty"_s,
    u"Sell1OrderQty"_s,
    u"Buy10OrderQty"_s,
    u"TradeQty"_s,
    u"TradeBuyNo"_s,
    u"TradeType"_s,
    u"eps"_s,
    u"days"_s,
    u"MDDate"_s,
    u"PeriodType"_s,
    u"ClosePx"_s,
    u"36046"_s,
    u"36034"_s,
    u"unknown key"_s,
    QString(),
    u"last5DayVolumePerMinute"_s,
};

// Generates malformed bodies, the same ones in every run.
class Malformer
{
public:
    QVariant value(int depth = 0)
    {
        static const QVariant values[] {
            QVariant(),
            QVariant(QString()),
            QVariant(u"nan"_s),
            QVariant(u"-inf"_s),
            QVariant(u"1e999"_s),
            QVariant(u"99999999999999999999"_s),
            QVariant(u"-1"_s),
            QVariant(u"8"_s),
            QVariant(u"\0x"_s),
            QVariant(u"浦发银行"_s),
            QVariant(qQNaN()),
            QVariant(qInf()),
            QVariant(-qInf()),
            QVariant(1e308),
            QVariant(-1e308),
            QVariant(5e-324),
            QVariant(0),
            QVariant(-9999999.0),
            QVariant(true),
            QVariant(QByteArray("\xff\0\x80", 3)),
            QVariant(std::numeric_limits<qint64>::max()),
            QVariant(std::numeric_limits<qint64>::min()),
            QVariant(std::numeric_limits<quint64>::max()),
            QVariant(std::numeric_limits<int>::min()),
            QVariant(QDate(2023, 2, 1)),
            QVariant(u"600000.SH"_s),
            QVariant(u"TotalShare"_s),
            QVariant(u"NetAssets"_s),
            QVariant(2),
            QVariant(1),
        };
        const int choice = pick(int(std::size(values)) + 4);
        if (choice < int(std::size(values)))
            return values[choice];
        if (depth > 2)
            return QVariant();
        switch (choice - int(std::size(values))) {
        case 0:
            return QVariant(QVariantList { value(depth + 1), value(depth + 1) });
        case 1:
            return row(depth + 1);
        case 2:
            return QVariant(QStringList { u"a"_s, u"b"_s });
        default:
            return QVariant(m_random.generateDouble() * 1e12 - 5e11);
        }
    }

    QVariantMap row(int depth = 0)
    {
        QMultiMap<QString, QVariant> result;
        for (int i = pick(12); i > 0; --i) {
            const QString key = keys.at(pick(keys.size()));
            if (pick(4))
                result.replace(key, value(depth + 1));
            else
                result.insert(key, value(depth + 1)); // perhaps a second time
        }
        return result;
    }

    QVariant body()
    {
        if (pick(8) == 0)
            return value();
        QVector<QVariantMap> rows(pick(5));
        for (QVariantMap &one : rows)
            one = row();
        return LxDouble::packRows(rows, claimedRowCount(rows.size()));
    }

    // Sometimes the row count is negative, too small or too large.
    std::optional<int> claimedRowCount(int count)
    {
        if (pick(8))
            return std::nullopt;
        return pick(2) ? count + pick(5) - 2 : -pick(1000);
    }

    int pick(int count) { return m_random.bounded(count); }

private:
    QRandomGenerator m_random { Seed };
};

bool same(double a, double b)
{
    return a == b || (std::isnan(a) && std::isnan(b));
}

int rowCountOf(const QVariant &message)
{
    const LxDouble::Body body = LxDouble::bodyOf(message);
    return body.claimedRowCount.value_or(body.rows.size());
}

bool hasRepeatedKey(const QVariantMap &row)
{
    QStringList rowKeys = row.keys();
    return rowKeys.removeDuplicates() > 0;
}

QVariant valueOf(const QVariant &body, int row, const QString &key)
{
    return LxDouble::bodyOf(body).row(row).value(key, QString());
}

// Feeds `Bodies` bodies to the handler as this type, on its thread; `check` is called after each.
void feed(const QString &type, const std::function<void(const QVariant &)> &check)
{
    onWorker([&] {
        Malformer malformer;
        for (int i = 0; i < Bodies; ++i) {
            const QVariant body = malformer.body();
            handler().slotProcessQuotaMsg(type, body);
            check(body);
            if (QTest::currentTestFailed())
                return;
        }
    });
}

} // namespace

class tst_malformed : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { startHandler(); }

    void generatorMakesMalformedBodies();
    void stockQuotes();
    void futureQuotes();
    void indexQuotes();
    void transactions();
    void indicatorAnswers_data();
    void indicatorAnswers();
    void riseDayAnswers();
    void kLineAnswers();
    void undecodedMessages_data();
    void undecodedMessages();
    void droppedMessages_data();
    void droppedMessages();
    void asyncAnswers();
    void periodAnswers_data();
    void periodAnswers();
    void typesOfAnyKind();
};

void tst_malformed::generatorMakesMalformedBodies()
{
    // Guards the tests below against a generator that no longer makes malformed bodies.
    Malformer malformer;
    int foreign = 0;
    int empty = 0;
    int withSymbol = 0;
    int answers = 0;
    int negative = 0;
    int repeated = 0;
    for (int i = 0; i < Bodies; ++i) {
        const QVariant body = malformer.body();
        const LxDouble::Body unpacked = LxDouble::bodyOf(body);
        foreign += body.userType() != qMetaTypeId<LxDouble::Body>();
        empty += unpacked.rows.isEmpty();
        withSymbol += unpacked.row(0).contains(u"Symbol"_s);
        answers += !unpacked.row(1).value(u"Symbol"_s).toString().isEmpty();
        negative += unpacked.claimedRowCount.value_or(0) < 0;
        repeated += hasRepeatedKey(unpacked.row(0));
    }
    QVERIFY(foreign > 500 && empty > 2000 && withSymbol > 1000 && answers > 200 && negative > 200 && repeated > 200);
}

void tst_malformed::stockQuotes()
{
    Emissions<StockQuotaData> quotes(&LxQuotaHandler::signalStockQuotaUpdate);
    Emissions<BaseQuotaData> condensed(&LxQuotaHandler::signalQuotaUpdate);
    int count = 0;
    feed(u"MDMARKETRECORD"_s, [&](const QVariant &body) {
        QCOMPARE(quotes.count(), ++count);
        const StockQuotaData quote = quotes.last();
        const bool halted = valueOf(body, 0, u"TradingPhaseCode"_s).toString() == u"8"_s;
        QCOMPARE(quote.Symbol, valueOf(body, 0, u"Symbol"_s).toString());
        QVERIFY(same(quote.PreClosePx, valueOf(body, 0, u"PreClosePx"_s).toDouble()));
        QVERIFY(same(quote.HighPx, halted ? Invalid : valueOf(body, 0, u"HighPx"_s).toDouble()));
        QCOMPARE(quote.NumTrades, halted ? -9999999 : valueOf(body, 0, u"NumTrades"_s).toLongLong());
        QCOMPARE(quote.BuyOrderQty[9], halted ? 0 : valueOf(body, 0, u"Buy10OrderQty"_s).toLongLong());
        if (!(quote.PreClosePx > 0))
            QCOMPARE(quote.ChangeRatio, Invalid);
        QCOMPARE(condensed.last().RecordKind, 1);
        QVERIFY(same(handler().GetLastStockQuotaData(quote.Symbol).PreClosePx, quote.PreClosePx));
        handler().GetLastStockQuotaDataTotal(quote.Symbol);
    });
}

void tst_malformed::futureQuotes()
{
    Emissions<FutureQuotaData> quotes(&LxQuotaHandler::signalFutureQuotaUpdate);
    int count = 0;
    feed(u"MDFUTURERECORD"_s, [&](const QVariant &body) {
        QCOMPARE(quotes.count(), ++count);
        const FutureQuotaData quote = quotes.last();
        QCOMPARE(quote.Symbol, valueOf(body, 0, u"Symbol"_s).toString());
        QVERIFY(same(quote.LowPx, valueOf(body, 0, u"LowPx"_s).toDouble()));
        QCOMPARE(quote.SellOrderQty[0], valueOf(body, 0, u"Sell1OrderQty"_s).toLongLong());
        QCOMPARE(quote.BuyOrderQty[4], Q_INT64_C(0));
    });
}

void tst_malformed::indexQuotes()
{
    Emissions<IndexQuotaData> quotes(&LxQuotaHandler::signalIndexQuotaUpdate);
    int count = 0;
    feed(u"MDINDEXRECORD"_s, [&](const QVariant &body) {
        QCOMPARE(quotes.count(), ++count);
        const IndexQuotaData quote = quotes.last();
        QCOMPARE(quote.Symbol, valueOf(body, 0, u"Symbol"_s).toString());
        QVERIFY(same(quote.LastPx, valueOf(body, 0, u"LastPx"_s).toDouble()));
        QVERIFY(same(handler().GetLastIndexQuotaData(quote.Symbol).LastPx, quote.LastPx));
    });
}

void tst_malformed::transactions()
{
    Emissions<QString> symbols(&LxQuotaHandler::signalRecordTransactionUpdate);
    int count = 0;
    feed(u"MDTRANSACTIONRECORD"_s, [&](const QVariant &body) {
        QCOMPARE(symbols.count(), ++count);
        QCOMPARE(symbols.last(), valueOf(body, 0, u"Symbol"_s).toString());
        const double lots = handler().GetLastStockQuotaDataTotal(symbols.last()).LastTradeLots;
        const qint64 quantity = valueOf(body, 0, u"TradeQty"_s).toLongLong();
        QVERIFY(lots == Invalid /* no quote */ || lots == double(quantity / 100));
    });
}

void tst_malformed::indicatorAnswers_data()
{
    QTest::addColumn<QString>("topic");
    QTest::newRow("PE") << u"MSG_QUERY_P_E_RATIO_RESPONSE"_s;
    QTest::newRow("QRR") << u"MSG_QUERY_QUANTITY_RELATIVE_RATIO_RESPONSE"_s;
}

void tst_malformed::indicatorAnswers()
{
    QFETCH(QString, topic);
    Emissions<QStringList> symbols(&LxQuotaHandler::signalStockDeepDataUpdate);
    int count = 0;
    feed(topic, [&](const QVariant &body) {
        const QString symbol = rowCountOf(body) >= 2 ? valueOf(body, 1, u"Symbol"_s).toString() : QString();
        count += !symbol.isEmpty();
        QCOMPARE(symbols.count(), count);
        if (!symbol.isEmpty())
            QCOMPARE(symbols.last(), QStringList { symbol });
    });
    QVERIFY(count > 100);
}

void tst_malformed::riseDayAnswers()
{
    Emissions<QString, int> days(&LxQuotaHandler::signalRiseDayData);
    int count = 0;
    feed(u"MSG_QUERY_UP_N_DAY_RESPONSE"_s, [&](const QVariant &body) {
        const bool hasData = rowCountOf(body) >= 2;
        count += hasData;
        QCOMPARE(days.count(), count);
        if (hasData) {
            QCOMPARE(days.last<0>(), valueOf(body, 1, u"Symbol"_s).toString());
            QCOMPARE(days.last<1>(), valueOf(body, 1, u"days"_s).toInt());
        }
    });
    QVERIFY(count > 100);
}

void tst_malformed::kLineAnswers()
{
    Emissions<QList<QVariantMap>, EMD_KLINE_PERIOD> answers(&LxQuotaHandler::signalKLineResponse);
    int count = 0;
    onWorker([&] {
        Malformer malformer;
        for (int i = 0; i < Bodies; ++i) {
            QVariantList list;
            for (int bars = malformer.pick(5); bars > 0; --bars)
                list.append(malformer.pick(4) ? QVariant(malformer.row()) : malformer.value());
            const QVariant data = malformer.pick(8) ? QVariant(list) : malformer.body();
            handler().slotProcessQuotaMsg(u"KLineResponse"_s, data);
            const QVariantList elements = data.toList();
            count += !elements.isEmpty();
            QCOMPARE(answers.count(), count);
            if (elements.isEmpty())
                continue;
            QCOMPARE(answers.last<0>().size(), elements.size());
            QCOMPARE(int(answers.last<1>()), elements.at(0).toMap().value(u"PeriodType"_s).toInt());
        }
    });
    QVERIFY(count > 1000);
}

void tst_malformed::undecodedMessages_data()
{
    QTest::addColumn<QString>("topic");
    QTest::newRow("ranking") << u"ADINDICATORSRANKINGRECORD"_s;
    QTest::newRow("analysis") << u"ADUPSDOWNSANALYSISRECORD"_s;
}

void tst_malformed::undecodedMessages()
{
    QFETCH(QString, topic);
    SignalLog log;
    int count = 0;
    feed(topic, [&](const QVariant &) { ++count; });
    QCOMPARE(log.names().size(), count);
    QCOMPARE(count, Bodies);
}

void tst_malformed::droppedMessages_data()
{
    QTest::addColumn<QString>("topic");
    for (const char *topic : { "MDORDERRECORD", "MDOPTIONRECORD", "TickResponse", "TickFutureResponse", "181028" })
        QTest::newRow(topic) << QString::fromLatin1(topic);
}

void tst_malformed::droppedMessages()
{
    QFETCH(QString, topic);
    SignalLog log;
    int count = 0;
    feed(topic, [&](const QVariant &) { ++count; });
    QCOMPARE(count, Bodies);
    QCOMPARE(log.names(), QStringList());
}

void tst_malformed::asyncAnswers()
{
    Emissions<QStringList> symbols(&LxQuotaHandler::signalStockDeepDataUpdate);
    Malformer malformer;
    int count = 0;
    for (int i = 0; i < Bodies; ++i) {
        LxDouble::Body body = LxDouble::bodyOf(malformer.body());
        for (QVariant &one : body.rows) {
            QVariantMap row = one.toMap();
            if (malformer.pick(2))
                row.insert(Orca_Fields::Security::securityID, malformer.value());
            if (malformer.pick(2))
                row.insert(Orca_Fields::UserAccount::SymbolPost, malformer.value());
            if (malformer.pick(4) == 0)
                row.insert(Orca_Fields::System::requestExeStatus, malformer.value());
            one = row;
        }
        handler().ProcAsyncCallBack(malformer.pick(100) - 50, QString(), u"181028"_s,
                                    malformer.pick(8) ? QVariant::fromValue(body) : malformer.value());
        // Foreign variants announce nothing, so whatever has come is of the body.
        if (symbols.count() == count)
            continue;
        QCOMPARE(symbols.count(), ++count);
        QCOMPARE(body.row(0).value(Orca_Fields::System::requestExeStatus, QString()).toInt(), 0);
        QStringList expected;
        for (int number = 1; number < body.claimedRowCount.value_or(body.rows.size()); ++number) {
            expected.append(body.row(number).value(Orca_Fields::Security::securityID).toString() + u'.'
                            + body.row(number).value(Orca_Fields::UserAccount::SymbolPost).toString());
        }
        expected.removeDuplicates();
        std::sort(expected.begin(), expected.end());
        QCOMPARE(symbols.last(), expected);
        for (const QString &symbol : std::as_const(expected))
            QCOMPARE(knownDeepData(symbol).Symbol, symbol);
    }
    QVERIFY(count > 1000);
}

void tst_malformed::periodAnswers_data()
{
    QTest::addColumn<int>("period");
    QTest::newRow("one-minute") << 1;
    QTest::newRow("daily") << 2;
}

void tst_malformed::periodAnswers()
{
    QFETCH(int, period);
    Emissions<QString, QMap<QDate, StockPeriod1DInfo>> answers(&LxQuotaHandler::sigOnRspQueryStockPeriod1DInfo);
    int expected = 0;
    onWorker([&] {
        Malformer malformer;
        for (int i = 0; i < Bodies; ++i) {
            QList<QVariantMap> bars;
            QString last;
            bool ended = false;
            for (int count = malformer.pick(5); count > 0; --count) {
                QVariantMap bar = malformer.row();
                if (malformer.pick(3))
                    bar.insert(u"PeriodType"_s, period);
                bars.append(bar);
                if (ended || bar.value(u"PeriodType"_s).toInt() != period) {
                    ended = true;
                    continue;
                }
                last = bar.value(u"Symbol"_s).toString();
                ended = last.isEmpty();
            }
            handler().slotProcessPeriod1DKLineDate(bars, static_cast<EMD_KLINE_PERIOD>(period));
            expected += period == 2 && !last.isEmpty();
            QCOMPARE(answers.count(), expected);
            if (period == 2 && !last.isEmpty())
                QCOMPARE(answers.last<0>(), last);
        }
    });
    QCOMPARE(expected > 100, period == 2);
}

void tst_malformed::typesOfAnyKind()
{
    SignalLog log;
    onWorker([] {
        Malformer malformer;
        for (int i = 0; i < Bodies; ++i)
            handler().slotProcessQuotaMsg(malformer.value(), malformer.body());
    });
    Malformer malformer;
    for (int i = 0; i < Bodies; ++i)
        handler().ProcAsyncCallBack(i, u"source"_s, malformer.value(), malformer.body());
    QCOMPARE(log.names(), QStringList());
}

QTEST_GUILESS_MAIN(tst_malformed)
#include "tst_malformed.moc"
