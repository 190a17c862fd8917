#pragma once

#include <options.h>

#include <QString>

/// Colours of the output on a terminal.
namespace Colours {

enum Colour { None, Red, Green, Dim, Bold };

/// Adds --colors: "cn" (red rises, the custom of the Chinese markets), "us" (green rises) or "none". The default is
/// "none" if the environment has NO_COLOR, else "cn".
void addOption(Options *common);

/// False if the user does not want colours, even on a terminal.
bool areWanted();
/// Colours `text`, if standard output is a terminal and colours are wanted.
QString apply(const QString &text, Colour colour);
Colour ofChange(double change);

} // namespace Colours
