#include "allocationcounter.h"

#include <lxdefine/lxfields.h>
#include <lxmsg/messagecommon.h>
#include <lxmsg/packmessagecommon.h>
#include <lxmsg/unpackmessagecommon.h>

#include <QtTest>

#include <cmath>
#include <cstring>
#include <limits>

class tst_Packing : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void message();
    void nothingAdded();
    void rows();
    void addRowOpensAnEmptyRow();
    void currentRowOfThePacker();
    void repeatedKeyIsOverwritten();
    void packerReturnsItsValues();
    void clientMessageIdsAreUnique();
    void clientMessageIdIsNotAField();
    void packerContinuesAfterPacking();
    void valuesKeepTheirTypes_data();
    void valuesKeepTheirTypes();
    void notANumber();
    void rowOutOfRangeIsEmpty_data();
    void rowOutOfRangeIsEmpty();
    void foreignVariants_data();
    void foreignVariants();
    void defaultsOfAbsentKeys();
    void keysInAnyOrder();
    void readerCanBeLoadedAgain();
    void repeatedKeyOfALayout();
    void absentKeyAllocatesNothing();
    void variantCopiesShareTheBody();
    void equalRowsShareTheirLayout();
    void layoutOwnsItsKeys();
    void layoutForgetsCharactersThatMayChange_data();
    void layoutForgetsCharactersThatMayChange();
    void layoutTellsKeysOfTheSameCharactersApart();
    void manyThreadsReadOneBody();
};

static const QString symbol = QStringLiteral("Symbol");
static const QString price = QStringLiteral("LastPx");

static CUnPackMessageCommon unpacked(const QVariant &body)
{
    CUnPackMessageCommon rows;
    rows.SetUnPackMsg(body, false);
    return rows;
}

void tst_Packing::message()
{
    CMessageCommon message;
    QVERIFY(!message.GetType().isValid());
    QVERIFY(!message.GetMsg().isValid());
    QVERIFY(message.GetSrcid().isEmpty());
    message.SetType(QStringLiteral("SubscribeRequest"));
    message.SetMsg(5);
    message.SetSrcid(QStringLiteral("client"));
    QCOMPARE(message.GetType(), QVariant(QStringLiteral("SubscribeRequest")));
    QCOMPARE(message.GetMsg(), QVariant(5));
    QCOMPARE(message.GetSrcid(), QStringLiteral("client"));
}

void tst_Packing::nothingAdded()
{
    const QVariant body = CPackMessageCommon().GetPackedMsg(false);
    QVERIFY(body.isValid());
    QCOMPARE(unpacked(body).GetRowCount(), 0);
    QVERIFY(unpacked(body).GetRowValue().isEmpty());
}

void tst_Packing::rows()
{
    CPackMessageCommon pack;
    pack.AddVaule(symbol, QStringLiteral("600000.SH"));
    pack.AddVaule(price, 10.5);
    pack.AddRow();
    pack.AddVaule(symbol, QStringLiteral("000001.SZ"));

    CUnPackMessageCommon rows = unpacked(pack.GetPackedMsg(false));
    QCOMPARE(rows.GetRowCount(), 2);
    QCOMPARE(rows.GetValue(symbol, QString()), QVariant(QStringLiteral("600000.SH")));
    QCOMPARE(rows.GetValue(price, QString()), QVariant(10.5));
    rows.SetCurrentRow(1);
    QCOMPARE(rows.GetRowValue(), (QMap<QString, QVariant> { { symbol, QStringLiteral("000001.SZ") } }));
    QCOMPARE(rows.GetValue(price, -1.0), QVariant(-1.0));
    rows.SetCurrentRow(0);
    const QMap<QString, QVariant> first { { symbol, QStringLiteral("600000.SH") }, { price, 10.5 } };
    QCOMPARE(rows.GetRowValue(), first);
}

void tst_Packing::addRowOpensAnEmptyRow()
{
    CPackMessageCommon pack;
    pack.AddVaule(symbol, 1);
    pack.AddRow();
    pack.AddRow();
    CUnPackMessageCommon rows = unpacked(pack.GetPackedMsg(false));
    QCOMPARE(rows.GetRowCount(), 3);
    rows.SetCurrentRow(2);
    QVERIFY(rows.GetRowValue().isEmpty());
}

