#include "watchscreen.h"

#include "colours.h"
#include "figures.h"

#include <lxpinyin.h>
#include <terminal.h>

#include <QVector>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cwchar>

#include <langinfo.h>
#include <unistd.h>

#define NCURSES_NOMACROS
#include <curses.h>

namespace {

constexpr int RefreshMs = 50;
constexpr int TradesShown = 3;
constexpr int EscapeDelayMs = 25;

enum ColourPair : short { RedPair = 1, GreenPair = 2 };

attr_t attributesOf(Colours::Colour colour)
{
    if (colour == Colours::Red)
        return static_cast<attr_t>(COLOR_PAIR(RedPair));
    return colour == Colours::Green ? static_cast<attr_t>(COLOR_PAIR(GreenPair)) : A_NORMAL;
}

void print(int y, int x, const QString &text, attr_t attributes)
{
    attr_set(A_NORMAL, 0, nullptr);
    attron(static_cast<int>(attributes));
    mvaddwstr(y, x, text.toStdWString().c_str());
}

} // namespace

/// The terminal while ncurses controls it.
struct WatchScreen::Terminal
{
    SCREEN *const screen;

    explicit Terminal(SCREEN *opened) : screen(opened)
    {
        set_term(screen);
        cbreak();
        noecho();
        keypad(stdscr, true);
        nodelay(stdscr, true);
        set_escdelay(EscapeDelayMs);
        curs_set(0);
        if (Colours::areWanted() && has_colors()) {
            start_color();
            use_default_colors();
            init_pair(RedPair, COLOR_RED, -1);
            init_pair(GreenPair, COLOR_GREEN, -1);
        }
        ::Terminal::holdErrors();
    }
    ~Terminal()
    {
        endwin();
        delscreen(screen);
        ::Terminal::releaseErrors();
    }
};

std::unique_ptr<WatchScreen> WatchScreen::open(const QStringList &symbols)
{
    if (!isatty(STDIN_FILENO))
        return nullptr;
    // The output is in UTF-8 whatever the locale; ncurses needs to know.
    if (qstrcmp(nl_langinfo(CODESET), "UTF-8") != 0)
        std::setlocale(LC_CTYPE, "C.UTF-8");
    SCREEN *screen = newterm(nullptr, stdout, stdin);
    if (!screen)
        return nullptr;
    std::unique_ptr<WatchScreen> opened(new WatchScreen(symbols));
    opened->m_terminal = std::make_unique<Terminal>(screen);
    opened->draw();
    return opened;
}

WatchScreen::WatchScreen(const QStringList &symbols) : m_given(symbols), m_symbols(symbols)
{
    connect(&m_timer, &QTimer::timeout, this, &WatchScreen::refresh);
    m_timer.start(RefreshMs);
}

WatchScreen::~WatchScreen() = default;

void WatchScreen::update(const QuoteView &quote)
{
    m_quotes.insert(quote.symbol, quote);
    m_changed = true;
}

void WatchScreen::addTrade(const TradeView &trade)
{
    QList<TradeView> &trades = m_trades[trade.symbol];
    trades.append(trade);
    if (trades.size() > TradesShown)
        trades.removeFirst();
    m_changed = true;
}

void WatchScreen::setNote(const QString &key, const QString &text)
{
    m_notes.insert(key, text);
    m_changed = true;
}

void WatchScreen::setStatus(const QString &text)
{
    m_changed = m_changed || m_status != text;
    m_status = text;
}

QString WatchScreen::toText(int columns) const
{
    const QVector<WatchColumns::Column> fitting = WatchColumns::fitting(columns);
    QString lines = Colours::apply(WatchColumns::titles(fitting), Colours::Bold) + QLatin1Char('\n');
    for (const QString &symbol : m_symbols) {
        lines += WatchColumns::line(fitting, quoteOf(symbol)) + QLatin1Char('\n');
        for (const TradeView &trade : m_trades.value(symbol)) {
            const QString line = WatchColumns::plainLine(trade, columns);
            lines += Colours::apply(line, WatchColumns::colourOf(trade)) + QLatin1Char('\n');
        }
    }
    for (const QString &note : m_notes)
        lines += note + QLatin1Char('\n');
    return lines;
}

void WatchScreen::refresh()
{
    readKeys();
    if (m_changed && !m_paused)
        draw();
}

