#pragma once

#include <lxmsg/rowlayout.h>
#include <lxutils/csvreader.h>

#include <QString>
#include <QVariant>
#include <QVector>

#include <functional>

/// The kinds of records that are recorded, in the order in which summaries list them.
enum class RecordingKind { StockQuote, IndexQuote, FutureQuote, Transaction, Order };
constexpr int RecordingKinds = 5;

/// What a kind is called in file names, on the bus and in summaries.
struct RecordingKindInfo
{
    RecordingKind kind;
    QString filePrefix;
    QString topic;
    QString name;
};

const RecordingKindInfo &recordingKindInfo(RecordingKind kind);

/// A row that cannot be published: file name, line and reason.
using BrokenRowReport = std::function<void(const QString &file, qint64 line, const QString &reason)>;

/// Streams the rows of one recording, a CSV file whose columns are named as the fields of its records.
///
/// Cells become text, int, 64-bit int or double by the name of their column; an empty cell becomes an empty text.
/// Columns that no record has are left out. Not thread-safe.
class CsvRecording
{
public:
    /// One row, ready to be published.
    struct Row
    {
        int day = 0;  ///< 0 for the first date in the file, 1 for the next, ...
        int time = 0; ///< milliseconds since midnight
        QString date; ///< yyyyMMdd
        QString symbol;
        QVariant body;
    };

    /// The kind of recording that a file of this name is. False if it is none.
    static bool kindOfFile(const QString &fileName, RecordingKind *kind);

    /// Opens `path`. Only rows of `date` are read, unless it is empty.
    bool open(const QString &path, RecordingKind kind, const QString &date, QString *error);

    /// Reads the next row that is whole; broken ones are reported and counted. False at the end and on a read error.
    bool next(const BrokenRowReport &report);
    const Row &row() const { return m_row; }
    RecordingKind kind() const { return m_kind; }

    /// Not empty after a read error.
    QString errorString() const;
    quint64 brokenRows() const { return m_brokenRows; }

private:
    enum class CellType { Text, Int, LongLong, Double, IntOrText };
    struct Column
    {
        int cell;
        CellType type;
    };

    static bool cellType(const QString &column, CellType *type);
    QString readRow(const QVector<QByteArray> &cells, bool *wanted);

    CsvReader m_reader;
    QString m_fileName;
    RecordingKind m_kind = RecordingKind::StockQuote;
    QByteArray m_wantedDate;
    QVector<Column> m_columns;
    LxRowLayout::Pointer m_layout;
    int m_dateCell = -1;
    int m_timeCell = -1;
    int m_symbolCell = -1;
    int m_symbolValue = -1;
    Row m_row;
    quint64 m_brokenRows = 0;
};