void tst_Packing::currentRowOfThePacker()
{
    // As in requests whose head row holds the number of rows.
    CPackMessageCommon pack;
    pack.AddVaule(symbol, QStringLiteral("head"));
    pack.AddRow();
    pack.AddVaule(symbol, QStringLiteral("data"));
    pack.SetCurrentRow(0);
    pack.AddVaule(price, 1);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("no row 2 among 2")));
    pack.SetCurrentRow(2);
    pack.AddVaule(Orca_Fields::System::subGroupNumber, 2);
    pack.AddRow(); // after the last row, not after the current one
    pack.AddVaule(symbol, QStringLiteral("more"));

    CUnPackMessageCommon rows = unpacked(pack.GetPackedMsg(false));
    QCOMPARE(rows.GetRowCount(), 3);
    QCOMPARE(rows.GetRowValue().size(), 3);
    QCOMPARE(rows.GetValue(Orca_Fields::System::subGroupNumber, 0).toInt(), 2);
    rows.SetCurrentRow(1);
    QCOMPARE(rows.GetRowValue(), (QMap<QString, QVariant> { { symbol, QStringLiteral("data") } }));
    rows.SetCurrentRow(2);
    QCOMPARE(rows.GetRowValue(), (QMap<QString, QVariant> { { symbol, QStringLiteral("more") } }));
}

void tst_Packing::repeatedKeyIsOverwritten()
{
    CPackMessageCommon pack;
    pack.AddVaule(symbol, 1);
    pack.AddVaule(price, 2);
    pack.AddVaule(symbol, QStringLiteral("again"));
    QCOMPARE(pack.GetValue(symbol), QVariant(QStringLiteral("again")));
    const CUnPackMessageCommon rows = unpacked(pack.GetPackedMsg(false));
    QCOMPARE(rows.GetValue(symbol, 0), QVariant(QStringLiteral("again")));
    QCOMPARE(rows.GetRowValue().size(), 2);
}

void tst_Packing::packerReturnsItsValues()
{
    CPackMessageCommon pack;
    QVERIFY(!pack.GetValue(symbol).isValid());
    pack.AddVaule(symbol, 1);
    pack.AddRow();
    QVERIFY(!pack.GetValue(symbol).isValid());
    pack.SetCurrentRow(0);
    QCOMPARE(pack.GetValue(symbol), QVariant(1));
}

void tst_Packing::clientMessageIdsAreUnique()
{
    constexpr int Threads = 4;
    constexpr int PacksEach = 500;
    QVector<QStringList> ids(Threads);
    std::vector<std::unique_ptr<QThread>> threads;
    for (QStringList &own : ids) {
        threads.emplace_back(QThread::create([&own] {
            for (int i = 0; i < PacksEach; ++i)
                own.append(CPackMessageCommon().GetValue(Orca_Fields::System::clientMsgID).toString());
        }));
        threads.back()->start();
    }
    for (const auto &thread : threads)
        thread->wait();
    QSet<QString> distinct;
    for (const QStringList &own : std::as_const(ids)) {
        for (const QString &id : own)
            distinct.insert(id);
    }
    QCOMPARE(distinct.size(), Threads * PacksEach);
    QVERIFY(!distinct.contains(QString()));
}

void tst_Packing::clientMessageIdIsNotAField()
{
    CPackMessageCommon pack;
    pack.AddVaule(symbol, 1);
    const QVariant id = pack.GetValue(Orca_Fields::System::clientMsgID);
    pack.AddRow();
    QCOMPARE(pack.GetValue(Orca_Fields::System::clientMsgID), id);
    CUnPackMessageCommon rows = unpacked(pack.GetPackedMsg(false));
    for (int row = 0; row < 2; ++row) {
        rows.SetCurrentRow(row);
        QVERIFY(!rows.GetRowValue().contains(Orca_Fields::System::clientMsgID));
        QCOMPARE(rows.GetValue(Orca_Fields::System::clientMsgID, 0), QVariant(0));
    }
}

void tst_Packing::packerContinuesAfterPacking()
{
    CPackMessageCommon pack;
    pack.AddVaule(symbol, 1);
    const QVariant before = pack.GetPackedMsg(false);
    pack.AddVaule(symbol, 2);
    pack.AddRow();
    const QVariant behind = pack.GetPackedMsg(true);
    QCOMPARE(unpacked(before).GetRowCount(), 1);
    QCOMPARE(unpacked(before).GetValue(symbol, 0), QVariant(1));
    QCOMPARE(unpacked(behind).GetRowCount(), 2);
    QCOMPARE(unpacked(behind).GetValue(symbol, 0), QVariant(2));
}

