#include "support.h"

#include "lxquotahandlerobject_p.h"

#include <lxdefine/lxfields.h>

#include <QProcess>

namespace {

using Days = QMap<QDate, StockPeriod1DInfo>;

QDate march(int day)
{
    return QDate(2023, 3, day);
}

QVariantMap dailyBar(const QString &symbol, const QDate &date, double close = 1.0)
{
    return {
        { u"PeriodType"_s, 2 },       { u"Symbol"_s, symbol },         { u"MDDate"_s, date.toString(u"yyyyMMdd"_s) },
        { u"ClosePx"_s, close },      { u"HighPx"_s, close + 1 },      { u"LowPx"_s, close - 1 },
        { u"OpenPx"_s, close + 0.5 }, { u"TotalVolumeTrade"_s, 1e10 }, { u"TotalValueTrade"_s, 2e10 }
    };
}

QVariantMap minuteBar(const QString &symbol, const QString &dateText, double close = 1.0)
{
    QVariantMap bar = dailyBar(symbol, QDate(), close);
    bar.insert(u"PeriodType"_s, 1);
    bar.insert(u"MDDate"_s, dateText);
    return bar;
}

// As a plug-in has to: by name, on the handler's thread.
void invokeSlot(const QList<QVariantMap> &bars, int period)
{
    bool invoked = false;
    onWorker([&] {
        invoked = QMetaObject::invokeMethod(&handler(), "slotProcessPeriod1DKLineDate", Qt::DirectConnection,
                                            Q_ARG(QList<QVariantMap>, bars),
                                            Q_ARG(EMD_KLINE_PERIOD, static_cast<EMD_KLINE_PERIOD>(period)));
    });
    QVERIFY(invoked);
}

void fillDays(const QString &symbol, int firstDay, int lastDay)
{
    QList<QVariantMap> bars;
    for (int day = firstDay; day <= lastDay; ++day)
        bars.append(dailyBar(symbol, march(day), day));
    invokeSlot(bars, 2);
}

// The K-line requests sent, as "symbol start-stop period exrights".
QStringList requests()
{
    QStringList result;
    for (const LxDouble::Sent &sent : LxDouble::sent(u"KLineRequest"_s)) {
        const QVariantMap row = sent.body.row(0);
        result.append(QStringList { row.value(u"Symbol"_s).toString(),
                                    row.value(u"StartTime"_s).toString() + u'-' + row.value(u"StopTime"_s).toString(),
                                    row.value(u"PeriodType"_s).toString(), row.value(u"ExrightsType"_s).toString() }
                          .join(u' '));
    }
    return result;
}

QString dailyRequest(const QString &symbol, int from, int to)
{
    const QString midnight = u"yyyyMMdd'000000'"_s;
    return u"%1 %2-%3 2 11"_s.arg(symbol, march(from).toString(midnight), march(to).toString(midnight));
}

} // namespace

