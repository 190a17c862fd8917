#include "logging.h"

#include "terminal.h"

#include <QLoggingCategory>

namespace {

QString rules; // filter rules of the level and the muted categories

void printMessage(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    Terminal::err(qFormatLogMessage(type, context, message) + QLatin1Char('\n'));
}

} // namespace

const QStringList &Logging::levels()
{
    static const QStringList all { QStringLiteral("debug"), QStringLiteral("info"), QStringLiteral("warning"),
                                   QStringLiteral("critical") };
    return all;
}

void Logging::start(const QString &pattern)
{
    qSetMessagePattern(pattern);
    qInstallMessageHandler(printMessage);
}

void Logging::setLevel(const QString &level)
{
    rules.clear();
    for (const QString &lower : levels()) {
        if (lower == level)
            break;
        rules += QStringLiteral("*.%1=false\n").arg(lower);
    }
    if (rules.isEmpty())
        rules = QStringLiteral("lx.*.debug=true\n"); // off by default
    QLoggingCategory::setFilterRules(rules);
}

Logging::UncategorizedWarningsMuted::UncategorizedWarningsMuted()
{
    QLoggingCategory::setFilterRules(rules + QStringLiteral("default.warning=false\n"));
}

Logging::UncategorizedWarningsMuted::~UncategorizedWarningsMuted()
{
    QLoggingCategory::setFilterRules(rules);
}

void Logging::mute(const QString &category)
{
    rules += category + QStringLiteral("=false\n");
    QLoggingCategory::setFilterRules(rules);
}
