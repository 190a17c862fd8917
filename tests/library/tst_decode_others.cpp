#include "support.h"

namespace {

// Records whose numbers have no defaults, with a mark in each.
PEData markedPE()
{
    PEData pe;
    pe.eps = pe.ttmEps = pe.ClosePx = pe.staticPE = pe.dynamicPE = pe.ttmPE = 4711.0;
    return pe;
}

QRRData markedQRR()
{
    QRRData qrr;
    qrr.last5DayVolumePerMinute = 4711.0;
    return qrr;
}

QVariantMap peRow(const QString &symbol)
{
    return { { u"Symbol"_s, symbol },
             { u"MDDate"_s, u"20230201"_s },
             { u"tradeDay"_s, u"20230131"_s },
             { u"ClosePx"_s, 12.5 },
             { u"eps"_s, 0.5 },
             { u"ttmEps"_s, 0.625 },
             { u"staticPE"_s, 25.0 },
             { u"dynamicPE"_s, 22.0 },
             { u"ttmPE"_s, 20.0 },
             { u"Reserved1"_s, u"x"_s },
             { u"Reserved2"_s, u"y"_s } };
}

QVariantMap qrrRow(const QString &symbol)
{
    return { { u"Symbol"_s, symbol },
             { u"MDDate"_s, u"20230201"_s },
             { u"last5DayVolumePerMinute"_s, 321.5 },
             { u"Reserved1"_s, u"x"_s } };
}

PEData decodedPE(const QVector<QVariantMap> &rows)
{
    return decoded(&Probe::AssemblePEData, LxDouble::packRows(rows), markedPE());
}

QRRData decodedQRR(const QVector<QVariantMap> &rows)
{
    return decoded(&Probe::AssembleQRRData, LxDouble::packRows(rows), markedQRR());
}

} // namespace

class tst_decode_others : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { startHandler(); }

    void everyKeyFillsItsFieldOfATransaction();
    void serialNumberOfATransactionIsItsBuyNumber();
    void absentKeysOfATransactionReadAsNothingAndZero();
    void transactionNumbersBeyond32BitsAreKept();
    void onlyTheFirstRowOfATransactionIsRead();
    void everyKeyFillsItsFieldOfAPERecord();
    void peAnswerOfOneRowLeavesTheRecordAsItWas();
    void peAnswerOfNoRowsLeavesTheRecordAsItWas();
    void peAnswerOfThreeRowsGivesTheSecond();
    void absentKeysOfAPERecordReadAsNothingAndZero();
    void everyKeyFillsItsFieldOfAQRRRecord();
    void qrrAnswerOfOneRowLeavesTheRecordAsItWas();
    void qrrAnswerOfThreeRowsGivesTheSecond();
    void qrrRowWithoutVolumeGivesZero();
};

void tst_decode_others::everyKeyFillsItsFieldOfATransaction()
{
    const auto record = decoded<StockTransactionRecordData>(&Probe::AssembleStockTransactionRecordData,
                                                            LxDouble::packRows({ { { u"MDDate"_s, u"20230201"_s },
                                                                                   { u"MDTime"_s, u"093000010"_s },
                                                                                   { u"Symbol"_s, u"600000.SH"_s },
                                                                                   { u"TradingPhaseCode"_s, u"T111"_s },
                                                                                   { u"TradeBuyNo"_s, 123 },
                                                                                   { u"TradeSellNo"_s, 456 },
                                                                                   { u"TradeSerialNo"_s, 789 },
                                                                                   { u"TradeType"_s, 2 },
                                                                                   { u"TradePrice"_s, 12.5 },
                                                                                   { u"TradeQty"_s, 300 },
                                                                                   { u"TradeMoney"_s, 3750.0 },
                                                                                   { u"TradeBSFlag"_s, 1 } } }));
    QCOMPARE(record.MDDate, u"20230201"_s);
    QCOMPARE(record.MDTime, u"093000010"_s);
    QCOMPARE(record.Symbol, u"600000.SH"_s);
    QCOMPARE(record.TradingPhaseCode, u"T111"_s);
    QCOMPARE(record.TradeBuyNo, Q_INT64_C(123));
    QCOMPARE(record.TradeSellNo, Q_INT64_C(456));
    QCOMPARE(record.TradeType, 2);
    QCOMPARE(record.TradePrice, 12.5);
    QCOMPARE(record.TradeQty, Q_INT64_C(300));
    QCOMPARE(record.TradeMoney, 3750.0);
    QCOMPARE(record.TradeBSFlag, 1);
}

