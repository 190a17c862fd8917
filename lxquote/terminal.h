#pragma once

#include <QString>

/// What the program needs of a terminal.
namespace Terminal {

enum class Colour { None, Red, Green, Dim, Bold };

/// True if standard output is a terminal that can be drawn on.
bool isInteractive();
/// Columns and rows of the terminal; 80 x 24 if it does not tell.
int columns();
int rows();

/// Colours `text`, if output goes to a terminal and NO_COLOR is not set.
QString coloured(const QString &text, Colour colour);
/// Red for a rise, green for a fall, as is the custom of the Chinese markets.
Colour colourOfChange(double change);

/// Columns that `text` takes; Chinese characters take two.
int width(const QString &text);
/// `text` filled with blanks, or cut, to `columns`. A negative number puts the blanks in front.
QString fitted(const QString &text, int columns);

/// Writes to standard output or standard error as UTF-8, at once.
void out(const QString &text);
void err(const QString &text);

} // namespace Terminal