class tst_kline : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { startHandler(); }
    void init() { LxDouble::forgetSent(); }

    void requestCarriesItsFieldsInOrder();
    void requestReturnsThePackersId();
    void requestIsLogged();
    void requestWithoutPresenterStillReturnsItsId();

    void unknownSymbolIsRequestedWhole_data();
    void unknownSymbolIsRequestedWhole();
    void rangeOutsideTheCachedDaysIsRequestedWhole_data();
    void rangeOutsideTheCachedDaysIsRequestedWhole();
    void cachedDaysAreAnsweredAndTheRestRequested();
    void rangeInsideTheCacheRequestsNothing();
    void startThatIsNoCachedDayGivesAnEmptyAnswer();
    void endThatIsNoCachedDayGivesEverythingFromTheStartOn();
    void answerFromTheCacheComesOnTheCallersThreadUnderTheLock();
    void wholeRangeNotCachedIsRequestedWhole_data();
    void wholeRangeNotCachedIsRequestedWhole();
    void wholeRangeAnswerLeavesTheDailyCacheLocked();

    void dailyBarIsReadByItsKeys();
    void otherKeysOfABarAreIgnored();
    void barsOfAnAnswerMayHaveDifferentKeys();
    void missingNumbersReadAsZero();
    void dailyAnswerAnnouncesAllCachedDays();
    void firstBarOfADayStays();
    void onlyTheLastSymbolIsAnnounced();
    void otherPeriodEndsTheAnswer_data();
    void otherPeriodEndsTheAnswer();
    void rowWithoutSymbolEndsTheAnswerUnannounced();
    void firstRowOfAnotherPeriodStoresNothing();
    void unreadableDateIsStoredAsAnInvalidDay();
    void emptyAnswerAnnouncesNothing();
    void otherTypesAreIgnored_data();
    void otherTypesAreIgnored();
    void announcementComesUnderTheLock();
    void publishedAnswerDoesNotReachTheSlot();

    void minuteQueryAlwaysGoesToTheBus_data();
    void minuteQueryAlwaysGoesToTheBus();
    void minuteBarsAreLoggedAndNeverAnnounced();
    void minuteBarTakesItsTimeFromTheDateText();
    void minuteAnswerEndsAtAnotherPeriodOrNoSymbol();
};

void tst_kline::requestCarriesItsFieldsInOrder()
{
    handler().AsyncRequestKLineData(u"650000.SH"_s, QDateTime(march(1), QTime(9, 30, 5)),
                                    QDateTime(march(2), QTime(15, 0, 59)), EMD_KLINE_PERIOD_1MIN,
                                    static_cast<EMD_EXRIGHTS_TYPE>(13));
    const QVector<LxDouble::Sent> sent = LxDouble::sent();
    QCOMPARE(sent.size(), 1);
    QCOMPARE(sent.at(0).call, LxDouble::Sent::Put);
    QCOMPARE(sent.at(0).type, u"KLineRequest"_s);
    QCOMPARE(sent.at(0).body.rows.size(), 1);
    QCOMPARE(sent.at(0).body.addRowCalls, 0);
    QCOMPARE(sent.at(0).body.keys.at(0),
             (QStringList { u"Symbol"_s, u"StartTime"_s, u"StopTime"_s, u"ExrightsType"_s, u"PeriodType"_s,
                            Orca_Fields::System::msgType }));
    const QVariantMap row = sent.at(0).body.row(0);
    QCOMPARE(row.value(u"Symbol"_s), QVariant(u"650000.SH"_s));
    QCOMPARE(row.value(u"StartTime"_s), QVariant(u"20230301093005"_s));
    QCOMPARE(row.value(u"StopTime"_s), QVariant(u"20230302150059"_s));
    QCOMPARE(row.value(u"ExrightsType"_s).userType(), int(QMetaType::Int));
    QCOMPARE(row.value(u"ExrightsType"_s).toInt(), 13);
    QCOMPARE(row.value(u"PeriodType"_s).userType(), int(QMetaType::Int));
    QCOMPARE(row.value(u"PeriodType"_s).toInt(), 1);
    QCOMPARE(row.value(Orca_Fields::System::msgType), QVariant(u"KLineRequest"_s));
}

void tst_kline::requestReturnsThePackersId()
{
    QStringList ids;
    for (int i = 0; i < 2; ++i)
        ids.append(handler().AsyncRequestKLineData(u"650000.SH"_s, march(1).startOfDay(), march(2).startOfDay(),
                                                   EMD_KLINE_PERIOD_1DAY, EMD_EXRIGHTS_TYPE_DEFAULT));
    const QVector<LxDouble::Sent> sent = LxDouble::sent();
    QCOMPARE(ids, (QStringList { sent.at(0).body.clientMsgID, sent.at(1).body.clientMsgID }));
    QVERIFY(!ids.at(0).isEmpty() && ids.at(0) != ids.at(1));
}