void tst_decode_others::serialNumberOfATransactionIsItsBuyNumber()
{
    const auto record = decoded<StockTransactionRecordData>(
        &Probe::AssembleStockTransactionRecordData,
        LxDouble::packRows({ { { u"TradeSerialNo"_s, 789 }, { u"TradeBuyNo"_s, 123 }, { u"TradeSellNo"_s, 456 } } }));
    QCOMPARE(record.TradeSerialNo, Q_INT64_C(123));
    QCOMPARE(record.TradeBuyNo, Q_INT64_C(123));
    QCOMPARE(record.TradeSellNo, Q_INT64_C(456));
}

void tst_decode_others::absentKeysOfATransactionReadAsNothingAndZero()
{
    StockTransactionRecordData marked;
    marked.MDDate = marked.MDTime = marked.Symbol = marked.TradingPhaseCode = u"mark"_s;
    marked.TradeSerialNo = marked.TradeBuyNo = marked.TradeSellNo = marked.TradeQty = 4711;
    marked.TradeType = marked.TradeBSFlag = 4711;
    marked.TradePrice = marked.TradeMoney = 4711.0;
    const auto record = decoded(&Probe::AssembleStockTransactionRecordData, LxDouble::packRows({}), marked);
    QVERIFY((record.MDDate + record.MDTime + record.Symbol + record.TradingPhaseCode).isEmpty());
    for (const qint64 value : { record.TradeSerialNo, record.TradeBuyNo, record.TradeSellNo, record.TradeQty })
        QCOMPARE(value, Q_INT64_C(0));
    QCOMPARE(record.TradeType, 0);
    QCOMPARE(record.TradeBSFlag, 0);
    QCOMPARE(record.TradePrice, 0.0);
    QCOMPARE(record.TradeMoney, 0.0);
}

void tst_decode_others::transactionNumbersBeyond32BitsAreKept()
{
    const auto record =
        decoded<StockTransactionRecordData>(&Probe::AssembleStockTransactionRecordData,
                                            LxDouble::packRows({ { { u"TradeBuyNo"_s, u"9007199254740993"_s },
                                                                   { u"TradeQty"_s, Q_INT64_C(-9007199254740993) },
                                                                   { u"TradeType"_s, u"not a number"_s } } }));
    QCOMPARE(record.TradeBuyNo, Q_INT64_C(9007199254740993));
    QCOMPARE(record.TradeQty, Q_INT64_C(-9007199254740993));
    QCOMPARE(record.TradeType, 0);
}

void tst_decode_others::onlyTheFirstRowOfATransactionIsRead()
{
    const auto record = decoded<StockTransactionRecordData>(
        &Probe::AssembleStockTransactionRecordData,
        LxDouble::packRows({ { { u"Symbol"_s, u"A.SH"_s } }, { { u"Symbol"_s, u"B.SH"_s }, { u"TradeQty"_s, 5 } } }));
    QCOMPARE(record.Symbol, u"A.SH"_s);
    QCOMPARE(record.TradeQty, Q_INT64_C(0));
}