// The timer asks, since a resized terminal makes nothing readable.
void WatchScreen::readKeys()
{
    wint_t key = 0;
    for (int kind = get_wch(&key); kind != ERR; kind = get_wch(&key)) {
        if (m_typing)
            handleTyping(key, kind == KEY_CODE_YES);
        else
            handleKey(key, kind == KEY_CODE_YES);
        draw();
    }
}

void WatchScreen::handleKey(unsigned key, bool isFunctionKey)
{
    const int page = rowsOfList();
    if (isFunctionKey) {
        switch (key) {
        case KEY_UP:
            return moveTo(m_current - 1);
        case KEY_DOWN:
            return moveTo(m_current + 1);
        case KEY_PPAGE:
            return moveTo(m_current - page);
        case KEY_NPAGE:
            return moveTo(m_current + page);
        case KEY_HOME:
            return moveTo(0);
        case KEY_END:
            return moveTo(m_symbols.size() - 1);
        default:
            return; // KEY_RESIZE needs no more than drawing
        }
    }
    switch (key) {
    case 'k':
        return moveTo(m_current - 1);
    case 'j':
        return moveTo(m_current + 1);
    case 's':
        m_order = static_cast<Order>((m_order + 1) % OrderCount);
        return;
    case '/':
        m_typing = true;
        m_pattern.clear();
        return;
    case 'n':
        return find();
    case ' ':
        m_paused = !m_paused;
        return;
    case 'q':
        Q_EMIT quitRequested();
        return;
    default:
        return;
    }
}

// Keys while the user types what to find.
void WatchScreen::handleTyping(unsigned key, bool isFunctionKey)
{
    constexpr unsigned Escape = 27;
    constexpr unsigned Delete = 127;
    if (key == Escape || (!isFunctionKey && (key == '\n' || key == '\r')) || (isFunctionKey && key == KEY_ENTER)) {
        m_typing = false;
        if (key != Escape)
            find();
    } else if ((isFunctionKey && key == KEY_BACKSPACE) || key == Delete || key == '\b') {
        m_pattern.chop(1);
    } else if (!isFunctionKey && key >= ' ') {
        m_pattern += QString::fromUcs4(&key, 1);
    }
}

// Moves to the next symbol whose symbol, name or pinyin initials contain the pattern.
void WatchScreen::find()
{
    const QString wanted = LxPinyin::normalized(m_pattern);
    if (wanted.isEmpty())
        return;
    for (int i = 1; i <= m_symbols.size(); ++i) {
        const int row = (m_current + i) % m_symbols.size();
        const QString name = m_quotes.value(m_symbols.at(row)).name;
        if (m_symbols.at(row).contains(wanted) || LxPinyin::normalized(name).contains(wanted)
            || LxPinyin::initialsOf(name).contains(wanted))
            return moveTo(row);
    }
    beep();
}

void WatchScreen::moveTo(int row)
{
    m_current = std::max(0, std::min(row, m_symbols.size() - 1));
}

void WatchScreen::sort()
{
    const QString current = m_symbols.value(m_current);
    m_symbols = m_given;
    // Unknown figures last.
    const auto figure = [this](const QString &symbol) {
        const QuoteView quote = m_quotes.value(symbol);
        return m_order == ByChange ? quote.changeRatio : quote.turnover;
    };
    if (m_order == BySymbol)
        m_symbols.sort();
    else if (m_order != AsGiven)
        std::stable_sort(m_symbols.begin(), m_symbols.end(),
                         [&](const QString &a, const QString &b) { return figure(a) > figure(b); });
    if (m_order == AsGiven || m_order == BySymbol)
        m_current = std::max(0, m_symbols.indexOf(current));
}

QStringList WatchScreen::noteLines() const
{
    QStringList lines;
    for (const QString &note : m_notes)
        lines += ::Terminal::wrapped(note, getmaxx(stdscr));
    return lines;
}

QuoteView WatchScreen::quoteOf(const QString &symbol) const
{
    const auto quote = m_quotes.constFind(symbol);
    return quote == m_quotes.constEnd() ? QuoteView(symbol) : *quote;
}

int WatchScreen::linesOf(int row) const
{
    return 1 + m_trades.value(m_symbols.at(row)).size();
}

