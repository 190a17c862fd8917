#include "csvrecording.h"

#include "dates.h"
#include "recordeddates.h"
#include "translated.h"

#include <lxmsg/packedbody.h>

#include <QFileInfo>
#include <QHash>

#include <charconv>
#include <cmath>

namespace {

template<typename Number>
bool parse(const QByteArray &cell, Number *number)
{
    const char *end = cell.constData() + cell.size();
    const auto result = std::from_chars(cell.constData(), end, *number);
    return result.ec == std::errc() && result.ptr == end;
}

double QuoteFigures::*priceOf(const QString &column)
{
    static const QHash<QString, double QuoteFigures::*> prices {
        { QStringLiteral("PreClosePx"), &QuoteFigures::preClosePx },
        { QStringLiteral("LastPx"), &QuoteFigures::lastPx },
        { QStringLiteral("OpenPx"), &QuoteFigures::openPx },
        { QStringLiteral("HighPx"), &QuoteFigures::highPx },
        { QStringLiteral("LowPx"), &QuoteFigures::lowPx },
        { QStringLiteral("MaxPx"), &QuoteFigures::maxPx },
        { QStringLiteral("MinPx"), &QuoteFigures::minPx },
    };
    return prices.value(column, nullptr);
}

std::optional<double> QuoteFigures::*totalOf(const QString &column)
{
    if (column == QLatin1String("TotalVolumeTrade"))
        return &QuoteFigures::totalVolumeTrade;
    if (column == QLatin1String("TotalValueTrade"))
        return &QuoteFigures::totalValueTrade;
    return nullptr;
}

// Numbers of orders are names; some sources write -1 if there is none.
bool canBeNegative(const QString &column)
{
    static const QStringList names {
        QStringLiteral("PreDelta"),    QStringLiteral("CurrDelta"),  QStringLiteral("TradeBuyNo"),
        QStringLiteral("TradeSellNo"), QStringLiteral("OrderIndex"), QStringLiteral("OrderNO"),
    };
    return names.contains(column);
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

std::optional<RecordingKind> CsvRecording::kindOfName(const QString &name)
{
    for (int i = 0; i < RecordingKinds; ++i) {
        const auto kind = static_cast<RecordingKind>(i);
        if (name.startsWith(recordingKindInfo(kind).filePrefix))
            return kind;
    }
    return std::nullopt;
}

std::optional<CsvRecording::CellType> CsvRecording::cellType(const QString &column)
{
    static const QHash<QString, CellType> types = [] {
        QHash<QString, CellType> all;
        const auto add = [&all](CellType type, const char *names) {
            for (const QString &name : QString::fromLatin1(names).split(QLatin1Char(' ')))
                all.insert(name, type);
        };
        add(CellType::String, "MDDate MDTime Symbol TradingPhaseCode TradingDate OrderType OrderBSFlag");
        add(CellType::Double,
            "PreClosePx TotalVolumeTrade TotalValueTrade LastPx OpenPx ClosePx HighPx LowPx MaxPx MinPx "
            "TotalBidQty TotalOfferQty WeightedAvgBidPx WeightedAvgOfferPx PreOpenInterest PreSettlePrice "
            "OpenInterest SettlePrice PreDelta CurrDelta TradePrice TradeMoney OrderPrice");
        add(CellType::LongLong, "NumTrades TradeBuyNo TradeSellNo TradeQty OrderIndex OrderNO OrderQty");
        add(CellType::Int, "TradeType");
        add(CellType::IntOrString, "TradeBSFlag"); // digits or letters, depending on the source
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
    return known == types.constEnd() ? std::nullopt : std::optional<CellType>(*known);
}

bool CsvRecording::open(const QString &path, RecordingKind kind, const QString &date, QString *error)
{
    m_kind = kind;
    m_fileName = QFileInfo(path).fileName();
    m_wantedDate = date.toLatin1();
    m_nameDate = RecordedDates::ofName(m_fileName.section(QLatin1Char('.'), 0, 0));
    if (!m_reader.open(path, error))
        return false;
    QVector<QString> keys;
    const QVector<QString> &header = m_reader.header();
    for (int i = 0; i < header.size(); ++i) {
        const QString &name = header.at(i);
        const std::optional<CellType> type = cellType(name);
        if (!type)
            continue;
        keys.append(name);
        m_columns.append({ i, *type, canBeNegative(name), priceOf(name), totalOf(name) });
    }
    m_layout = LxRowLayout::create(keys);
    m_dateCell = m_reader.column(QStringLiteral("MDDate"));
    m_timeCell = m_reader.column(QStringLiteral("MDTime"));
    m_symbolCell = m_reader.column(QStringLiteral("Symbol"));
    if (m_dateCell < 0 || m_timeCell < 0 || m_symbolCell < 0) {
        *error = translated("%1: the column MDDate, MDTime or Symbol is missing").arg(path);
        return false;
    }
    return true;
}

bool CsvRecording::next(const BrokenRowReport &report, QString *error)
{
    while (m_reader.next(error)) {
        bool wanted = true;
        QString reason;
        const bool valid = readRow(m_reader.cells(), &wanted, &reason);
        if (!wanted)
            continue;
        if (valid)
            return true;
        report(m_fileName, m_reader.line(), reason);
    }
    return false;
}

bool CsvRecording::readRow(const QVector<QByteArray> &cells, bool *wanted, QString *error)
{
    const QVector<QString> &header = m_reader.header();
    const auto broken = [error](const QString &reason) {
        *error = reason;
        return false;
    };
    if (cells.size() != header.size())
        return broken(translated("%1 cells instead of %2").arg(cells.size()).arg(header.size()));
    const QByteArray &dateCell = cells.at(m_dateCell);
    const std::optional<QDate> date = Dates::parseCompactDate(dateCell);
    if (!date)
        return broken(translated("MDDate \"%1\" is not a date").arg(QString::fromUtf8(dateCell)));
    if (m_nameDate && date != m_nameDate) {
        return broken(translated("MDDate %1 in a recording of %2")
                          .arg(Dates::toCompactString(*date), Dates::toCompactString(*m_nameDate)));
    }
    if (!m_wantedDate.isEmpty() && dateCell != m_wantedDate) {
        *wanted = false;
        return true;
    }
    const QByteArray &timeCell = cells.at(m_timeCell);
    const std::optional<QTime> time = Dates::parseCompactTime(timeCell);
    if (!time)
        return broken(translated("MDTime \"%1\" is not a time").arg(QString::fromUtf8(timeCell)));
    const QString symbol = QString::fromUtf8(cells.at(m_symbolCell)); // empty, too, if it begins with a NUL
    if (symbol.isEmpty())
        return broken(translated("Symbol is missing"));

    m_row.quote = {};
    QVector<QVariant> values(m_columns.size());
    for (int i = 0; i < m_columns.size(); ++i) {
        const Column &column = m_columns.at(i);
        const QByteArray &cell = cells.at(column.cell);
        const CellState state = readCell(cell, column, &values[i]);
        if (state != CellState::Valid) {
            return broken((state == CellState::Negative ? translated("%1 \"%2\" is negative")
                                                        : translated("%1 \"%2\" is not a number"))
                              .arg(header.at(column.cell), QString::fromUtf8(cell)));
        }
    }
    if (m_row.quote.highPx > 0 && m_row.quote.highPx < m_row.quote.lowPx)
        return broken(translated("HighPx %1 is below LowPx %2").arg(m_row.quote.highPx).arg(m_row.quote.lowPx));

    m_row.date = *date;
    m_row.time = *time;
    m_row.symbol = symbol;
    m_row.body = LxPackedBody::ofRow({ m_layout, std::move(values) }).toVariant();
    return true;
}

CsvRecording::CellState CsvRecording::readCell(const QByteArray &cell, const Column &column, QVariant *value)
{
    if (cell.isEmpty()) {
        *value = QString::fromLatin1("");
        return CellState::Valid;
    }
    const auto stateOf = [&column](auto number) {
        return number < 0 && !column.canBeNegative ? CellState::Negative : CellState::Valid;
    };
    switch (column.type) {
    case CellType::String:
        *value = QString::fromUtf8(cell);
        return CellState::Valid;
    case CellType::Double: {
        double number = 0;
        if (!parse(cell, &number) || !std::isfinite(number))
            return CellState::NotANumber;
        if (column.price)
            m_row.quote.*column.price = number;
        if (column.total)
            m_row.quote.*column.total = number;
        *value = number;
        return stateOf(number);
    }
    case CellType::LongLong: {
        qint64 number = 0;
        const bool valid = parse(cell, &number);
        *value = number;
        return valid ? stateOf(number) : CellState::NotANumber;
    }
    case CellType::Int:
    case CellType::IntOrString: {
        int number = 0;
        const bool isInt = parse(cell, &number);
        *value = isInt ? QVariant(number) : QVariant(QString::fromUtf8(cell));
        return isInt || column.type == CellType::IntOrString ? CellState::Valid : CellState::NotANumber;
    }
    }
    return CellState::NotANumber;
}