void tst_decode_others::everyKeyFillsItsFieldOfAPERecord()
{
    const PEData pe = decodedPE({ {}, peRow(u"600000.SH"_s) });
    QCOMPARE(pe.Symbol, u"600000.SH"_s);
    QCOMPARE(pe.MDDate, u"20230201"_s);
    QCOMPARE(pe.tradeDay, u"20230131"_s);
    QCOMPARE(pe.ClosePx, 12.5);
    QCOMPARE(pe.eps, 0.5);
    QCOMPARE(pe.ttmEps, 0.625);
    QCOMPARE(pe.staticPE, 25.0);
    QCOMPARE(pe.dynamicPE, 22.0);
    QCOMPARE(pe.ttmPE, 20.0);
    QVERIFY(pe.Reserved1.isEmpty() && pe.Reserved2.isEmpty());
}

void tst_decode_others::peAnswerOfOneRowLeavesTheRecordAsItWas()
{
    const PEData pe = decodedPE({ peRow(u"600000.SH"_s) });
    QVERIFY(pe.Symbol.isEmpty());
    for (const double value : { pe.eps, pe.ttmEps, pe.ClosePx, pe.staticPE, pe.dynamicPE, pe.ttmPE })
        QCOMPARE(value, 4711.0);
}

void tst_decode_others::peAnswerOfNoRowsLeavesTheRecordAsItWas()
{
    const PEData pe = decoded(&Probe::AssemblePEData, QVariant(u"no body"_s), markedPE());
    QVERIFY(pe.Symbol.isEmpty());
    QCOMPARE(pe.eps, 4711.0);
}

void tst_decode_others::peAnswerOfThreeRowsGivesTheSecond()
{
    QVariantMap third = peRow(u"600002.SH"_s);
    third.insert(u"eps"_s, 9.0);
    const PEData pe = decodedPE({ peRow(u"600000.SH"_s), peRow(u"600001.SH"_s), third });
    QCOMPARE(pe.Symbol, u"600001.SH"_s);
    QCOMPARE(pe.eps, 0.5);
}

void tst_decode_others::absentKeysOfAPERecordReadAsNothingAndZero()
{
    const PEData pe = decodedPE({ {}, { { u"Symbol"_s, u"600000.SH"_s } } });
    QVERIFY(pe.MDDate.isEmpty() && pe.tradeDay.isEmpty());
    for (const double value : { pe.eps, pe.ttmEps, pe.ClosePx, pe.staticPE, pe.dynamicPE, pe.ttmPE })
        QCOMPARE(value, 0.0);
}

void tst_decode_others::everyKeyFillsItsFieldOfAQRRRecord()
{
    const QRRData qrr = decodedQRR({ {}, qrrRow(u"600000.SH"_s) });
    QCOMPARE(qrr.Symbol, u"600000.SH"_s);
    QCOMPARE(qrr.MDDate, u"20230201"_s);
    QCOMPARE(qrr.last5DayVolumePerMinute, 321.5);
    QVERIFY(qrr.Reserved1.isEmpty());
}

void tst_decode_others::qrrAnswerOfOneRowLeavesTheRecordAsItWas()
{
    const QRRData qrr = decodedQRR({ qrrRow(u"600000.SH"_s) });
    QVERIFY(qrr.Symbol.isEmpty());
    QCOMPARE(qrr.last5DayVolumePerMinute, 4711.0);
}

void tst_decode_others::qrrAnswerOfThreeRowsGivesTheSecond()
{
    const QRRData qrr = decodedQRR({ qrrRow(u"A.SH"_s), qrrRow(u"B.SH"_s), qrrRow(u"C.SH"_s) });
    QCOMPARE(qrr.Symbol, u"B.SH"_s);
}

void tst_decode_others::qrrRowWithoutVolumeGivesZero()
{
    const QRRData qrr = decodedQRR({ {}, { { u"Symbol"_s, u"600000.SH"_s } } });
    QCOMPARE(qrr.last5DayVolumePerMinute, 0.0);
}

QTEST_GUILESS_MAIN(tst_decode_others)
#include "tst_decode_others.moc"
