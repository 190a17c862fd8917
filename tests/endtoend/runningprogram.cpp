#include "runningprogram.h"

#include <QtTest>

#include <csignal>

#include <sys/types.h>

namespace {

constexpr int PatienceMs = 60000;

} // namespace

RunningProgram::RunningProgram(const QString &path, const QStringList &arguments)
{
    QObject::connect(&m_process, &QProcess::readyReadStandardOutput, &m_process,
                     [this] { m_out += m_process.readAllStandardOutput(); });
    QObject::connect(&m_process, &QProcess::readyReadStandardError, &m_process,
                     [this] { m_err += m_process.readAllStandardError(); });
    m_process.start(path, arguments);
}

RunningProgram::~RunningProgram()
{
    m_process.kill();
    m_process.waitForFinished(PatienceMs);
}

void RunningProgram::signal(int number)
{
    ::kill(static_cast<pid_t>(m_process.processId()), number);
}

int RunningProgram::exitCode()
{
    // The event loop reads what the other programs of the test write meanwhile.
    if (!QTest::qWaitFor([this] { return !isRunning(); }, PatienceMs))
        return -1;
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}
