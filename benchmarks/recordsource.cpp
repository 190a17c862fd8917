#include "recordsource.h"

#include <csvrecording.h>
#include <lxmsg/packedbody.h>
#include <lxmsg/unpackmessagecommon.h>

#include <QDebug>

namespace {

constexpr int RecordsKept = 5000;

QVector<QVariant> read(const QString &file, RecordingKind kind, const std::function<bool(const QVariant &)> &wanted)
{
    CsvRecording recording;
    QString error;
    if (!recording.open(QStringLiteral(LX_DATA_DIR "/") + file, kind, QString(), &error))
        qFatal("%s", qUtf8Printable(error));
    QVector<QVariant> bodies;
    while (bodies.size() < RecordsKept && recording.next([](const QString &, qint64, const QString &) {}, &error)) {
        if (wanted(recording.row().body))
            bodies.append(recording.row().body);
    }
    if (bodies.isEmpty())
        qFatal("no records in %s", qUtf8Printable(file));
    return bodies;
}

bool hasTenLevels(const QVariant &body)
{
    CUnPackMessageCommon row;
    row.SetUnPackMsg(body, false);
    return row.GetValue(QStringLiteral("Buy10Price"), QVariant()).toDouble() > 0
        && row.GetValue(QStringLiteral("Sell10Price"), QVariant()).toDouble() > 0;
}

} // namespace

RecordSource RecordSource::stockQuotes()
{
    RecordSource source;
    source.m_topic = recordingKindInfo(RecordingKind::StockQuote).topic;
    source.m_bodies = read(QStringLiteral("stock_snapshots_20211201.csv.gz"), RecordingKind::StockQuote, &hasTenLevels);
    return source;
}

RecordSource RecordSource::transactions()
{
    RecordSource source;
    source.m_topic = recordingKindInfo(RecordingKind::Transaction).topic;
    source.m_bodies = read(QStringLiteral("transactions_20230711.csv.gz"), RecordingKind::Transaction,
                           [](const QVariant &) { return true; });
    return source;
}

QString RecordSource::symbol(int number)
{
    return QString::number(number).rightJustified(6, QLatin1Char('0'))
        + (number % 2 ? QLatin1String(".SH") : QLatin1String(".SZ"));
}

QVariant RecordSource::record(int number, const QString &symbol) const
{
    const LxPackedBody body = LxPackedBody::fromVariant(m_bodies.at(number % m_bodies.size()));
    LxPackedRow row = *body.row(0);
    for (int i = 0; i < row.values.size(); ++i) {
        if (row.layout->keys().at(i) == QLatin1String("Symbol"))
            row.values[i] = QString(symbol.constData(), symbol.size());
        else if (row.values.at(i).userType() == QMetaType::QString) {
            const QString text = row.values.at(i).toString();
            row.values[i] = QString(text.constData(), text.size());
        }
    }
    return LxPackedBody(QVector<LxPackedRow> { row }).toVariant();
}

QVector<QVariant> RecordSource::spread(int symbols) const
{
    QVector<QVariant> records;
    records.reserve(symbols);
    for (int i = 0; i < symbols; ++i)
        records.append(record(i, symbol(i)));
    return records;
}
