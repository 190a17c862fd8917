#include "terminal.h"

#include <QCoreApplication>
#include <QMutex>
#include <QTextBoundaryFinder>

#include <unicode/uchar.h>

#include <algorithm>
#include <cstdio>

#include <sys/ioctl.h>
#include <unistd.h>

namespace {

QMutex errorMutex; // guards the next two
bool errorsAreHeld = false;
QString heldErrors;

winsize windowSize()
{
    winsize size {};
    ioctl(STDOUT_FILENO, TIOCGWINSZ, &size);
    return size;
}

bool isWide(uint character)
{
    const int width = u_getIntPropertyValue(static_cast<UChar32>(character), UCHAR_EAST_ASIAN_WIDTH);
    return width == U_EA_WIDE || width == U_EA_FULLWIDTH;
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

int Terminal::width(const QString &text)
{
    int count = 0;
    for (uint character : text.toUcs4())
        count += isWide(character) ? 2 : 1;
    return count;
}

QString Terminal::fitted(const QString &text, int columns)
{
    QString cut = printable(text);
    const int room = qAbs(columns);
    while (width(cut) > room)
        cut.chop(cut.size() > 1 && cut.at(cut.size() - 1).isLowSurrogate() ? 2 : 1);
    const QString blanks(room - width(cut), QLatin1Char(' '));
    return columns < 0 ? blanks + cut : cut + blanks;
}

QStringList Terminal::wrapped(const QString &text, int columns)
{
    QStringList lines;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Line, text);
    int start = 0; // of the line
    int last = 0; // the last position at which the line may end
    for (int next = finder.toNextBoundary(); next >= 0; next = finder.toNextBoundary()) {
        if (width(text.mid(start, next - start).trimmed()) > columns && last > start) {
            lines.append(text.mid(start, last - start).trimmed());
            start = last;
        }
        last = next;
    }
    lines.append(text.mid(start).trimmed());
    return lines;
}

QString Terminal::printable(const QString &text)
{
    const auto isControl = [](QChar character) { return character.category() == QChar::Other_Control; };
    if (std::none_of(text.cbegin(), text.cend(), isControl))
        return text;
    QString escaped;
    for (const QChar character : text)
        escaped += isControl(character) ? QStringLiteral("\\x%1").arg(character.unicode(), 2, 16, QLatin1Char('0'))
                                        : QString(character);
    return escaped;
}

void Terminal::err(const QString &text)
{
    QStringList lines = text.split(QLatin1Char('\n'));
    std::transform(lines.begin(), lines.end(), lines.begin(), printable);
    const QString safe = lines.join(QLatin1Char('\n'));
    QMutexLocker locker(&errorMutex);
    if (errorsAreHeld) {
        heldErrors += safe;
        return;
    }
    std::fputs(safe.toUtf8().constData(), stderr);
    std::fflush(stderr);
}

void Terminal::rewriteErrLine(const QString &text)
{
    QMutexLocker locker(&errorMutex);
    std::fputs(("\r\x1b[K" + printable(text).toUtf8()).constData(), stderr);
    std::fflush(stderr);
}

void Terminal::complain(const QString &reason)
{
    err(QStringLiteral("%1: %2\n").arg(QCoreApplication::applicationName(), reason));
}

void Terminal::holdErrors()
{
    QMutexLocker locker(&errorMutex);
    errorsAreHeld = true;
}

void Terminal::releaseErrors()
{
    QString held;
    {
        QMutexLocker locker(&errorMutex);
        errorsAreHeld = false;
        held.swap(heldErrors);
    }
    err(held);
}

QString Terminal::latestHeldError()
{
    QMutexLocker locker(&errorMutex);
    return heldErrors.trimmed().section(QLatin1Char('\n'), -1);
}
