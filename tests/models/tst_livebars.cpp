#include "lxlivebars_p.h"

#include <QtTest>

namespace {

LxQuote quote(const char *time, double last, double volume, double high = 0, double low = 0)
{
    LxQuote result;
    result.kind = LxQuote::Stock;
    result.date = QStringLiteral("20211201");
    result.time = QString::fromLatin1(time);
    result.last = last;
    result.high = high > 0 ? high : last;
    result.low = low > 0 ? low : last;
    result.volume = volume;
    result.amount = volume * 10;
    return result;
}

} // namespace

class tst_livebars : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void quotesOfAMinuteMakeABar();
    void extremesBetweenQuotesAreTakenIn();
    void volumeBeforeTheFirstQuoteIsLeftOut();
    void quotesWithoutTradesMakeNoBar();
    void lateQuotesStayInTheLastBar();
    void newDayBeginsAnew();
    void minutesAreFolded();
    void foldingDoesNotCrossTheMiddayBreak();
};

void tst_livebars::quotesOfAMinuteMakeABar()
{
    LxLiveBars bars;
    bars.add(quote("092500000", 10.0, 100));
    bars.add(quote("093001000", 10.2, 300));
    bars.add(quote("093059000", 9.9, 400));
    bars.add(quote("093103000", 9.8, 450));
    QCOMPARE(bars.minutes().size(), 2);
    const LxBar first = bars.minutes().at(0);
    QCOMPARE(first.date, QStringLiteral("20211201"));
    QCOMPARE(first.minute, 9 * 60 + 31);
    QCOMPARE(first.open, 10.0);
    QCOMPARE(first.high, 10.2);
    QCOMPARE(first.low, 9.9);
    QCOMPARE(first.close, 9.9);
    QCOMPARE(first.volume, 400.0);
    QCOMPARE(first.amount, 4000.0);
    QCOMPARE(bars.minutes().at(1).minute, 9 * 60 + 32);
    QCOMPARE(bars.minutes().at(1).volume, 50.0);
}

void tst_livebars::extremesBetweenQuotesAreTakenIn()
{
    LxLiveBars bars;
    bars.add(quote("100001000", 10, 100, 10.5, 9.5));
    QCOMPARE(bars.minutes().constLast().high, 10.0); // the extremes of the day came before
    bars.add(quote("100004000", 10.1, 200, 10.8, 9.2));
    QCOMPARE(bars.minutes().constLast().high, 10.8);
    QCOMPARE(bars.minutes().constLast().low, 9.2);
    QCOMPARE(bars.minutes().constLast().close, 10.1);
}

void tst_livebars::volumeBeforeTheFirstQuoteIsLeftOut()
{
    LxLiveBars bars;
    bars.add(quote("100001000", 10, 5000));
    QCOMPARE(bars.minutes().constLast().volume, 0.0);
    bars.add(quote("100004000", 10, 5100));
    QCOMPARE(bars.minutes().constLast().volume, 100.0);
}

void tst_livebars::quotesWithoutTradesMakeNoBar()
{
    LxLiveBars bars;
    bars.add(quote("092001000", 10, 0));
    bars.add(quote("nonsense", 10, 100));
    bars.add(quote("093001000", LxNoValue, 100));
    QVERIFY(bars.minutes().isEmpty());
    LxQuote index = quote("093001000", 3000, LxNoValue);
    index.kind = LxQuote::Index;
    bars.add(index);
    QCOMPARE(bars.minutes().size(), 1);
    QVERIFY(qIsNaN(bars.minutes().constLast().volume));
}

void tst_livebars::lateQuotesStayInTheLastBar()
{
    LxLiveBars bars;
    bars.add(quote("100001000", 10, 100));
    bars.add(quote("100101000", 11, 200));
    bars.add(quote("100059000", 12, 300));
    QCOMPARE(bars.minutes().size(), 2);
    QCOMPARE(bars.minutes().constLast().close, 12.0);
}

void tst_livebars::newDayBeginsAnew()
{
    LxLiveBars bars;
    bars.add(quote("145901000", 10, 9000));
    LxQuote next = quote("093001000", 11, 100);
    next.date = QStringLiteral("20211202");
    bars.add(next);
    QCOMPARE(bars.minutes().size(), 1);
    QCOMPARE(bars.minutes().constLast().volume, 100.0);
}

void tst_livebars::minutesAreFolded()
{
    LxLiveBars bars;
    for (int minute = 0; minute < 7; ++minute)
        bars.add(quote(qPrintable(QStringLiteral("09%1030000").arg(30 + minute)), 10 + minute, 100 * (minute + 1)));
    const QVector<LxBar> folded = LxLiveBars::fold(bars.minutes(), 5);
    QCOMPARE(folded.size(), 2);
    QCOMPARE(folded.at(0).minute, 9 * 60 + 35);
    QCOMPARE(folded.at(0).open, 10.0);
    QCOMPARE(folded.at(0).high, 14.0);
    QCOMPARE(folded.at(0).low, 10.0);
    QCOMPARE(folded.at(0).close, 14.0);
    QCOMPARE(folded.at(0).volume, 500.0);
    QCOMPARE(folded.at(1).minute, 9 * 60 + 40);
    QCOMPARE(folded.at(1).open, 15.0);
    QCOMPARE(LxLiveBars::fold(bars.minutes(), 1).size(), 7);
}

void tst_livebars::foldingDoesNotCrossTheMiddayBreak()
{
    LxLiveBars bars;
    bars.add(quote("112930000", 10, 100));
    bars.add(quote("130030000", 11, 200));
    const QVector<LxBar> folded = LxLiveBars::fold(bars.minutes(), 60);
    QCOMPARE(folded.size(), 2);
    QCOMPARE(folded.at(0).minute, 11 * 60 + 30);
    QCOMPARE(folded.at(1).minute, 14 * 60);
}

QTEST_APPLESS_MAIN(tst_livebars)

#include "tst_livebars.moc"
