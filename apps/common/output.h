#pragma once

#include <QFile>
#include <QString>

/// Standard output, or a file in its place. finish() reports errors, so that a command need not check each write; it
/// may check isUsable() to stop early.
class Output
{
public:
    /// Standard output.
    Output();
    /// Writes to the file `path` instead, which is overwritten. An empty path means standard output. False, with the
    /// reason in `error`, if the file cannot be opened.
    bool open(const QString &path, QString *error);

    /// Writes immediately, in UTF-8. False if nothing more can be written.
    bool write(const QString &text);
    bool write(const QByteArray &bytes);

    /// False once nothing more can be written.
    bool isUsable() const { return m_error.isEmpty() && !m_readerLeft; }
    bool isStandardOutput() const { return m_file.fileName().isEmpty(); }
    /// False, with the reason in `error`, if something could not be written. It is not an error if the reader of a pipe
    /// has closed it.
    bool finish(QString *error);

private:
    void fail(int code);

    QFile m_file;
    bool m_readerLeft = false;
    QString m_error;
};
