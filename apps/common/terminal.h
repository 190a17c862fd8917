#pragma once

#include <QString>
#include <QStringList>

/// The terminal: its size, the width of text, and standard error.
namespace Terminal {

/// True if standard output is a terminal that supports cursor control.
bool isInteractive();
/// Columns and rows of the terminal; 80 x 24 if its size is unknown.
int columns();
int rows();

/// The number of columns that `text` occupies; Chinese characters occupy two.
int width(const QString &text);
/// printable() text padded with blanks, or truncated, to `columns`. If the number is negative, the text is
/// right-aligned.
QString fitted(const QString &text, int columns);
/// `text` as lines of at most `columns`, broken according to the rules of Unicode.
QStringList wrapped(const QString &text, int columns);

/// `text` with its control characters, which the terminal would obey, in the form \\x1b.
QString printable(const QString &text);

/// Writes to standard error in UTF-8, immediately unless errors are held; control characters other than line ends are
/// printable(). Any thread.
void err(const QString &text);
/// Replaces the current line of the terminal, which must be that of standard error, by printable() text.
void rewriteErrLine(const QString &text);
/// Writes a line "PROGRAM: REASON" to standard error.
void complain(const QString &reason);

/// Holds back the output of err() while something else uses the terminal, until releaseErrors().
void holdErrors();
void releaseErrors();
/// The last line that is held back; empty if there is none.
QString latestHeldError();

} // namespace Terminal
