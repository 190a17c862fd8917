#pragma once

#include <QByteArray>
#include <QProcess>
#include <QStringList>

/// A program that runs beside the test, whose event loop takes in what it writes: for QTRY_VERIFY. Killed by the
/// destructor.
class RunningProgram
{
public:
    RunningProgram(const QString &path, const QStringList &arguments);
    ~RunningProgram();
    RunningProgram(const RunningProgram &) = delete;
    RunningProgram &operator=(const RunningProgram &) = delete;

    const QByteArray &out() const { return m_out; }
    const QByteArray &err() const { return m_err; }
    int lines() const { return m_out.count('\n'); }

    void signal(int number);
    bool isRunning() const { return m_process.state() != QProcess::NotRunning; }
    /// Waits for its end; -1 if it crashed or does not end.
    int exitCode();

private:
    QProcess m_process;
    QByteArray m_out;
    QByteArray m_err;
};