void tst_Packing::valuesKeepTheirTypes_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::newRow("string") << QVariant(QStringLiteral("浦发银行"));
    QTest::newRow("empty string") << QVariant(QString());
    QTest::newRow("int") << QVariant(-2147483647 - 1);
    QTest::newRow("qint64") << QVariant(std::numeric_limits<qint64>::min());
    QTest::newRow("double") << QVariant(0.1);
    QTest::newRow("infinity") << QVariant(std::numeric_limits<double>::infinity());
    QTest::newRow("negative infinity") << QVariant(-std::numeric_limits<double>::infinity());
    QTest::newRow("true") << QVariant(true);
    QTest::newRow("false") << QVariant(false);
    QTest::newRow("string list") << QVariant(QStringList { QStringLiteral("a"), QString() });
    QTest::newRow("list") << QVariant(QVariantList { 1, QStringLiteral("2"), QVariantList { 3.0 } });
    QTest::newRow("map") << QVariant(QVariantMap { { symbol, 1 }, { price, QVariantList { 2 } } });
    QTest::newRow("invalid") << QVariant();
}

void tst_Packing::valuesKeepTheirTypes()
{
    QFETCH(QVariant, value);
    CPackMessageCommon pack;
    pack.AddVaule(symbol, value);
    const QVariant read = unpacked(pack.GetPackedMsg(false)).GetValue(symbol, QStringLiteral("default"));
    QCOMPARE(read.userType(), value.userType());
    QCOMPARE(read, value);
}

void tst_Packing::notANumber()
{
    CPackMessageCommon pack;
    pack.AddVaule(price, std::numeric_limits<double>::quiet_NaN());
    const QVariant read = unpacked(pack.GetPackedMsg(false)).GetValue(price, 0.0);
    QCOMPARE(read.userType(), int(QMetaType::Double));
    QVERIFY(std::isnan(read.toDouble()));
}

void tst_Packing::rowOutOfRangeIsEmpty_data()
{
    QTest::addColumn<int>("row");
    QTest::newRow("negative") << -1;
    QTest::newRow("after the last") << 2;
    QTest::newRow("largest int") << std::numeric_limits<int>::max();
    QTest::newRow("smallest int") << std::numeric_limits<int>::min();
}

void tst_Packing::rowOutOfRangeIsEmpty()
{
    QFETCH(int, row);
    CPackMessageCommon pack;
    pack.AddVaule(symbol, 1);
    pack.AddRow();
    pack.AddVaule(symbol, 2);
    CUnPackMessageCommon rows = unpacked(pack.GetPackedMsg(false));
    rows.SetCurrentRow(row);
    QVERIFY(rows.GetRowValue().isEmpty());
    QCOMPARE(rows.GetValue(symbol, QStringLiteral("default")), QVariant(QStringLiteral("default")));
    rows.SetCurrentRow(1);
    QCOMPARE(rows.GetValue(symbol, 0), QVariant(2));
}

void tst_Packing::foreignVariants_data()
{
    QTest::addColumn<QVariant>("message");
    QTest::newRow("invalid") << QVariant();
    QTest::newRow("string") << QVariant(QStringLiteral("Symbol"));
    QTest::newRow("bytes") << QVariant(QByteArray("\x01\x02\x03"));
    QTest::newRow("number") << QVariant(7);
    QTest::newRow("list of maps") << QVariant(QVariantList { QVariantMap { { symbol, 1 } } });
    QTest::newRow("map") << QVariant(QVariantMap { { symbol, 1 } });
    QTest::newRow("null object") << QVariant::fromValue<QObject *>(nullptr);
}

void tst_Packing::foreignVariants()
{
    QFETCH(QVariant, message);
    // Also if the reader had a valid body before.
    CPackMessageCommon pack;
    pack.AddVaule(symbol, 1);
    CUnPackMessageCommon rows = unpacked(pack.GetPackedMsg(false));
    rows.SetUnPackMsg(message, false);
    QCOMPARE(rows.GetRowCount(), 0);
    QVERIFY(rows.GetRowValue().isEmpty());
    QCOMPARE(rows.GetValue(symbol, 5), QVariant(5));
    rows.SetCurrentRow(0);
    QCOMPARE(rows.GetValue(symbol, 5), QVariant(5));
}

