// Writes the messages that the corpus of the wire format's fuzzer began with: a record of each recording, the requests
// and answers of docs/messages.md, and values of each type.

#include "wiretesting.h"

#include <csvrecording.h>
#include <lxmsg/packmessagecommon.h>

#include <QDir>
#include <QFile>

#include <cstdio>
#include <cstdlib>

namespace {

class Corpus
{
public:
    explicit Corpus(const QString &path) : m_folder(path) { }

    void add(const QString &name, const LxWireMessage &message)
    {
        QString error;
        const QByteArray bytes = m_writer.write(message, &error);
        QFile file(m_folder.filePath(name));
        if (bytes.isEmpty() || !file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
            std::fprintf(stderr, "%s: %s%s\n", qUtf8Printable(name), qUtf8Printable(error),
                         qUtf8Printable(file.errorString()));
            std::exit(1);
        }
    }

private:
    QDir m_folder;
    LxWireWriter m_writer;
};

QString text(const char *latin1)
{
    return QString::fromLatin1(latin1);
}

void addRecord(const QString &path, RecordingKind kind, Corpus *corpus)
{
    constexpr quint64 Before = 500; // the first ones have little in them
    CsvRecording recording;
    QString error;
    if (!recording.open(path, kind, QString(), &error)) {
        std::fprintf(stderr, "%s\n", qUtf8Printable(error));
        std::exit(1);
    }
    quint64 number = 0;
    while (number <= Before && recording.next([](const QString &, qint64, const QString &) {}, &error))
        ++number;
    corpus->add(QFileInfo(path).baseName(),
                { recordingKindInfo(kind).topic, QString(), 1638320000000, number, recording.row().body });
}

void addRequestsAndAnswers(Corpus *corpus)
{
    const QString client = text("client-1");
    CPackMessageCommon subscribe;
    for (const char *symbol : { "600519.SH", "000333.SZ", "300122.SZ" }) {
        if (symbol[0] != '6')
            subscribe.AddRow();
        subscribe.AddVaule(text("SubscribeType"), 2);
        subscribe.AddVaule(text("MDRecordTypes"), 1);
        subscribe.AddVaule(text("ActionType"), 1);
        subscribe.AddVaule(text("Symbol"), text(symbol));
    }
    corpus->add(text("request-subscribe"), { text("SubscribeRequest"), client, 0, 0, subscribe.GetPackedMsg(false) });

    CPackMessageCommon tradingDay;
    tradingDay.AddVaule(text("InitStartDate"), text("20230120"));
    tradingDay.AddVaule(text("Days"), 5);
    corpus->add(text("request-tradingday"), { text("181063"), client, 0, 0, tradingDay.GetPackedMsg(false) });

    CPackMessageCommon ranking;
    ranking.AddVaule(text("RankingKind"), 1);
    ranking.AddVaule(text("SymbolCount"), 4000);
    for (int rank = 1; rank <= 5; ++rank) {
        ranking.AddRow();
        ranking.AddVaule(text("Rank"), rank);
        ranking.AddVaule(text("Symbol"), text("600519.SH"));
        ranking.AddVaule(text("LastPx"), 1810.5);
        ranking.AddVaule(text("Value"), 10.0 / rank);
    }
    corpus->add(text("record-ranking"),
                { text("ADINDICATORSRANKINGRECORD"), QString(), 7, 8, ranking.GetPackedMsg(false) });

    QVariantList bars;
    for (int i = 0; i < 3; ++i)
        bars.append(QVariantMap { { text("MDDate"), text("20230201") },
                                  { text("OpenPx"), 10.5 + i },
                                  { text("TotalVolumeTrade"), 1000LL * i } });
    CPackMessageCommon answer;
    answer.AddVaule(text("requestExeStatus"), 0);
    answer.AddRow();
    answer.AddVaule(text("Symbol"), text("600519.SH"));
    answer.AddVaule(text("KLine"), bars);
    corpus->add(text("answer-bars"), { text("KLineAnswer"), QString(), 0, 0, answer.GetPackedMsg(false) });
}

void addValues(Corpus *corpus)
{
    const QString lone(QChar(0xd800));
    using WireTesting::body;
    const QString a = text("a");
    const QString b = text("b");
    const QVariantMap map { { a, 1 }, { b, QVariantMap { { lone, 2.5 } } }, { QString(), QVariant() } };
    const QVector<QVariant> numbers { 1, 2, 1LL, 2LL, 1.5, 2.5, QVariant(QVariant::Double), 3.5 };
    const QVector<QPair<const char *, QVariant>> values {
        { "invalid", QVariant() },
        { "bool", true },
        { "int", -1 },
        { "longlong", -1234567890123LL },
        { "double", -0.0 },
        { "text", QStringLiteral("贵州茅台") },
        { "text-null", QString() },
        { "text-lone", lone },
        { "text-long", QString(300, QLatin1Char('x')) },
        { "texts", QStringList { QString(), text(""), lone } },
        { "list", QVariantList { 1, 2LL, 2.5, false, QVariant(), QVariantList { QVariantList() } } },
        { "map", map },
        { "null-int", QVariant(QVariant::Int) },
        { "null-list", QVariant(QVariant::List) },
        { "null-texts", QVariant(QVariant::StringList) },
        { "no-rows", LxPackedBody().toVariant() },
        { "no-keys", body({ { {}, {} }, { {}, {} } }) },
        { "repeated-key", body({ { { a, a }, { 1, 2 } } }) },
        { "layouts", body({ { { a }, { 1 } }, { { lone, b }, { 1.5, 2.5 } }, { { a }, { 2 } } }) },
        { "runs", body({ { QVector<QString>(8, a), numbers } }) },
    };
    for (const auto &value : values)
        corpus->add(text("value-") + text(value.first), { text("T"), text("c"), 1, 2, value.second });
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s DATA FOLDER\n", argv[0]);
        return 2;
    }
    const QDir data(QString::fromLocal8Bit(argv[1]));
    Corpus corpus(QString::fromLocal8Bit(argv[2]));
    for (const QString &name : data.entryList(QDir::Files, QDir::Name)) {
        if (const std::optional<RecordingKind> kind = CsvRecording::kindOfName(name))
            addRecord(data.filePath(name), *kind, &corpus);
    }
    addRequestsAndAnswers(&corpus);
    addValues(&corpus);
    return 0;
}
