#pragma once

#include <QByteArray>
#include <QProcess>
#include <QStringList>

/// A program that runs in parallel with the test. The test's event loop reads its output, so QTRY_VERIFY can wait for
/// output. The destructor kills the program.
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
    /// Waits for the end of the program; -1 if it crashed or does not end.
    int exitCode();

private:
    QProcess m_process;
    QByteArray m_out;
    QByteArray m_err;
};
