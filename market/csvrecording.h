#pragma once

#include "csvreader.h"

#include <lxmsg/rowlayout.h>

#include <QDate>
#include <QString>
#include <QTime>
#include <QVariant>
#include <QVector>

#include <functional>
#include <optional>

/// The kinds of records that are recorded, in the order in which summaries list them.
enum class RecordingKind { StockQuote, IndexQuote, FutureQuote, Transaction, Order };
constexpr int RecordingKinds = 5;

/// The names of a kind of record in file names, on the bus and in summaries.
struct RecordingKindInfo
{
    RecordingKind kind;
    QString filePrefix;
    QString topic;
    QString name;
};

const RecordingKindInfo &recordingKindInfo(RecordingKind kind);

/// Receives the file name, line and reason of a row that cannot be published.
using BrokenRowReport = std::function<void(const QString &file, qint64 line, const QString &reason)>;

/// The figures of a quote that the service uses in calculations. A price that the row lacks is 0.
struct QuoteFigures
{
    double preClosePx = 0;
    double lastPx = 0;
    double openPx = 0;
    double highPx = 0;
    double lowPx = 0;
    double maxPx = 0;
    double minPx = 0;
    std::optional<double> totalVolumeTrade;
    std::optional<double> totalValueTrade;
};

/// Streams the rows of one recording, a CSV file whose columns are named after the fields of its records.
///
/// A cell is converted to a string, an int, a 64-bit int or a double, depending on the name of its column; an empty
/// cell becomes an empty string. Columns with other names are ignored. A row is broken if a price, quantity or amount
/// is negative, or the highest price of a quote is below the lowest. Not thread-safe.
class CsvRecording
{
public:
    /// One row, ready to be published.
    struct Row
    {
        QDate date;
        QTime time;
        QString symbol;
        QuoteFigures quote; ///< set for quotes only
        QVariant body;
    };

    /// The kind of recording in a file of this name, with or without its extension; absent for other files.
    static std::optional<RecordingKind> kindOfName(const QString &name);

    /// Opens `path`. Only rows of `date` (yyyyMMdd) are read, unless it is empty. If the file name contains a date
    /// (RecordedDates::ofName()), rows of another date are broken. False, with the reason in `error`, on failure.
    bool open(const QString &path, RecordingKind kind, const QString &date, QString *error);

    /// Reads the next valid row; broken ones are reported. False at the end, or, with the reason in
    /// `error`, if the file cannot be read further.
    bool next(const BrokenRowReport &report, QString *error);
    const Row &row() const { return m_row; }
    RecordingKind kind() const { return m_kind; }

private:
    enum class CellType { String, Int, LongLong, Double, IntOrString };
    enum class CellState { Valid, NotANumber, Negative };
    struct Column
    {
        int cell;
        CellType type;
        bool canBeNegative;
        double QuoteFigures::*price; // or null
        std::optional<double> QuoteFigures::*total; // or null
    };

    static std::optional<CellType> cellType(const QString &column);
    /// Reads the cells into m_row. Sets `wanted` to false if the row has another date than requested. False, with the
    /// reason in `error`, if the row is broken.
    bool readRow(const QVector<QByteArray> &cells, bool *wanted, QString *error);
    CellState readCell(const QByteArray &cell, const Column &column, QVariant *value);

    CsvReader m_reader;
    QString m_fileName;
    RecordingKind m_kind = RecordingKind::StockQuote;
    QByteArray m_wantedDate;
    std::optional<QDate> m_nameDate;
    QVector<Column> m_columns;
    LxRowLayout::Pointer m_layout;
    int m_dateCell = -1;
    int m_timeCell = -1;
    int m_symbolCell = -1;
    Row m_row;
};
