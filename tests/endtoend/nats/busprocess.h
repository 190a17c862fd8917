#pragma once

#include <QByteArray>
#include <QMap>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <csignal>

#include <sys/prctl.h>
#include <sys/types.h>

/// Controls a process on a bus; buspeer.cpp describes the commands. The process is killed if the test crashes.
class BusProcess
{
public:
    BusProcess()
    {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(QStringLiteral(LX_BUS_PEER), QStringList());
        if (!m_process.waitForStarted(PatienceMs))
            qFatal("cannot start %s", LX_BUS_PEER);
    }
    explicit BusProcess(const QString &busUrl, const QString &options = QString()) : BusProcess()
    {
        if (call(QStringLiteral("start %1 %2").arg(busUrl, options)) != QLatin1String("ok"))
            qFatal("no bus at %s", qPrintable(busUrl));
    }
    ~BusProcess()
    {
        m_process.kill();
        m_process.waitForFinished(PatienceMs);
    }

    /// Executes a command and returns the answer.
    QString call(const QString &line)
    {
        send(line);
        return answer();
    }
    /// Starts a command; answer() waits for its end.
    void send(const QString &line)
    {
        m_process.write(line.toUtf8() + '\n');
        while (m_process.bytesToWrite() > 0 && m_process.waitForBytesWritten(PatienceMs)) { }
    }
    QString answer()
    {
        while (!m_process.canReadLine()) {
            if (!m_process.waitForReadyRead(PatienceMs))
                return QStringLiteral("no answer");
        }
        return QString::fromUtf8(m_process.readLine()).trimmed();
    }
    /// Ends it; its exit code, or -1 if it crashed or hung. Under sanitizers a leak is an error, too.
    int quit()
    {
        send(QStringLiteral("quit"));
        const bool ended = m_process.waitForFinished(PatienceMs) && m_process.exitStatus() == QProcess::NormalExit;
        return ended ? m_process.exitCode() : -1;
    }
    void signal(int number) { ::kill(static_cast<pid_t>(m_process.processId()), number); }

    struct Heard
    {
        int first = 0;
        int last = 0;
        int count = 0;
        bool inOrder = true;
    };
    /// What the client `name` has received, by symbol.
    QMap<QString, Heard> heard(const QString &name)
    {
        QMap<QString, Heard> all;
        const QStringList texts = call(QStringLiteral("heard ") + name).split(QLatin1Char(' '), Qt::SkipEmptyParts);
        for (const QString &text : texts) {
            // "600519.SH:1-17/16!"
            const QStringList numbers = text.section(QLatin1Char(':'), -1)
                                            .remove(QLatin1Char('!'))
                                            .replace(QLatin1Char('/'), QLatin1Char('-'))
                                            .split(QLatin1Char('-'));
            all.insert(text.section(QLatin1Char(':'), 0, -2),
                       { numbers.value(0).toInt(), numbers.value(1).toInt(), numbers.value(2).toInt(),
                         !text.endsWith(QLatin1Char('!')) });
        }
        return all;
    }
    /// What its bus has dropped, by reason.
    QMap<QString, int> dropped()
    {
        QMap<QString, int> all;
        const QStringList texts = call(QStringLiteral("dropped")).split(QLatin1Char(' '), Qt::SkipEmptyParts);
        for (const QString &text : texts)
            all.insert(text.section(QLatin1Char(':'), 0, 0), text.section(QLatin1Char(':'), 1).toInt());
        return all;
    }

private:
    static constexpr int PatienceMs = 40000; // more than its own

    class Child final : public QProcess
    {
        void setupChildProcess() override { ::prctl(PR_SET_PDEATHSIG, SIGKILL); }
    };
    Child m_process;
};