void tst_kline::requestIsLogged()
{
    LogCapture log;
    const QString id = handler().AsyncRequestKLineData(u"650001.SH"_s, march(1).startOfDay(), march(2).startOfDay(),
                                                       EMD_KLINE_PERIOD_1DAY, EMD_EXRIGHTS_TYPE_DEFAULT);
    QCOMPARE(log.lines().size(), 1);
    const LogLine line = log.lines().at(0);
    const QString expected = u"开始查询k线数据，证券代码： \"650001.SH\" 时间范围： \"20230301000000\" 至 "
                             u"\"20230302000000\" \"%1\""_s;
    QCOMPARE(line.text, expected.arg(id));
    QCOMPARE(line.type, QtDebugMsg);
    QCOMPARE(line.file, u"lxquotahandler"_s);
    QVERIFY(line.function.contains(u"LxQuotaHandler::AsyncRequestKLineData"_s));
}

void tst_kline::requestWithoutPresenterStillReturnsItsId()
{
    LxPresenterClass *presenter = LxDouble::presenters().constFirst().object;
    LxPresenterClassMgr::instance()->setPresenterClass(nullptr);
    const QString id = handler().AsyncRequestKLineData(u"650000.SH"_s, march(1).startOfDay(), march(2).startOfDay(),
                                                       EMD_KLINE_PERIOD_1DAY, EMD_EXRIGHTS_TYPE_DEFAULT);
    LxPresenterClassMgr::instance()->setPresenterClass(presenter);
    QVERIFY(!id.isEmpty());
    QVERIFY(LxDouble::sent().isEmpty());
    LxDouble::deleteLiveMessages();
}

void tst_kline::unknownSymbolIsRequestedWhole_data()
{
    QTest::addColumn<bool>("wholeRangeOnly");
    QTest::newRow("any part") << false;
    QTest::newRow("whole range only") << true;
}

void tst_kline::unknownSymbolIsRequestedWhole()
{
    QFETCH(bool, wholeRangeOnly);
    SignalLog log;
    handler().QueryStockPeriod1DInfo(u"650002.SH"_s, march(5), march(25), wholeRangeOnly);
    QCOMPARE(requests(), QStringList { dailyRequest(u"650002.SH"_s, 5, 25) });
    QCOMPARE(log.names(), QStringList());
}

void tst_kline::rangeOutsideTheCachedDaysIsRequestedWhole_data()
{
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("to");
    QTest::addColumn<bool>("wholeRangeOnly");
    QTest::newRow("before") << 1 << 9 << false;
    QTest::newRow("after") << 21 << 25 << false;
    QTest::newRow("before, whole range only") << 1 << 9 << true;
    QTest::newRow("after, whole range only") << 21 << 25 << true;
    QTest::newRow("backwards, before") << 9 << 1 << false;
}

void tst_kline::rangeOutsideTheCachedDaysIsRequestedWhole()
{
    QFETCH(int, from);
    QFETCH(int, to);
    QFETCH(bool, wholeRangeOnly);
    fillDays(u"650003.SH"_s, 10, 20);
    SignalLog log;
    handler().QueryStockPeriod1DInfo(u"650003.SH"_s, march(from), march(to), wholeRangeOnly);
    QCOMPARE(requests(), QStringList { dailyRequest(u"650003.SH"_s, from, to) });
    QCOMPARE(log.names(), QStringList());
}

void tst_kline::cachedDaysAreAnsweredAndTheRestRequested()
{
    fillDays(u"650004.SH"_s, 10, 20);
    Emissions<QString, Days> answers(&LxQuotaHandler::sigOnRspQueryStockPeriod1DInfo);
    int requestsBeforeAnswer = -1;
    const auto connection = QObject::connect(&handler(), &LxQuotaHandler::sigOnRspQueryStockPeriod1DInfo,
                                             [&] { requestsBeforeAnswer = LxDouble::sent().size(); });
    handler().QueryStockPeriod1DInfo(u"650004.SH"_s, march(5), march(25), false);
    QObject::disconnect(connection);
    QCOMPARE(requestsBeforeAnswer, 0);
    QCOMPARE(answers.count(), 1);
    QCOMPARE(answers.last<0>(), u"650004.SH"_s);
    QCOMPARE(answers.last<1>().size(), 11);
    QCOMPARE(answers.last<1>().firstKey(), march(10));
    QCOMPARE(answers.last<1>().lastKey(), march(20));
    QCOMPARE(answers.last<1>().value(march(15)).closePx, 15.0);
    QCOMPARE(requests(), (QStringList { dailyRequest(u"650004.SH"_s, 5, 9), dailyRequest(u"650004.SH"_s, 21, 25) }));
}

