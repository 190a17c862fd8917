#pragma once

#include "record.h"

#include <options.h>
#include <output.h>

/// What --format, --fields, --limit and --output ask for.
struct OutputSettings
{
    QString format;
    QStringList fields; ///< empty: all
    int limit = 0; ///< 0: none
    QString path; ///< empty: standard output

    /// Adds the options. `formats` begins with the default; `fieldNames` are the fields that the command has.
    void addOptions(Options *options, const QStringList &formats, const QStringList &fieldNames);

    /// "table", "json", "ndjson" and "csv".
    static const QStringList &recordFormats();
};

/// Prints records: as a table when all are known, as a JSON array of objects, as one JSON object per line, or as CSV. A
/// JSON object begins with the "type" of its record. The records of a CSV file must have the same type, unless fields
/// are selected.
class RecordWriter
{
public:
    /// `output` outlives the writer.
    RecordWriter(Output *output, const OutputSettings &settings);

    /// False if no more records can be added: the limit has been reached, the output cannot be written, or a CSV file
    /// would contain a second type, which finish() reports as an error.
    bool add(const Record &record);
    /// Prints what is left. False, with the reason in `error`, if something was not printed.
    bool finish(QString *error);

    /// A record of a table as a line, for a table whose records come one by one; the first call of a writer precedes it
    /// with the headings. For settings with fields.
    QString tableLine(const Record &record);

    bool isFull() const { return m_settings.limit > 0 && m_count >= m_settings.limit; }

private:
    void addJson(const Record &record, bool onOneLine);
    void addCsv(const Record &record);
    QString table() const;
    Record selected(const Record &record) const;

    Output *const m_output;
    const OutputSettings m_settings;
    int m_count = 0;
    QStringList m_columns; // of CSV and of a table
    QString m_type; // of CSV
    QVector<Record> m_rows; // of a table
    QString m_error;
};
