#include "csvrecording.h"

#include <lxmsg/packedbody.h>

#include <QDate>
#include <QFileInfo>
#include <QHash>

#include <charconv>

namespace {

template<typename Number>
bool parse(const QByteArray &cell, Number *number)
{
    const char *end = cell.constData() + cell.size();
    const auto result = std::from_chars(cell.constData(), end, *number);
    return result.ec == std::errc() && result.ptr == end;
}

// "HHmmssSSS" to milliseconds since midnight, or -1.
int parseTime(const QByteArray &cell)
{
    int number = 0;
    if (cell.size() != 9 || !parse(cell, &number) || number < 0)
        return -1;
    const int milliseconds = number % 1000;
    const int seconds = number / 1000 % 100;
    const int minutes = number / 100000 % 100;
    const int hours = number / 10000000;
    if (hours > 23 || minutes > 59 || seconds > 59)
        return -1;
    return ((hours * 60 + minutes) * 60 + seconds) * 1000 + milliseconds;
}

bool isDate(const QByteArray &cell)
{
    unsigned number = 0;
    if (cell.size() != 8 || !parse(cell, &number))
        return false;
    const int date = static_cast<int>(number);
    return QDate::isValid(date / 10000, date / 100 % 100, date % 100);
}

} // namespace

const RecordingKindInfo &recordingKindInfo(RecordingKind kind)
{
    static const RecordingKindInfo infos[RecordingKinds] {
        { RecordingKind::StockQuote, QStringLiteral("stock_snapshots_"), QStringLiteral("MDMARKETRECORD"),
          QStringLiteral("stock quotes") },
        { RecordingKind::IndexQuote, QStringLiteral("index_snapshots_"), QStringLiteral("MDINDEXRECORD"),
          QStringLiteral("index quotes") },
        { RecordingKind::FutureQuote, QStringLiteral("future_snapshots_"), QStringLiteral("MDFUTURERECORD"),
          QStringLiteral("future quotes") },
        { RecordingKind::Transaction, QStringLiteral("transactions_"), QStringLiteral("MDTRANSACTIONRECORD"),
          QStringLiteral("transactions") },
        { RecordingKind::Order, QStringLiteral("orders_"), QStringLiteral("MDORDERRECORD"), QStringLiteral("orders") },
    };
    return infos[static_cast<int>(kind)];
}

bool CsvRecording::kindOfFile(const QString &fileName, RecordingKind *kind)
{
    if (!fileName.endsWith(QLatin1String(".csv")) && !fileName.endsWith(QLatin1String(".csv.gz")))
        return false;
    for (int i = 0; i < RecordingKinds; ++i) {
        if (fileName.startsWith(recordingKindInfo(static_cast<RecordingKind>(i)).filePrefix)) {
            *kind = static_cast<RecordingKind>(i);
            return true;
        }
    }
    return false;
}

bool CsvRecording::cellType(const QString &column, CellType *type)
{
    static const QHash<QString, CellType> types = [] {
        QHash<QString, CellType> all;
        const auto add = [&all](CellType cellType, const QStringList &names) {
            for (const QString &name : names)
                all.insert(name, cellType);
        };
        const auto names = [](const char *text) { return QString::fromLatin1(text).split(QLatin1Char(' ')); };
        add(CellType::Text, names("MDDate MDTime Symbol TradingPhaseCode TradingDate OrderType OrderBSFlag"));
        add(CellType::Double,
            names("PreClosePx TotalVolumeTrade TotalValueTrade LastPx OpenPx ClosePx HighPx LowPx MaxPx MinPx "
                  "TotalBidQty TotalOfferQty WeightedAvgBidPx WeightedAvgOfferPx PreOpenInterest PreSettlePrice "
                  "OpenInterest SettlePrice PreDelta CurrDelta TradePrice TradeMoney OrderPrice"));
        add(CellType::LongLong, names("NumTrades TradeBuyNo TradeSellNo TradeQty OrderIndex OrderNO OrderQty"));
        add(CellType::Int, names("TradeType"));
        add(CellType::IntOrText, names("TradeBSFlag")); // digits or letters, as the source codes it
        for (int level = 1; level <= 10; ++level) {
            for (const char *side : { "Buy", "Sell" }) {
                const QString prefix = QString::fromLatin1(side) + QString::number(level);
                all.insert(prefix + QLatin1String("Price"), CellType::Double);
                all.insert(prefix + QLatin1String("OrderQty"), CellType::LongLong);
            }
        }
        return all;
    }();
    const auto known = types.constFind(column);
    if (known == types.constEnd())
        return false;
    *type = *known;
    return true;
}

