#include "importcommand.h"

#include "brokenrowlog.h"
#include "importer.h"

#include <commandline.h>
#include <terminal.h>

#include <QCoreApplication>

#include <unistd.h>

namespace {

constexpr int BarWidth = 40;

/// Reports the progress of an import on standard error, with a progress bar on a terminal.
class ImportConsole final : public ImportObserver
{
    Q_DECLARE_TR_FUNCTIONS(ImportConsole)

public:
    void progress(const QString &file, int percent) override
    {
        if (!m_terminal)
            return;
        const int done = BarWidth * percent / 100;
        const QString bar = QString(done, QLatin1Char('#')) + QString(BarWidth - done, QLatin1Char('.'));
        Terminal::rewriteErrLine(QStringLiteral("%1 [%2] %3 %").arg(file, -24).arg(bar).arg(percent, 3));
    }

    void brokenRow(const QString &file, qint64 line, const QString &reason) override
    {
        m_brokenRows.add(file, line, reason);
    }

    void fileDone(const QString &file, qint64 rows) override
    {
        clearBar();
        Terminal::err(tr("%1: %2 rows").arg(file).arg(rows) + QLatin1Char('\n'));
    }

    /// Writes what is left to be said of an import that has failed.
    void fail()
    {
        clearBar();
        m_brokenRows.writeCounts();
    }

private:
    void clearBar()
    {
        if (m_terminal)
            Terminal::rewriteErrLine(QString());
    }

    const bool m_terminal = ::isatty(STDERR_FILENO) == 1;
    BrokenRowLog m_brokenRows { [this](const QString &line) {
        clearBar();
        Terminal::err(line + QLatin1Char('\n'));
    } };
};

class ImportCommand
{
    Q_DECLARE_TR_FUNCTIONS(ImportCommand)

public:
    explicit ImportCommand(Options options)
    {
        options.addArgument(QStringLiteral("DIR"), Options::One, &m_folder, tr("Folder of CSV files, plain or .gz"));
        options.addArgument(QStringLiteral("STORE"), Options::One, &m_store, tr("File to write"));
    }

    ExitCode run(QString *error)
    {
        ImportConsole console;
        Importer importer(m_folder.constFirst(), m_store.constFirst(), &console);
        if (!importer.findFiles(error))
            return ExitUsage;
        if (importer.run(error))
            return ExitOk;
        console.fail();
        return ExitFailure;
    }

    static CommandLine::Command description()
    {
        return { QStringLiteral("import"), tr("Build a store from a folder of recorded data"),
                 tr("The service answers requests from the store. An existing store is replaced once the new one is "
                    "complete; it stays unchanged if a file has broken rows.\n"
                    "Exit codes: 0; 1 if a file is invalid or the store cannot be written; 2 for a usage error, or if "
                    "DIR is not a folder of recorded data.") };
    }

private:
    QStringList m_folder;
    QStringList m_store;
};

} // namespace

void addImportCommand(CommandLine *commandLine)
{
    commandLine->addCommand<ImportCommand>(ImportCommand::description());
}
