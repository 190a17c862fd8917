#include "program.h"

#include <QVector>

#include <cerrno>

#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int PatienceMs = 60000;

const QString path = QStringLiteral(LX_QUOTE_PROGRAM);

} // namespace

QList<QByteArray> Program::Result::lines() const
{
    QList<QByteArray> all = out.split('\n');
    if (all.constLast().isEmpty())
        all.removeLast();
    return all;
}

Program::Result Program::run(const QStringList &arguments)
{
    QProcess program;
    start(&program, arguments);
    return finish(&program);
}

void Program::start(QProcess *program, const QStringList &arguments)
{
    program->start(path, arguments);
}

Program::Result Program::finish(QProcess *program)
{
    Result result;
    if (program->waitForFinished(PatienceMs) && program->exitStatus() == QProcess::NormalExit)
        result.exitCode = program->exitCode();
    result.out = program->readAllStandardOutput();
    result.err = program->readAllStandardError();
    return result;
}

Program::Result Program::runOnTerminal(const QStringList &arguments, const QList<QByteArray> &environment)
{
    // Everything is prepared before the fork: little may be done after it.
    QList<QByteArray> texts { path.toLocal8Bit() };
    for (const QString &argument : arguments)
        texts.append(argument.toLocal8Bit());
    QVector<char *> argv;
    for (QByteArray &text : texts)
        argv.append(text.data());
    argv.append(nullptr);
    QList<QByteArray> variables { "TERM=xterm" };
    for (char **variable = environ; *variable; ++variable) {
        const QByteArray text(*variable);
        if (!text.startsWith("TERM=") && !text.startsWith("NO_COLOR="))
            variables.append(text);
    }
    variables += environment;
    QVector<char *> envp;
    for (QByteArray &variable : variables)
        envp.append(variable.data());
    envp.append(nullptr);

    const winsize size { 24, 120, 0, 0 };
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, &size);
    if (child == 0) {
        execve(argv.first(), argv.data(), envp.data());
        _exit(127);
    }
    Result result;
    if (child < 0)
        return result;
    char block[4096];
    ssize_t count = 0;
    // Reading fails with EIO when the program has closed the terminal.
    while ((count = read(terminal, block, sizeof block)) > 0 || (count < 0 && errno == EINTR)) {
        if (count > 0)
            result.out.append(block, static_cast<int>(count));
    }
    close(terminal);
    int status = 0;
    if (waitpid(child, &status, 0) == child && WIFEXITED(status))
        result.exitCode = WEXITSTATUS(status);
    return result;
}
