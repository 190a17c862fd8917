#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

#include <memory>

/// Streams the records of a UTF-8 CSV file, plain or gzip, one at a time.
///
/// The first record is the header. Quotation marks must be balanced and enclose whole cells, and no record may be
/// longer than MaxRecordSize. Memory is therefore bounded, whatever the size of the file, compressed or not.
///
///     CsvReader reader;
///     if (!reader.open(path, &error)) return false;
///     while (reader.next(&error)) use(reader.cells(), reader.line());
///     if (!error.isEmpty()) return false;
///
/// Errors name the file and, if applicable, the line. Not thread-safe.
class CsvReader
{
public:
    static constexpr int MaxRecordSize = 1024 * 1024; ///< bytes

    CsvReader();
    ~CsvReader();
    CsvReader(const CsvReader &) = delete;
    CsvReader &operator=(const CsvReader &) = delete;

    /// Opens `path` and reads the header. False, with the reason in `error`, if the file cannot be read or is empty.
    bool open(const QString &path, QString *error);

    /// The path given to open().
    QString path() const;
    /// Names of the columns, in file order.
    const QVector<QString> &header() const;
    /// Index of the column `name`, or -1.
    int column(const QString &name) const;

    /// Reads the next record. False at the end of the file; false with the reason in `error` if the file cannot be read
    /// further.
    bool next(QString *error);
    /// Cells of the current record, as many as the record has. Valid until the next call of next().
    const QVector<QByteArray> &cells() const;
    /// Line at which the current record begins, counted from 1.
    qint64 line() const;

private:
    struct Private;
    std::unique_ptr<Private> d;
};