bool CsvRecording::open(const QString &path, RecordingKind kind, const QString &date, QString *error)
{
    m_kind = kind;
    m_fileName = QFileInfo(path).fileName();
    m_wantedDate = date.toLatin1();
    if (!m_reader.open(path)) {
        *error = QStringLiteral("%1: %2").arg(path, m_reader.errorString());
        return false;
    }
    QVector<QString> keys;
    const QVector<QString> &header = m_reader.header();
    for (int i = 0; i < header.size(); ++i) {
        CellType type = CellType::Text;
        if (!cellType(header.at(i), &type))
            continue;
        keys.append(header.at(i));
        m_columns.append({ i, type });
    }
    m_layout = LxRowLayout::create(keys);
    m_dateCell = m_reader.column(QStringLiteral("MDDate"));
    m_timeCell = m_reader.column(QStringLiteral("MDTime"));
    m_symbolCell = m_reader.column(QStringLiteral("Symbol"));
    m_symbolValue = keys.indexOf(QStringLiteral("Symbol"));
    if (m_dateCell < 0 || m_timeCell < 0 || m_symbolCell < 0) {
        *error = QStringLiteral("%1: no column MDDate, MDTime or Symbol").arg(path);
        return false;
    }
    return true;
}

bool CsvRecording::next(const BrokenRowReport &report)
{
    while (m_reader.next()) {
        bool wanted = true;
        const QString reason = readRow(m_reader.cells(), &wanted);
        if (!wanted)
            continue;
        if (reason.isEmpty())
            return true;
        ++m_brokenRows;
        report(m_fileName, m_reader.line(), reason);
    }
    return false;
}

// Reads the cells into m_row. Returns what is wrong with them, or an empty text.
QString CsvRecording::readRow(const QVector<QByteArray> &cells, bool *wanted)
{
    const QVector<QString> &header = m_reader.header();
    if (cells.size() != header.size())
        return QStringLiteral("%1 cells instead of %2").arg(cells.size()).arg(header.size());
    const QByteArray &date = cells.at(m_dateCell);
    if (!m_wantedDate.isEmpty() && date != m_wantedDate) {
        *wanted = !isDate(date);
        return QStringLiteral("MDDate \"%1\" is no date").arg(QString::fromUtf8(date));
    }
    if (!isDate(date))
        return QStringLiteral("MDDate \"%1\" is no date").arg(QString::fromUtf8(date));
    const int time = parseTime(cells.at(m_timeCell));
    if (time < 0)
        return QStringLiteral("MDTime \"%1\" is no time").arg(QString::fromUtf8(cells.at(m_timeCell)));
    if (cells.at(m_symbolCell).isEmpty())
        return QStringLiteral("no Symbol");

    QVector<QVariant> values;
    values.reserve(m_columns.size());
    for (const Column &column : std::as_const(m_columns)) {
        const QByteArray &cell = cells.at(column.cell);
        if (cell.isEmpty()) {
            values.append(QVariant(QString::fromLatin1("")));
            continue;
        }
        bool good = true;
        switch (column.type) {
        case CellType::Text:
            values.append(QString::fromUtf8(cell));
            break;
        case CellType::Double: {
            double number = 0;
            good = parse(cell, &number);
            values.append(number);
            break;
        }
        case CellType::LongLong: {
            qint64 number = 0;
            good = parse(cell, &number);
            values.append(number);
            break;
        }
        case CellType::Int:
        case CellType::IntOrText: {
            int number = 0;
            const bool isInt = parse(cell, &number);
            good = isInt || column.type == CellType::IntOrText;
            values.append(isInt ? QVariant(number) : QVariant(QString::fromUtf8(cell)));
            break;
        }
        }
        if (!good)
            return QStringLiteral("%1 \"%2\" is no number").arg(header.at(column.cell), QString::fromUtf8(cell));
    }

    if (m_row.date.isEmpty() || m_row.date != QLatin1String(date)) {
        if (!m_row.date.isEmpty())
            ++m_row.day;
        m_row.date = QString::fromLatin1(date);
    }
    m_row.time = time;
    m_row.symbol = values.at(m_symbolValue).toString();
    m_row.body = LxPackedBody::ofRow({ m_layout, std::move(values) }).toVariant();
    return QString();
}

QString CsvRecording::errorString() const
{
    return m_reader.hasError() ? QStringLiteral("%1: %2").arg(m_fileName, m_reader.errorString()) : QString();
}