void tst_Packing::defaultsOfAbsentKeys()
{
    CPackMessageCommon pack;
    pack.AddVaule(symbol, QVariant());
    const CUnPackMessageCommon rows = unpacked(pack.GetPackedMsg(false));
    QCOMPARE(rows.GetValue(price, QStringLiteral("default")), QVariant(QStringLiteral("default")));
    QVERIFY(!rows.GetValue(price, QVariant()).isValid());
    // An existing key has its value, even an invalid one.
    QVERIFY(!rows.GetValue(symbol, QStringLiteral("default")).isValid());
}

void tst_Packing::keysInAnyOrder()
{
    constexpr int Keys = 40;
    CPackMessageCommon pack;
    for (int row = 0; row < 2; ++row) {
        if (row > 0)
            pack.AddRow();
        for (int i = 0; i < Keys; ++i)
            pack.AddVaule(QString::number(i), row * 1000 + i);
    }
    CUnPackMessageCommon rows = unpacked(pack.GetPackedMsg(false));
    const auto check = [&rows](int row, int step) {
        rows.SetCurrentRow(row);
        for (int n = 0; n < Keys; ++n) {
            const int i = n * step % Keys;
            if (rows.GetValue(QString::number(i), -1) != QVariant(row * 1000 + i)
                || rows.GetValue(QStringLiteral("absent"), -1) != QVariant(-1))
                return false;
        }
        return true;
    };
    // The layout remembers which key was found after which; another order must not mislead it.
    for (const int step : { 1, 3, 7, 39, 1, 0 }) {
        QVERIFY(check(0, step));
        QVERIFY(check(1, step));
    }
}

void tst_Packing::readerCanBeLoadedAgain()
{
    CPackMessageCommon wide;
    for (int i = 0; i < 30; ++i)
        wide.AddVaule(QString::number(i), i);
    wide.AddRow();
    CPackMessageCommon narrow;
    narrow.AddVaule(symbol, 1);

    CUnPackMessageCommon rows = unpacked(wide.GetPackedMsg(false));
    QCOMPARE(rows.GetValue(QStringLiteral("29"), -1), QVariant(29));
    rows.SetCurrentRow(1);
    rows.SetUnPackMsg(narrow.GetPackedMsg(false), false);
    QCOMPARE(rows.GetRowCount(), 1);
    QCOMPARE(rows.GetValue(symbol, -1), QVariant(1));
    QCOMPARE(rows.GetValue(QStringLiteral("29"), -1), QVariant(-1));
}

void tst_Packing::repeatedKeyOfALayout()
{
    const LxRowLayout::Pointer layout = LxRowLayout::create({ symbol, price, symbol });
    const CUnPackMessageCommon rows = unpacked(LxPackedBody({ { layout, { 1, 2, 3 } } }).toVariant());
    QCOMPARE(rows.GetValue(symbol, 0), QVariant(1));
    QCOMPARE(rows.GetRowValue(), (QMap<QString, QVariant> { { symbol, 1 }, { price, 2 } }));
}

void tst_Packing::absentKeyAllocatesNothing()
{
#ifndef LX_COUNTS_ALLOCATIONS
    QSKIP("allocations cannot be counted here");
#endif
    QCOMPARE(AllocationCounter::during([] { QByteArray(16, ' '); }), 1);
    CPackMessageCommon pack;
    pack.AddVaule(symbol, QStringLiteral("600000.SH"));
    const CUnPackMessageCommon rows = unpacked(pack.GetPackedMsg(false));
    const QVariant none = QString();
    bool none1 = false;
    bool none2 = false;
    const int allocations = AllocationCounter::during([&] {
        none1 = rows.GetValue(price, none).toString().isEmpty();
        none2 = rows.GetValue(price, none).toString().isEmpty();
    });
    QVERIFY(none1 && none2);
    QCOMPARE(allocations, 0);
}