void tst_kline::rangeInsideTheCacheRequestsNothing()
{
    fillDays(u"650005.SH"_s, 10, 20);
    Emissions<QString, Days> answers(&LxQuotaHandler::sigOnRspQueryStockPeriod1DInfo);
    handler().QueryStockPeriod1DInfo(u"650005.SH"_s, march(12), march(14), false);
    QCOMPARE(answers.last<1>().keys(), (QList<QDate> { march(12), march(13), march(14) }));
    QCOMPARE(requests(), QStringList());
}

void tst_kline::startThatIsNoCachedDayGivesAnEmptyAnswer()
{
    invokeSlot({ dailyBar(u"650006.SH"_s, march(10)), dailyBar(u"650006.SH"_s, march(13)),
                 dailyBar(u"650006.SH"_s, march(14)) },
               2);
    Emissions<QString, Days> answers(&LxQuotaHandler::sigOnRspQueryStockPeriod1DInfo);
    handler().QueryStockPeriod1DInfo(u"650006.SH"_s, march(11), march(16), false);
    QCOMPARE(answers.count(), 1);
    QVERIFY(answers.last<1>().isEmpty());
    QCOMPARE(requests(), QStringList { dailyRequest(u"650006.SH"_s, 15, 16) });
}

void tst_kline::endThatIsNoCachedDayGivesEverythingFromTheStartOn()
{
    invokeSlot({ dailyBar(u"650007.SH"_s, march(10)), dailyBar(u"650007.SH"_s, march(13)),
                 dailyBar(u"650007.SH"_s, march(14)), dailyBar(u"650007.SH"_s, march(15)) },
               2);
    Emissions<QString, Days> answers(&LxQuotaHandler::sigOnRspQueryStockPeriod1DInfo);
    handler().QueryStockPeriod1DInfo(u"650007.SH"_s, march(10), march(12), false);
    QCOMPARE(answers.last<1>().keys(), (QList<QDate> { march(10), march(13), march(14), march(15) }));
    QCOMPARE(requests(), QStringList());
}

void tst_kline::answerFromTheCacheComesOnTheCallersThreadUnderTheLock()
{
    fillDays(u"650008.SH"_s, 10, 20);
    std::optional<BackgroundCall> other;
    bool otherWaited = false;
    QThread *thread = nullptr;
    auto *const connection = new QMetaObject::Connection;
    *connection = QObject::connect(&handler(), &LxQuotaHandler::sigOnRspQueryStockPeriod1DInfo, [&] {
        QObject::disconnect(*connection);
        thread = QThread::currentThread();
        other.emplace([] { handler().QueryStockPeriod1DInfo(u"none"_s, march(1), march(2), false); });
        otherWaited = other->isBlocked();
    });
    handler().QueryStockPeriod1DInfo(u"650008.SH"_s, march(10), march(20), false);
    delete connection;
    QCOMPARE(thread, QThread::currentThread());
    QVERIFY(otherWaited);
}

void tst_kline::wholeRangeNotCachedIsRequestedWhole_data()
{
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("to");
    QTest::newRow("starts before") << 9 << 15;
    QTest::newRow("ends after") << 15 << 21;
    QTest::newRow("both") << 5 << 25;
}