// Lines between the titles and the notes.
int WatchScreen::rowsOfList() const
{
    return std::max(1, getmaxy(stdscr) - 2 - noteLines().size());
}

void WatchScreen::draw()
{
    m_changed = false;
    sort();
    const int width = getmaxx(stdscr);
    const int room = rowsOfList();
    // The cursor is on the screen, and no line stays empty that could show a symbol.
    m_top = std::min(m_top, m_current);
    const auto linesBetween = [this](int first, int last) {
        int lines = 0;
        for (int row = first; row <= last; ++row)
            lines += linesOf(row);
        return lines;
    };
    while (m_top < m_current && linesBetween(m_top, m_current) > room)
        ++m_top;
    while (m_top > 0 && linesBetween(m_top - 1, m_symbols.size() - 1) <= room)
        --m_top;

    erase();
    const QVector<WatchColumns::Column> columns = WatchColumns::fitting(width);
    print(0, 0, ::Terminal::fitted(WatchColumns::titles(columns), width), A_BOLD);
    int y = 1;
    for (int row = m_top; row < m_symbols.size() && y <= room; ++row)
        y = drawQuote(y, row);
    const QStringList notes = noteLines();
    y = getmaxy(stdscr) - 1 - notes.size();
    for (const QString &line : notes)
        print(y++, 0, ::Terminal::fitted(line, width), A_NORMAL);
    // The last cell of the last line would scroll.
    print(getmaxy(stdscr) - 1, 0, ::Terminal::fitted(statusLine(width - 1), width - 1), A_REVERSE);
    ::refresh();
}

// Returns the line after it.
int WatchScreen::drawQuote(int y, int row)
{
    const QString &symbol = m_symbols.at(row);
    const QuoteView quote = quoteOf(symbol);
    const bool isCurrent = row == m_current && m_symbols.size() > 1;
    const bool hasChange = Figures::isKnown(quote.change) && Colours::areWanted();
    int x = 0;
    for (const WatchColumns::Column &column : WatchColumns::fitting(getmaxx(stdscr))) {
        const attr_t colour = column.isColoured && hasChange ? attributesOf(Colours::ofChange(quote.change)) : A_NORMAL;
        const attr_t cursor = isCurrent && x == 0 ? A_REVERSE : A_NORMAL;
        print(y, x, ::Terminal::fitted(column.text(quote), column.width), colour | cursor);
        x += qAbs(column.width) + 1;
    }
    ++y;
    for (const TradeView &trade : m_trades.value(symbol)) {
        if (y > rowsOfList())
            break;
        const Colours::Colour colour = Colours::areWanted() ? WatchColumns::colourOf(trade) : Colours::None;
        print(y++, 0, WatchColumns::plainLine(trade, getmaxx(stdscr)), attributesOf(colour));
    }
    return y;
}

// What does not fit is left out: first the order, then the position, then the keys but for the one that quits.
QString WatchScreen::statusLine(int width) const
{
    if (m_typing)
        return QLatin1Char('/') + m_pattern;
    const QString separator = QStringLiteral(" | ");
    const QString orders[OrderCount] { tr("as given"), tr("by change"), tr("by turnover"), tr("by symbol") };
    QStringList state;
    if (m_paused)
        state.append(tr("PAUSED"));
    const QString error = ::Terminal::latestHeldError();
    if (!error.isEmpty())
        state.append(error);
    if (!m_status.isEmpty())
        state.append(m_status);
    const QString position = QStringLiteral("%1/%2").arg(m_current + 1).arg(m_symbols.size());
    QStringList keys { tr("s order"), tr("/ find"), tr("space pause"), tr("q quit") };
    const auto lineWith = [&](const QStringList &more) {
        return (state + more + QStringList { keys.join(QStringLiteral("  ")) }).join(separator);
    };
    QString line = lineWith({ position + QLatin1Char(' ') + orders[m_order] });
    if (::Terminal::width(line) > width)
        line = lineWith({ position });
    if (::Terminal::width(line) > width)
        line = lineWith({});
    while (::Terminal::width(line) > width && keys.size() > 1) {
        keys.removeFirst();
        line = lineWith({});
    }
    if (::Terminal::width(line) <= width)
        return line;
    const QString end = separator + keys.constLast();
    return ::Terminal::fitted(state.join(separator), std::max(0, width - ::Terminal::width(end))) + end;
}
