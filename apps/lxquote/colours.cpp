#include "colours.h"

#include <terminal.h>

#include <QCoreApplication>

namespace {

QString current; // the scheme

} // namespace

void Colours::addOption(Options *common)
{
    // https://no-color.org: any value but an empty one
    current = qEnvironmentVariableIsEmpty("NO_COLOR") ? QStringLiteral("cn") : QStringLiteral("none");
    common->beginGroup(QCoreApplication::translate("Colours", "Terminal options"));
    common->addChoice(QStringLiteral("colors"), QStringLiteral("SCHEME"),
                      { QStringLiteral("cn"), QStringLiteral("us"), QStringLiteral("none") }, &current,
                      QCoreApplication::translate("Colours", "Red rises (cn), green rises (us), or no colours"));
}

bool Colours::areWanted()
{
    return current != QLatin1String("none");
}

QString Colours::apply(const QString &text, Colour colour)
{
    if (colour == None || !areWanted() || !Terminal::isInteractive())
        return text;
    const char *code = "1";
    if (colour == Red)
        code = "31";
    else if (colour == Green)
        code = "32";
    else if (colour == Dim)
        code = "2";
    return QStringLiteral("\x1b[%1m%2\x1b[0m").arg(QLatin1String(code), text);
}

Colours::Colour Colours::ofChange(double change)
{
    if (change == 0)
        return None;
    return (change > 0) == (current == QLatin1String("cn")) ? Red : Green;
}