void tst_kline::wholeRangeNotCachedIsRequestedWhole()
{
    QFETCH(int, from);
    QFETCH(int, to);
    fillDays(u"650009.SH"_s, 10, 20);
    SignalLog log;
    handler().QueryStockPeriod1DInfo(u"650009.SH"_s, march(from), march(to), true);
    QCOMPARE(requests(), QStringList { dailyRequest(u"650009.SH"_s, from, to) });
    QCOMPARE(log.names(), QStringList());
    // The lock is free again.
    QVERIFY(returnsOnAnotherThread([] { handler().QueryStockPeriod1DInfo(u"none"_s, march(1), march(2), false); }));
}

void tst_kline::wholeRangeAnswerLeavesTheDailyCacheLocked()
{
    // In a separate process, since no call can end it any more.
    QProcess host;
    host.start(QStringLiteral(LX_LIBRARY_HOST), { u"daily-cache-stays-locked"_s });
    QVERIFY(host.waitForFinished(60000));
    QCOMPARE(QString::fromUtf8(host.readAllStandardOutput()),
             u"answer of 3 days\nquery blocked\nanswer blocked\none-minute query returned\n"_s);
    QCOMPARE(host.exitCode(), 0);
}

void tst_kline::dailyBarIsReadByItsKeys()
{
    Emissions<QString, Days> answers(&LxQuotaHandler::sigOnRspQueryStockPeriod1DInfo);
    invokeSlot({ dailyBar(u"650010.SH"_s, march(10), 7.0) }, 2);
    QCOMPARE(answers.count(), 1);
    QCOMPARE(answers.last<0>(), u"650010.SH"_s);
    const StockPeriod1DInfo bar = answers.last<1>().value(march(10));
    QCOMPARE(bar.closePx, 7.0);
    QCOMPARE(bar.highPx, 8.0);
    QCOMPARE(bar.lowPx, 6.0);
    QCOMPARE(bar.openPx, 7.5);
    QCOMPARE(bar.totalVolumeTrade, 1e10);
    QCOMPARE(bar.totalValueTrade, 2e10);
    QCOMPARE(bar.symbol, u"650010.SH"_s);
}

void tst_kline::otherKeysOfABarAreIgnored()
{
    Emissions<QString, Days> answers(&LxQuotaHandler::sigOnRspQueryStockPeriod1DInfo);
    QVariantMap bar = dailyBar(u"650030.SH"_s, march(10), 7.0);
    for (const QString &key : bar.keys()) {
        for (const QString &other : { key.toUpper(), key.toLower(), key.chopped(1), key + u"2"_s })
            bar.insert(other, 99);
    }
    for (const QString &other : { u""_s, u"~"_s, u"NumTrades"_s, u"收盘价"_s })
        bar.insert(other, 99);
    invokeSlot({ bar }, 2);
    QCOMPARE(answers.last<0>(), u"650030.SH"_s);
    const StockPeriod1DInfo info = answers.last<1>().value(march(10));
    QCOMPARE(info.closePx, 7.0);
    QCOMPARE(info.highPx, 8.0);
    QCOMPARE(info.lowPx, 6.0);
    QCOMPARE(info.openPx, 7.5);
    QCOMPARE(info.totalVolumeTrade, 1e10);
    QCOMPARE(info.totalValueTrade, 2e10);
}

void tst_kline::barsOfAnAnswerMayHaveDifferentKeys()
{
    Emissions<QString, Days> answers(&LxQuotaHandler::sigOnRspQueryStockPeriod1DInfo);
    const QString symbol = u"650031.SH"_s;
    QList<QVariantMap> bars;
    for (int day = 10; day <= 15; ++day)
        bars.append(dailyBar(symbol, march(day), day));
    bars[1].insert(u"A"_s, 99); // shifts the indexes of all other keys by one
    bars[2].remove(u"ClosePx"_s);
    bars[3].insert(u"HighPx2"_s, 99);
    QVariantMap ownTexts;
    for (auto cell = bars[4].constBegin(); cell != bars[4].constEnd(); ++cell)
        ownTexts.insert(QString(cell.key().constData(), cell.key().size()), cell.value());
    bars[4] = ownTexts;
    invokeSlot(bars, 2);
    const Days days = answers.last<1>();
    QCOMPARE(days.size(), bars.size());
    for (int day = 10; day <= 15; ++day) {
        const StockPeriod1DInfo info = days.value(march(day));
        QCOMPARE(info.closePx, day == 12 ? 0.0 : day);
        QCOMPARE(info.highPx, day + 1.0);
        QCOMPARE(info.lowPx, day - 1.0);
        QCOMPARE(info.openPx, day + 0.5);
        QCOMPARE(info.totalVolumeTrade, 1e10);
        QCOMPARE(info.totalValueTrade, 2e10);
        QCOMPARE(info.symbol, symbol);
    }
}

