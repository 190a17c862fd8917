#include "program.h"

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

Program::Result Program::run(const QStringList &arguments, const QString &outputFile)
{
    QProcess program;
    if (!outputFile.isEmpty())
        program.setStandardOutputFile(outputFile);
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
