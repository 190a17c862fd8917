#include <lxbus/busstatistics.h>

#include <QtTest>

class tst_BusStatistics : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void countsByReasonAndType();
    void logsEveryPowerOfTen();
    void everyReasonHasAText();
};

void tst_BusStatistics::countsByReasonAndType()
{
    const QString quote = QStringLiteral("MDMARKETRECORD");
    LxBusStatistics statistics;
    statistics.drop(LxBusDrop::QueueFull, quote, 3);
    statistics.drop(LxBusDrop::QueueFull, QStringLiteral("MDORDERRECORD"));
    statistics.drop(LxBusDrop::Malformed, quote);
    statistics.drop(LxBusDrop::NoService, quote, 0);
    QCOMPARE(statistics.dropped(LxBusDrop::QueueFull), quint64(4));
    QCOMPARE(statistics.dropped(LxBusDrop::Malformed), quint64(1));
    QCOMPARE(statistics.dropped(LxBusDrop::NoService), quint64(0));
    QCOMPARE(statistics.dropped(quote), quint64(4));
    QCOMPARE(statistics.dropped(QStringLiteral("never dropped")), quint64(0));
    QCOMPARE(statistics.totalDropped(), quint64(5));
}

static QStringList *logged = nullptr;

static void keepBusWarnings(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    if (type == QtWarningMsg && qstrcmp(context.category, "lx.bus") == 0)
        logged->append(text);
}

void tst_BusStatistics::logsEveryPowerOfTen()
{
    QStringList lines;
    logged = &lines;
    const auto previous = qInstallMessageHandler(keepBusWarnings);
    LxBusStatistics statistics;
    for (int i = 0; i < 250; ++i)
        statistics.drop(LxBusDrop::QueueFull, QStringLiteral("MDMARKETRECORD"));
    statistics.drop(LxBusDrop::Malformed, QStringLiteral("SubscribeRequest"), 30);
    statistics.drop(LxBusDrop::Malformed, QStringLiteral("SubscribeRequest"), 30);
    qInstallMessageHandler(previous);

    QCOMPARE(lines.size(), 4);
    QVERIFY2(lines.at(0).contains(QStringLiteral("MDMARKETRECORD")), qPrintable(lines.at(0)));
    QVERIFY2(lines.at(0).contains(LxBusStatistics::text(LxBusDrop::QueueFull)), qPrintable(lines.at(0)));
    QVERIFY2(lines.at(1).contains(QStringLiteral(" 10 ")), qPrintable(lines.at(1)));
    QVERIFY2(lines.at(2).contains(QStringLiteral(" 100 ")), qPrintable(lines.at(2)));
    QVERIFY2(lines.at(3).contains(QStringLiteral(" 30 ")), qPrintable(lines.at(3)));
}

void tst_BusStatistics::everyReasonHasAText()
{
    QSet<QString> texts;
    for (const LxBusDrop reason : { LxBusDrop::NoService, LxBusDrop::QueueFull, LxBusDrop::ReceiverGone,
                                    LxBusDrop::LateAnswer, LxBusDrop::Malformed }) {
        QVERIFY(!LxBusStatistics::text(reason).isEmpty());
        texts.insert(LxBusStatistics::text(reason));
    }
    QCOMPARE(texts.size(), 5);
}

QTEST_GUILESS_MAIN(tst_BusStatistics)
#include "tst_busstatistics.moc"