void tst_kline::missingNumbersReadAsZero()
{
    Emissions<QString, Days> answers(&LxQuotaHandler::sigOnRspQueryStockPeriod1DInfo);
    invokeSlot({ { { u"PeriodType"_s, u"2"_s },
                   { u"Symbol"_s, u"650011.SH"_s },
                   { u"MDDate"_s, u"20230310"_s },
                   { u"ClosePx"_s, u"none"_s } } },
               2);
    const StockPeriod1DInfo bar = answers.last<1>().value(march(10), { 9, 9, 9, 9, 9, 9, QString() });
    for (const double value :
         { bar.closePx, bar.highPx, bar.lowPx, bar.openPx, bar.totalVolumeTrade, bar.totalValueTrade })
        QCOMPARE(value, 0.0);
}

void tst_kline::dailyAnswerAnnouncesAllCachedDays()
{
    fillDays(u"650012.SH"_s, 10, 12);
    Emissions<QString, Days> answers(&LxQuotaHandler::sigOnRspQueryStockPeriod1DInfo);
    SignalLog log;
    fillDays(u"650012.SH"_s, 20, 20);
    QCOMPARE(answers.last<1>().keys(), (QList<QDate> { march(10), march(11), march(12), march(20) }));
    QCOMPARE(log.threads(), QStringList { u"LxQuotaHandler_Thread"_s });
}

void tst_kline::firstBarOfADayStays()
{
    invokeSlot({ dailyBar(u"650013.SH"_s, march(10), 1.0) }, 2);
    Emissions<QString, Days> answers(&LxQuotaHandler::sigOnRspQueryStockPeriod1DInfo);
    invokeSlot({ dailyBar(u"650013.SH"_s, march(10), 2.0), dailyBar(u"650013.SH"_s, march(11), 3.0) }, 2);
    QCOMPARE(answers.last<1>().value(march(10)).closePx, 1.0);
    QCOMPARE(answers.last<1>().value(march(11)).closePx, 3.0);
}

void tst_kline::onlyTheLastSymbolIsAnnounced()
{
    Emissions<QString, Days> answers(&LxQuotaHandler::sigOnRspQueryStockPeriod1DInfo);
    invokeSlot({ dailyBar(u"650014.SH"_s, march(10)), dailyBar(u"650015.SH"_s, march(10)) }, 2);
    QCOMPARE(answers.count(), 1);
    QCOMPARE(answers.last<0>(), u"650015.SH"_s);
    // The other one is stored nevertheless.
    handler().QueryStockPeriod1DInfo(u"650014.SH"_s, march(10), march(10), false);
    QCOMPARE(answers.count(), 2);
    QCOMPARE(answers.last<1>().size(), 1);
}

void tst_kline::otherPeriodEndsTheAnswer_data()
{
    QTest::addColumn<QVariant>("period");
    QTest::newRow("one-minute") << QVariant(1);
    QTest::newRow("absent") << QVariant();
    QTest::newRow("not a number") << QVariant(u"daily"_s);
}

