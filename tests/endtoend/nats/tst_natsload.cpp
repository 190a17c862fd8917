#include "busprocess.h"

#include <natsbroker.h>

#include <QtTest>

namespace {

const QString ok = QStringLiteral("ok");

} // namespace

/// Many clients in several processes, at full speed.
class tst_NatsLoad : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyClientReceivesItsSymbols();
};

void tst_NatsLoad::everyClientReceivesItsSymbols()
{
    constexpr int Processes = 5;
    constexpr int ClientsOfEach = 4;
    constexpr int Symbols = 40;
    constexpr int SymbolsOfEach = 12; // from one client to the next a few are others
    constexpr int Records = 1000;     // of each symbol

    NatsBroker broker;
    QVERIFY2(broker.start(), broker.log().constData());
    const auto symbolOf = [](int number) {
        return QStringLiteral("%1.%2").arg(number % Symbols).arg(QLatin1String(number % 2 ? "SH" : "SZ"));
    };
    const auto symbolsOf = [&](int client) {
        QStringList symbols;
        for (int i = 0; i < SymbolsOfEach; ++i)
            symbols.append(symbolOf(client * 3 + i));
        return symbols;
    };

    std::unique_ptr<BusProcess> processes[Processes];
    for (int i = 0; i < Processes * ClientsOfEach; ++i) {
        std::unique_ptr<BusProcess> &process = processes[i / ClientsOfEach];
        if (!process)
            process = std::make_unique<BusProcess>(broker.url());
        QCOMPARE(process->call(QStringLiteral("client client%1 MDMARKETRECORD 1 %2")
                                   .arg(i).arg(symbolsOf(i).join(QLatin1Char(' ')))), ok);
    }
    // Two publishers, each of its own half of the symbols.
    std::unique_ptr<BusProcess> publishers[2];
    for (auto &publisher : publishers)
        publisher = std::make_unique<BusProcess>(broker.url());
    for (int half = 0; half < 2; ++half) {
        QStringList symbols;
        for (int i = half; i < Symbols; i += 2)
            symbols.append(symbolOf(i));
        publishers[half]->send(QStringLiteral("publish MDMARKETRECORD 1 %1 %2")
                                   .arg(Records).arg(symbols.join(QLatin1Char(' '))));
    }
    for (auto &publisher : publishers)
        QCOMPARE(publisher->answer(), QStringLiteral("ok %1").arg(Symbols / 2 * Records));

    for (int i = 0; i < Processes * ClientsOfEach; ++i) {
        BusProcess &process = *processes[i / ClientsOfEach];
        const QString name = QStringLiteral("client%1").arg(i);
        QStringList symbols = symbolsOf(i);
        QCOMPARE(process.call(QStringLiteral("await %1 %2 %3")
                                  .arg(name).arg(Records).arg(symbols.join(QLatin1Char(' ')))), ok);
        QCOMPARE(process.call(QStringLiteral("flush")), ok);
        const QMap<QString, BusProcess::Heard> heard = process.heard(name);
        symbols.sort();
        QCOMPARE(QStringList(heard.keys()), symbols);
        for (const BusProcess::Heard &one : heard) {
            QCOMPARE(one.first, 1);
            QCOMPARE(one.last, Records);
            QCOMPARE(one.count, Records);
            QVERIFY(one.inOrder);
        }
    }
    for (auto &process : processes) {
        QCOMPARE(process->dropped(), (QMap<QString, int>()));
        QCOMPARE(process->quit(), 0);
    }
    for (auto &publisher : publishers) {
        QCOMPARE(publisher->dropped(), (QMap<QString, int>()));
        QCOMPARE(publisher->quit(), 0);
    }
}

QTEST_GUILESS_MAIN(tst_NatsLoad)
#include "tst_natsload.moc"
