#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>

/// The client program, run as users run it.
namespace Program {

struct Result
{
    int exitCode = -1; ///< -1: it crashed or hung
    QByteArray out;
    QByteArray err;

    QList<QByteArray> lines() const; ///< of `out`, without the last line end
};

/// Runs it with its output in pipes, or with standard output in `outputFile`.
Result run(const QStringList &arguments, const QString &outputFile = QString());
/// Starts it; for tests that act on the running program.
void start(QProcess *program, const QStringList &arguments);
/// Waits for a program that start() began.
Result finish(QProcess *program);

} // namespace Program