void tst_kline::otherPeriodEndsTheAnswer()
{
    QFETCH(QVariant, period);
    const QString symbol = u"650016.%1"_s.arg(QString::fromLatin1(QTest::currentDataTag()));
    QVariantMap other = dailyBar(symbol, march(11));
    other.insert(u"PeriodType"_s, period);
    Emissions<QString, Days> answers(&LxQuotaHandler::sigOnRspQueryStockPeriod1DInfo);
    invokeSlot({ dailyBar(symbol, march(10)), other, dailyBar(symbol, march(12)) }, 2);
    QCOMPARE(answers.count(), 1);
    QCOMPARE(answers.last<1>().keys(), QList<QDate> { march(10) });
}

void tst_kline::rowWithoutSymbolEndsTheAnswerUnannounced()
{
    Emissions<QString, Days> answers(&LxQuotaHandler::sigOnRspQueryStockPeriod1DInfo);
    invokeSlot(
        { dailyBar(u"650017.SH"_s, march(10)), dailyBar(QString(), march(11)), dailyBar(u"650017.SH"_s, march(12)) },
        2);
    QCOMPARE(answers.count(), 0); // the symbol to announce went with that row
    handler().QueryStockPeriod1DInfo(u"650017.SH"_s, march(10), march(10), false);
    QCOMPARE(answers.last<1>().keys(), QList<QDate> { march(10) });
}

void tst_kline::firstRowOfAnotherPeriodStoresNothing()
{
    SignalLog log;
    invokeSlot({ minuteBar(u"650018.SH"_s, u"20230310"_s), dailyBar(u"650018.SH"_s, march(11)) }, 2);
    QCOMPARE(log.names(), QStringList());
    handler().QueryStockPeriod1DInfo(u"650018.SH"_s, march(10), march(11), false);
    QCOMPARE(log.names(), QStringList());
    QCOMPARE(requests(), QStringList { dailyRequest(u"650018.SH"_s, 10, 11) });
}

void tst_kline::unreadableDateIsStoredAsAnInvalidDay()
{
    Emissions<QString, Days> answers(&LxQuotaHandler::sigOnRspQueryStockPeriod1DInfo);
    QVariantMap bar = dailyBar(u"650019.SH"_s, march(10), 5.0);
    bar.insert(u"MDDate"_s, u"2023-03-10"_s);
    invokeSlot({ bar, dailyBar(u"650019.SH"_s, march(11)) }, 2);
    QCOMPARE(answers.last<1>().keys(), (QList<QDate> { QDate(), march(11) }));
    QCOMPARE(answers.last<1>().value(QDate()).closePx, 5.0);
}

void tst_kline::emptyAnswerAnnouncesNothing()
{
    SignalLog log;
    invokeSlot({}, 2);
    invokeSlot({}, 1);
    QCOMPARE(log.names(), QStringList());
}

void tst_kline::otherTypesAreIgnored_data()
{
    QTest::addColumn<int>("type");
    QTest::newRow("zero") << 0;
    QTest::newRow("three") << 3;
    QTest::newRow("negative") << -1;
}

void tst_kline::otherTypesAreIgnored()
{
    QFETCH(int, type);
    QVariantMap bar = dailyBar(u"650020.SH"_s, march(10));
    bar.insert(u"PeriodType"_s, type);
    SignalLog log;
    LogCapture lines;
    invokeSlot({ bar }, type);
    handler().QueryStockPeriod1DInfo(u"650020.SH"_s, march(10), march(10), false);
    QCOMPARE(log.names(), QStringList());
    QCOMPARE(requests().size(), 1);
    QVERIFY(lines.lines(u"slot"_s).isEmpty());
}

void tst_kline::announcementComesUnderTheLock()
{
    std::optional<BackgroundCall> other;
    bool otherWaited = false;
    const auto connection = QObject::connect(&handler(), &LxQuotaHandler::sigOnRspQueryStockPeriod1DInfo, [&] {
        other.emplace([] { handler().QueryStockPeriod1DInfo(u"none"_s, march(1), march(2), false); });
        otherWaited = other->isBlocked();
    });
    invokeSlot({ dailyBar(u"650021.SH"_s, march(10)) }, 2);
    QObject::disconnect(connection);
    QVERIFY(otherWaited);
}