void tst_Packing::variantCopiesShareTheBody()
{
    CPackMessageCommon pack;
    pack.AddVaule(symbol, 1);
    const QVariant body = pack.GetPackedMsg(false);
    const LxPackedRow *const row = LxPackedBody::fromVariant(body).row(0);
    QVERIFY(row != nullptr);
    const QVariant copy = body;
    QVariantList queued { copy, body };
    queued.detach();
    QCOMPARE(LxPackedBody::fromVariant(copy).row(0), row);
    QCOMPARE(LxPackedBody::fromVariant(queued.at(1)).row(0), row);
    // A body that is put into another variant shares the values.
    const QVariant again = LxPackedBody::fromVariant(body).toVariant();
    QCOMPARE(LxPackedBody::fromVariant(again).row(0)->values.constData(), row->values.constData());
    QCOMPARE(AllocationCounter::during([&body] { const QVariant another = body; }), 0);
}

void tst_Packing::equalRowsShareTheirLayout()
{
    CPackMessageCommon pack;
    for (int i = 0; i < 3; ++i) {
        if (i > 0)
            pack.AddRow();
        pack.AddVaule(symbol, i);
        pack.AddVaule(i < 2 ? price : QStringLiteral("OpenPx"), i);
    }
    const LxPackedBody body = LxPackedBody::fromVariant(pack.GetPackedMsg(false));
    QCOMPARE(body.row(1)->layout, body.row(0)->layout);
    QVERIFY(body.row(2)->layout != body.row(1)->layout);
}

void tst_Packing::layoutOwnsItsKeys()
{
    // A body may outlive the library whose memory holds its keys.
    QVector<ushort> text { 'K', 'e', 'y' };
    const QString key = QString::fromRawData(reinterpret_cast<const QChar *>(text.constData()), text.size());
    const LxRowLayout::Pointer layout = LxRowLayout::create({ key });
    text.fill('-');
    QCOMPARE(layout->keys().constFirst(), QStringLiteral("Key"));
    QCOMPARE(layout->find(QStringLiteral("Key"), -1), 0);
}

void tst_Packing::layoutForgetsCharactersThatMayChange_data()
{
    QTest::addColumn<bool>("owned");
    QTest::newRow("owned by the string") << true;
    QTest::newRow("of other memory") << false;
}

void tst_Packing::layoutForgetsCharactersThatMayChange()
{
    QFETCH(bool, owned);
    const LxRowLayout::Pointer layout = LxRowLayout::create({ QStringLiteral("Key"), QStringLiteral("Kez") });
    QVector<ushort> memory { 'K', 'e', 'y' };
    const auto *const characters = reinterpret_cast<const QChar *>(memory.constData());
    QString key = owned ? QString(characters, 3) : QString::fromRawData(characters, 3);
    for (int i = 0; i < 2; ++i)
        QCOMPARE(layout->find(key, -1), 0);
    if (owned)
        key[2] = QLatin1Char('z');
    else
        memory[2] = 'z';
    QCOMPARE(layout->find(key, -1), 1);
    QCOMPARE(layout->find(QStringLiteral("Key"), -1), 0);
}

void tst_Packing::layoutTellsKeysOfTheSameCharactersApart()
{
    const LxRowLayout::Pointer layout = LxRowLayout::create({ QStringLiteral("Price"), QStringLiteral("Pri") });
    const QString whole = QString::fromLatin1("Price");
    for (int i = 0; i < 2; ++i)
        QCOMPARE(layout->find(whole, -1), 0);
    QCOMPARE(layout->find(QString::fromRawData(whole.constData(), 3), -1), 1);
}

void tst_Packing::manyThreadsReadOneBody()
{
    constexpr int Keys = 30;
    CPackMessageCommon pack;
    for (int i = 0; i < Keys; ++i)
        pack.AddVaule(QString::number(i), i);
    const QVariant body = pack.GetPackedMsg(false);
    std::atomic<int> wrong { 0 };
    std::vector<std::unique_ptr<QThread>> threads;
    for (const int step : { 1, 7, 11, 29 }) { // each thread reads in a different order
        threads.emplace_back(QThread::create([&body, &wrong, step] {
            for (int round = 0; round < 500; ++round) {
                const CUnPackMessageCommon rows = unpacked(body);
                for (int n = 0; n < Keys; ++n) {
                    const int i = n * step % Keys;
                    if (rows.GetValue(QString::number(i), -1).toInt() != i)
                        ++wrong;
                }
            }
        }));
        threads.back()->start();
    }
    for (const auto &thread : threads)
        thread->wait();
    QCOMPARE(wrong.load(), 0);
}

QTEST_GUILESS_MAIN(tst_Packing)
#include "tst_packing.moc"
