// A client that writes everything that the library announces to a file, with all fields, for comparison.
//
//     announcements BUS FOLDER FILE local       replays the folder itself
//     announcements BUS FOLDER FILE remote      writes "ready", and ends with the line that says that the replay has
//     announcements BUS FOLDER FILE replay      only replays the folder

#include <busrecorder.h>
#include <csvtable.h>
#include <market.h>
#include <quotefields.h>
#include <securities.h>

#include <lxmsg/unpackmessagecommon.h>
#include <lxquotahandler.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTextStream>

#include <cstdio>

namespace {

template<typename Record>
struct FieldText
{
    const Record &record;
    QByteArray *text;

    void add(const QString &value) const { *text += value.toUtf8() + ';'; }
    void add(double value) const { *text += QByteArray::number(value, 'g', 17) + ';'; }
    void add(qint64 value) const { *text += QByteArray::number(value) + ';'; }
    void add(int value) const { *text += QByteArray::number(value) + ';'; }

    template<typename Value>
    void operator()(Value Record::*member) const
    {
        add(record.*member);
    }
    template<typename Value, size_t Levels>
    void operator()(Value (Record::*member)[Levels]) const
    {
        for (const Value &value : record.*member)
            add(value);
    }
};

template<typename Record>
QByteArray textOf(const Record &record)
{
    QByteArray text;
    for (const auto &field : fieldsOf(record))
        std::visit(FieldText<Record> { record, &text }, field.member);
    return text;
}

QByteArray textOf(const BaseQuotaData &r)
{
    QByteArray text = QByteArray::number(r.RecordKind) + ';' + r.MDTime.toUtf8() + ';' + r.Symbol.toUtf8() + ';';
    // What a kind of quote does not have is not written either.
    for (double BaseQuotaData::*member : { &BaseQuotaData::LastPx, &BaseQuotaData::OpenPx, &BaseQuotaData::ClosePx,
                                           &BaseQuotaData::HighPx, &BaseQuotaData::LowPx, &BaseQuotaData::PreClosePx,
                                           &BaseQuotaData::TotalVolumeTrade, &BaseQuotaData::TotalValueTrade })
        text += QByteArray::number(r.*member, 'g', 17) + ';';
    return text;
}

// The rows as they came, with the types of their values.
QByteArray textOf(const QVariant &body)
{
    CUnPackMessageCommon unpack;
    unpack.SetUnPackMsg(body, false);
    QByteArray text;
    for (int i = 0; i < unpack.GetRowCount(); ++i) {
        unpack.SetCurrentRow(i);
        const Market::Row row = unpack.GetRowValue();
        for (auto cell = row.cbegin(); cell != row.cend(); ++cell) {
            const QVariant &value = cell.value();
            text += cell.key().toUtf8() + '=' + value.typeName() + ':';
            text += value.type() == QVariant::Double ? QByteArray::number(value.toDouble(), 'g', 17)
                                                     : value.toString().toUtf8();
            text += ';';
        }
    }
    return text;
}

// Writes the announcements made on the library's thread, followed by the messages received on the bus's threads.
class Writer : public QObject
{
public:
    Writer()
    {
        const LxQuotaHandler *quota = &LxQuotaHandler::instance();
        const auto note = [this](const char *kind, const QByteArray &text) {
            m_announced += QByteArray(kind) + ' ' + text + '\n';
        };
        using Q = LxQuotaHandler;
        const auto direct = Qt::DirectConnection;
        const auto record = [note](const char *kind) { return [note, kind](const auto &r) { note(kind, textOf(r)); }; };
        const auto symbol = [note](const char *kind) {
            return [note, kind](const QString &s) { note(kind, s.toUtf8()); };
        };
        connect(quota, &Q::signalStockQuotaUpdate, this, record("stock"), direct);
        connect(quota, &Q::signalIndexQuotaUpdate, this, record("index"), direct);
        connect(quota, &Q::signalFutureQuotaUpdate, this, record("future"), direct);
        connect(quota, &Q::signalQuotaUpdate, this, record("quote"), direct);
        connect(quota, &Q::signalQuoteTickUpdate, this, symbol("tick"), direct);
        connect(quota, &Q::signalRecordTransactionUpdate, this, symbol("trade"), direct);
        connect(quota, &Q::signalIndicatorRankingData, this, record("ranking"), direct);
        connect(quota, &Q::signalUpDownAnalyzeData, this, record("updown"), direct);
        connect(
            quota, &Q::sigRecvQuotaData, this,
            [this](const QVariant &type, const QVariant &data) {
                m_received += "as it came " + type.toString().toUtf8() + ' ' + textOf(data) + '\n';
            },
            direct);
    }

    bool write(const QString &path) const
    {
        QFile file(path);
        return file.open(QIODevice::WriteOnly) && file.write(m_announced) >= 0 && file.write(m_received) >= 0;
    }

private:
    QByteArray m_announced; // library's thread
    QByteArray m_received; // bus's threads, one at a time
};

void subscribeAll(const QString &folder)
{
    LxQuotaHandler &quota = LxQuotaHandler::instance();
    const QDir files(folder);
    for (const QString &file : files.entryList(QDir::Files)) {
        QStringList symbols = CsvTable(files.filePath(file)).distinct("Symbol");
        if (file.startsWith(QLatin1String("transactions_")))
            quota.SubscribeRecordTransaction(symbols, true);
        else if (file.startsWith(QLatin1String("orders_")))
            quota.SubscribeRecordOrder(symbols, true);
        else
            quota.SubscribeQuote(symbols, true);
    }
    for (int ranking : { 1, 2, 3 })
        quota.SubscribeRankingData({}, ranking, true);
    Market::settle();
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    const QString folder = arguments.at(2);
    QString error;
    LxBusOptions busOptions;
    busOptions.pendingLimit =
        1000000; // all records: a replay at full speed does not wait for receivers behind a broker
    busOptions.streams = LxBusStreams();
    if (!LxBus::start(arguments.at(1), busOptions, &error))
        qFatal("%s", qPrintable(error));
    ReplayOptions options;
    options.folder = folder;
    if (arguments.at(4) == QLatin1String("replay"))
        return Market::replayOntoBus(options).ok ? 0 : 1;

    if (!loadSecurities(recording(QStringLiteral("securities.csv")), &error))
        qFatal("%s", qPrintable(error));
    const Writer writer;
    subscribeAll(folder);
    if (arguments.at(4) == QLatin1String("local")) {
        if (!Market::replay(folder).ok)
            return 1;
    } else {
        std::puts("ready");
        std::fflush(stdout);
        QTextStream(stdin).readLine();
        Market::settle();
    }
    if (const quint64 dropped = LxBus::current()->statistics().totalDropped())
        qFatal("%llu messages dropped", static_cast<unsigned long long>(dropped));
    return writer.write(arguments.at(3)) ? 0 : 1;
}
