#include "storeimportcommand.h"

#include "importer.h"

#include <QCommandLineParser>

#include <cstdio>

#include <unistd.h>

namespace {

constexpr int BarWidth = 40;

void printLine(const QString &line)
{
    std::fputs(qUtf8Printable(line + QLatin1Char('\n')), stderr);
}

/// Tells on stderr how an import goes; with a bar where that is a terminal.
class ImportConsole final : public ImportObserver
{
public:
    void progress(const QString &file, int percent) override
    {
        if (!m_terminal)
            return;
        const int done = BarWidth * percent / 100;
        const QString bar = QString(done, QLatin1Char('#')) + QString(BarWidth - done, QLatin1Char('.'));
        std::fputs(qUtf8Printable(QStringLiteral("\r%1 [%2] %3 %").arg(file, -24).arg(bar).arg(percent, 3)), stderr);
    }

    void brokenRow(const QString &file, qint64 line, const QString &reason) override
    {
        clearBar();
        printLine(QStringLiteral("%1:%2: %3; skipped").arg(file).arg(line).arg(reason));
    }

    void fileDone(const QString &file, qint64 rows, qint64 broken) override
    {
        clearBar();
        const QString skipped = broken > 0 ? QStringLiteral(", %1 broken ones skipped").arg(broken) : QString();
        printLine(QStringLiteral("%1: %2 rows%3").arg(file).arg(rows).arg(skipped));
    }

    void clearBar()
    {
        if (m_terminal)
            std::fputs("\r\x1b[K", stderr);
    }

private:
    const bool m_terminal = ::isatty(STDERR_FILENO) == 1;
};

} // namespace

int runImportCommand(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Builds the store STORE, from which the service answers requests, out of the recorded data in the "
        "folder DIR.\nA store that stands there already is replaced once the new one is complete."));
    const QCommandLineOption help({ QStringLiteral("h"), QStringLiteral("help") }, QStringLiteral("Shows this help."));
    parser.addOption(help);
    parser.addPositionalArgument(QStringLiteral("import"), QStringLiteral("This command."));
    parser.addPositionalArgument(QStringLiteral("DIR"), QStringLiteral("Folder of CSV files, plain or .gz."));
    parser.addPositionalArgument(QStringLiteral("STORE"), QStringLiteral("File to write."));

    const auto usageError = [](const QString &reason) {
        printLine(QStringLiteral("marketd import: %1\nTry 'marketd import --help'.").arg(reason));
        return 2;
    };
    if (!parser.parse(arguments))
        return usageError(parser.errorText());
    if (parser.isSet(help)) {
        std::fputs(qUtf8Printable(parser.helpText()), stdout);
        return 0;
    }
    const QStringList positional = parser.positionalArguments();
    if (positional.size() != 3)
        return usageError(QStringLiteral("DIR and STORE are needed, and nothing else"));

    ImportConsole console;
    Importer importer(positional.at(1), positional.at(2), &console);
    const Importer::Result result = importer.run();
    if (result == Importer::Imported)
        return 0;
    console.clearBar();
    printLine(QStringLiteral("marketd import: %1").arg(importer.errorString()));
    return result == Importer::BadInput ? 2 : 1;
}
