#pragma once

#include <lxutils/lxutils_export.h>

#include <QByteArray>
#include <QString>
#include <QVector>

#include <memory>

/// Streams the records of a UTF-8 CSV file, plain or gzip, one at a time.
///
/// The first record is the header. Memory stays bounded by one block of the file, whatever its size.
///
///     CsvReader reader;
///     if (!reader.open(path)) fail(reader.errorString());
///     while (reader.next()) use(reader.cells(), reader.line());
///     if (reader.hasError()) fail(reader.errorString());
///
/// Not thread-safe; use from one thread at a time.
class LXUTILS_EXPORT CsvReader
{
public:
    CsvReader();
    ~CsvReader();
    CsvReader(const CsvReader &) = delete;
    CsvReader &operator=(const CsvReader &) = delete;

    /// Opens `path` and reads the header. False with errorString() set when the file cannot be read or is empty.
    bool open(const QString &path);

    /// Names of the columns, in file order.
    const QVector<QString> &header() const;
    /// Position of the column `name`, or -1.
    int column(const QString &name) const;

    /// Reads the next record. False at the end of the file and on a read error (hasError()).
    bool next();
    /// Cells of the current record, as many as the record has. Valid until the next call of next().
    const QVector<QByteArray> &cells() const;
    /// Line at which the current record begins, counted from 1.
    qint64 line() const;

    bool hasError() const;
    QString errorString() const;

private:
    struct Private;
    std::unique_ptr<Private> d;
};
