#pragma once

#include <importer.h>

#include <QFile>
#include <QHash>
#include <QTemporaryDir>
#include <QVector>

#include <zlib.h>

/// A row of a CSV file by the names of its columns, unconverted.
using RecordedRow = QHash<QString, QByteArray>;

/// The rows of a file of recorded data, plain or .gz, read without any of the code under test. None of the files has
/// quoted cells.
inline QVector<RecordedRow> readRecordedRows(const QString &name)
{
    QString path = QStringLiteral(LX_DATA_DIR "/") + name;
    if (!QFile::exists(path))
        path += QStringLiteral(".gz");
    QByteArray text;
    const gzFile file = gzopen(QFile::encodeName(path).constData(), "rb");
    char block[65536];
    for (int count = 0; file && (count = gzread(file, block, sizeof block)) > 0;)
        text.append(block, count);
    gzclose(file);

    QVector<RecordedRow> rows;
    QList<QByteArray> names;
    for (const QByteArray &line : text.split('\n')) {
        const QList<QByteArray> cells = line.split(',');
        if (names.isEmpty()) {
            names = cells;
        } else if (!line.isEmpty()) {
            RecordedRow row;
            for (int i = 0; i < cells.size(); ++i)
                row.insert(QString::fromUtf8(names.at(i)), cells.at(i));
            rows.append(row);
        }
    }
    return rows;
}

inline QVector<RecordedRow> rowsOf(const QVector<RecordedRow> &rows, const QByteArray &symbol)
{
    QVector<RecordedRow> selected;
    for (const RecordedRow &row : rows) {
        if (row.value(QStringLiteral("Symbol")) == symbol)
            selected.append(row);
    }
    return selected;
}

/// Imports; returns the reason if that fails.
inline QString importError(const QString &folder, const QString &store, ImportObserver *observer = nullptr)
{
    QString error;
    return Importer(folder, store, observer).run(&error) ? QString() : error;
}

/// A folder of small CSV files for imports: of each file its header and the rows given.
class RecordingFolder
{
public:
    RecordingFolder()
    {
        write("securities", "Symbol,SecurityName,SecurityType\n");
        write("trading_days", "TradingDay\n");
        write("fundamentals", "Symbol,AsOfDate,TotalShare,ListedShare,NetAssets,DividentRate,EPS,PE,PB\n");
        write("valuation_daily", "Symbol,MDDate,ClosePx\n");
        write("corporate_actions",
              "Symbol,ExDate,CashPerShare,BonusPerShare,ConversionPerShare,RightsPerShare,RightsPrice\n");
        write("adjust_factors", "Symbol,ExDate,StepFactor\n");
        write("kline_daily", "Symbol,MDDate,OpenPx,HighPx,LowPx,ClosePx,PreClosePx,TotalVolumeTrade,TotalValueTrade\n");
        write("kline_1min",
              "Symbol,MDDate,MDTime,OpenPx,HighPx,LowPx,ClosePx,TotalVolumeTrade,TotalValueTrade,OpenInterest\n");
    }

    QString path() const { return m_folder.path(); }
    QString file(const char *table) const
    {
        return m_folder.filePath(QString::fromLatin1(table) + QStringLiteral(".csv"));
    }
    /// A place for a store beside the files.
    QString store() const { return m_folder.filePath(QStringLiteral("store")); }

    bool write(const char *table, const QByteArray &text) { return put(table, text, QIODevice::WriteOnly); }
    bool append(const char *table, const QByteArray &rows) { return put(table, rows, QIODevice::Append); }

private:
    bool put(const char *table, const QByteArray &text, QIODevice::OpenMode mode)
    {
        QFile output(file(table));
        return output.open(mode) && output.write(text) == text.size();
    }

    QTemporaryDir m_folder;
};

/// A store of the recorded data, built once.
class RecordedStore
{
public:
    RecordedStore() : m_error(importError(QStringLiteral(LX_DATA_DIR), path())) { }

    bool isValid() const { return m_error.isEmpty(); }
    QString errorString() const { return m_error; }
    QString path() const { return m_folder.filePath(QStringLiteral("store")); }

private:
    QTemporaryDir m_folder;
    const QString m_error;
};

inline QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