void tst_kline::publishedAnswerDoesNotReachTheSlot()
{
    SignalLog log;
    publish(u"KLineResponse"_s, QVariant(QVariantList { dailyBar(u"650022.SH"_s, march(10)) }));
    QCOMPARE(log.names(), QStringList { u"signalKLineResponse"_s });
    handler().QueryStockPeriod1DInfo(u"650022.SH"_s, march(10), march(10), false);
    QCOMPARE(log.names().size(), 1);
    QCOMPARE(requests().size(), 1);
}

void tst_kline::minuteQueryAlwaysGoesToTheBus_data()
{
    unknownSymbolIsRequestedWhole_data();
}

void tst_kline::minuteQueryAlwaysGoesToTheBus()
{
    QFETCH(bool, wholeRangeOnly);
    invokeSlot({ minuteBar(u"650023.SH"_s, u"20230310"_s) }, 1);
    SignalLog log;
    handler().QueryStockPeriod1MInfo(u"650023.SH"_s, march(10), march(10), wholeRangeOnly);
    handler().QueryStockPeriod1MInfo(u"650023.SH"_s, march(10), march(12), wholeRangeOnly);
    QCOMPARE(requests(),
             (QStringList { u"650023.SH 20230310000000-20230310000000 1 11"_s,
                            u"650023.SH 20230310000000-20230312000000 1 11"_s }));
    QCOMPARE(log.names(), QStringList());
}

void tst_kline::minuteBarsAreLoggedAndNeverAnnounced()
{
    SignalLog log;
    LogCapture lines;
    invokeSlot({ minuteBar(u"650024.SH"_s, u"20230310"_s, 7.0), minuteBar(u"650024.SH"_s, u"20230313"_s, 8.0) }, 1);
    QCOMPARE(log.names(), QStringList());
    const QVector<LogLine> logged = lines.lines(u"slotProcessPeriod1MKLineDate"_s);
    QCOMPARE(logged.size(), 2);
    QCOMPARE(logged.at(0).text, u"slotProcessPeriod1MKLineDate \"650024.SH\" 7 8 6 7.5 1e+10 2e+10"_s);
    QCOMPARE(logged.at(0).type, QtDebugMsg);
    QCOMPARE(logged.at(0).file, u"lxquotahandler"_s);
}

void tst_kline::minuteBarTakesItsTimeFromTheDateText()
{
    const auto logged = [](const QString &dateText) {
        LogCapture lines;
        invokeSlot({ minuteBar(u"650025.SH"_s, dateText) }, 1);
        return lines.lines(u"slotProcessPeriod1MKLineDate"_s).size();
    };
    // A date string contains no time: all minutes of a day have the same entry, and only the first is stored.
    QCOMPARE(logged(u"20230310"_s), 1);
    QCOMPARE(logged(u"20230310"_s), 0);
    QCOMPARE(logged(u"20230311"_s), 1);
    // A time string contains one, but no valid date.
    QCOMPARE(logged(u"09:31:00"_s), 1);
    QCOMPARE(logged(u"09:32:00"_s), 1);
    QCOMPARE(logged(u"09:31:00"_s), 0);
}

void tst_kline::minuteAnswerEndsAtAnotherPeriodOrNoSymbol()
{
    LogCapture lines;
    invokeSlot({ minuteBar(u"650026.SH"_s, u"20230310"_s), dailyBar(u"650026.SH"_s, march(11)),
                 minuteBar(u"650026.SH"_s, u"20230313"_s) },
               1);
    invokeSlot({ minuteBar(u"650027.SH"_s, u"20230310"_s), minuteBar(QString(), u"20230311"_s),
                 minuteBar(u"650027.SH"_s, u"20230313"_s) },
               1);
    QCOMPARE(lines.lines(u"slotProcessPeriod1MKLineDate \"650026.SH\""_s).size(), 1);
    QCOMPARE(lines.lines(u"slotProcessPeriod1MKLineDate"_s).size(), 2);
}

QTEST_GUILESS_MAIN(tst_kline)
#include "tst_kline.moc"
