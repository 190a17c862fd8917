#include "terminal.h"

#include <QByteArray>
#include <QVector>

#include <cstdio>

#include <sys/ioctl.h>
#include <unistd.h>

namespace {

bool coloursWanted()
{
    // https://no-color.org: any value but an empty one
    static const bool wanted = Terminal::isInteractive() && qgetenv("NO_COLOR").isEmpty();
    return wanted;
}

winsize windowSize()
{
    winsize size {};
    ioctl(STDOUT_FILENO, TIOCGWINSZ, &size);
    return size;
}

bool isWide(uint character)
{
    return (character >= 0x1100 && character <= 0x115f) || (character >= 0x2e80 && character <= 0xa4cf)
            || (character >= 0xac00 && character <= 0xd7a3) || (character >= 0xf900 && character <= 0xfaff)
            || (character >= 0xfe30 && character <= 0xfe6f) || (character >= 0xff00 && character <= 0xff60)
            || (character >= 0xffe0 && character <= 0xffe6) || (character >= 0x20000 && character <= 0x3fffd);
}

void write(FILE *file, const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), file);
    std::fflush(file);
}

} // namespace

bool Terminal::isInteractive()
{
    return isatty(STDOUT_FILENO) != 0 && qgetenv("TERM") != "dumb";
}

int Terminal::columns()
{
    const int count = windowSize().ws_col;
    return count > 0 ? count : 80;
}

int Terminal::rows()
{
    const int count = windowSize().ws_row;
    return count > 0 ? count : 24;
}

QString Terminal::coloured(const QString &text, Colour colour)
{
    if (colour == Colour::None || !coloursWanted())
        return text;
    const char *code = "1";
    if (colour == Colour::Red)
        code = "31";
    else if (colour == Colour::Green)
        code = "32";
    else if (colour == Colour::Dim)
        code = "2";
    return QStringLiteral("\x1b[%1m%2\x1b[0m").arg(QLatin1String(code), text);
}

Terminal::Colour Terminal::colourOfChange(double change)
{
    if (change > 0)
        return Colour::Red;
    return change < 0 ? Colour::Green : Colour::None;
}

int Terminal::width(const QString &text)
{
    int count = 0;
    for (uint character : text.toUcs4())
        count += isWide(character) ? 2 : 1;
    return count;
}

QString Terminal::fitted(const QString &text, int columns)
{
    QString cut = text;
    const int room = qAbs(columns);
    while (width(cut) > room)
        cut.chop(cut.size() > 1 && cut.at(cut.size() - 1).isLowSurrogate() ? 2 : 1);
    const QString blanks(room - width(cut), QLatin1Char(' '));
    return columns < 0 ? blanks + cut : cut + blanks;
}

void Terminal::out(const QString &text)
{
    write(stdout, text);
}

void Terminal::err(const QString &text)
{
    write(stderr, text);
}
