#include "terminalscreen.h"

#include <QProcess>

namespace {

constexpr int PatienceMs = 60000;

} // namespace

TerminalScreen::TerminalScreen(int columns, int rows, const QStringList &arguments, const QString &environment)
{
    QString command =
        QStringLiteral("env -u NO_COLOR LC_ALL=C.UTF-8 %1 '%2'").arg(environment, QStringLiteral(LX_QUOTE_PROGRAM));
    for (const QString &argument : arguments)
        command += QStringLiteral(" '%1'").arg(argument);
    command += QStringLiteral("; echo exit code $?; sleep 1000");
    tmux({ QStringLiteral("-f"), QStringLiteral("/dev/null"), QStringLiteral("new-session"), QStringLiteral("-d"),
           QStringLiteral("-x"), QString::number(columns), QStringLiteral("-y"), QString::number(rows), command });
}

TerminalScreen::~TerminalScreen()
{
    tmux({ QStringLiteral("kill-server") });
}

void TerminalScreen::press(const QString &key)
{
    tmux({ QStringLiteral("send-keys"), key });
}

void TerminalScreen::resize(int columns, int rows)
{
    tmux({ QStringLiteral("resize-window"), QStringLiteral("-x"), QString::number(columns), QStringLiteral("-y"),
           QString::number(rows) });
}

QStringList TerminalScreen::lines() const
{
    QStringList all =
        QString::fromUtf8(tmux({ QStringLiteral("capture-pane"), QStringLiteral("-p") })).split(QLatin1Char('\n'));
    while (!all.isEmpty() && all.constLast().isEmpty())
        all.removeLast();
    return all;
}

QString TerminalScreen::status() const
{
    const QStringList all = lines();
    return all.isEmpty() ? QString() : all.constLast();
}

bool TerminalScreen::has(const char *text) const
{
    return lines().join(QLatin1Char('\n')).contains(QString::fromUtf8(text));
}

QStringList TerminalScreen::symbols() const
{
    QStringList all;
    for (const QString &text : lines()) {
        if (text.mid(6, 1) == QLatin1String("."))
            all.append(text.left(9));
    }
    return all;
}

QByteArray TerminalScreen::colours(const QByteArray &symbol) const
{
    const QByteArray all = tmux({ QStringLiteral("capture-pane"), QStringLiteral("-p"), QStringLiteral("-e") });
    for (const QByteArray &line : all.split('\n')) {
        if (line.contains(symbol))
            return line;
    }
    return QByteArray();
}

QByteArray TerminalScreen::tmux(const QStringList &arguments) const
{
    QProcess process;
    process.start(QStringLiteral("tmux"), QStringList { QStringLiteral("-S"), m_socket } + arguments);
    process.waitForFinished(PatienceMs);
    return process.readAllStandardOutput();
}
