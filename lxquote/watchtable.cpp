#include "watchtable.h"

#include "terminal.h"

using Terminal::Colour;
using Terminal::fitted;

namespace {

constexpr int TradesShown = 3;

// Widths of the columns; negative: flush right.
enum Width {
    Symbol = 10,
    Name = 12,
    Last = -9,
    Change = -8,
    Percent = -8,
    Volume = -14,
    Turnover = -9,
    Bid = -9,
    Ask = -9,
    Amplitude = -8,
    Time = -9,
};

QString joined(const QStringList &cells)
{
    return cells.join(QLatin1Char(' '));
}

QString sideText(TradeView::Side side)
{
    switch (side) {
    case TradeView::Buy:
        return QStringLiteral("buy");
    case TradeView::Sell:
        return QStringLiteral("sell");
    case TradeView::Unknown:
        break;
    }
    return QStringLiteral("-");
}

Colour colourOf(TradeView::Side side)
{
    if (side == TradeView::Buy)
        return Colour::Red;
    return side == TradeView::Sell ? Colour::Green : Colour::None;
}

} // namespace

WatchTable::WatchTable(const QStringList &symbols) : m_symbols(symbols) { }

void WatchTable::update(const QuoteView &quote)
{
    m_quotes.insert(quote.symbol, quote);
}

void WatchTable::addTrade(const TradeView &trade)
{
    QList<TradeView> &trades = m_trades[trade.symbol];
    trades.append(trade);
    if (trades.size() > TradesShown)
        trades.removeFirst();
}

void WatchTable::setNote(const QString &key, const QString &text)
{
    m_notes.insert(key, text);
}

QString WatchTable::header()
{
    return joined({ fitted(QStringLiteral("symbol"), Symbol), fitted(QStringLiteral("name"), Name),
                    fitted(QStringLiteral("last"), Last), fitted(QStringLiteral("change"), Change),
                    fitted(QStringLiteral("change%"), Percent), fitted(QStringLiteral("volume"), Volume),
                    fitted(QStringLiteral("turnover"), Turnover), fitted(QStringLiteral("bid 1"), Bid),
                    fitted(QStringLiteral("ask 1"), Ask), fitted(QStringLiteral("ampl."), Amplitude),
                    fitted(QStringLiteral("time"), Time) });
}

QString WatchTable::line(const QuoteView &quote)
{
    // The mark of no value is no fall.
    const bool hasChange = quote.change != QUOTA_INVALID_VALUE;
    const Colour colour = hasChange ? Terminal::colourOfChange(quote.change) : Colour::None;
    return joined({ fitted(quote.symbol, Symbol), fitted(quote.name, Name),
                    Terminal::coloured(fitted(QuoteText::price(quote.last), Last), colour),
                    Terminal::coloured(fitted(QuoteText::signedNumber(quote.change), Change), colour),
                    Terminal::coloured(fitted(QuoteText::percent(quote.changeRatio), Percent), colour),
                    fitted(QuoteText::count(quote.volume), Volume), fitted(QuoteText::amount(quote.turnover), Turnover),
                    fitted(QuoteText::price(quote.bid), Bid), fitted(QuoteText::price(quote.ask), Ask),
                    fitted(QuoteText::percent(quote.amplitude).remove(QLatin1Char('+')), Amplitude),
                    fitted(QuoteText::time(quote.time), Time) });
}

QString WatchTable::line(const TradeView &trade)
{
    const QString text =
        joined({ fitted(trade.symbol, Symbol), QStringLiteral("trade"), fitted(QuoteText::time(trade.time), Time),
                 fitted(QuoteText::price(trade.price), Last), fitted(sideText(trade.side), 4),
                 fitted(QString::number(trade.lots), -8), QStringLiteral("lots") });
    return Terminal::coloured(text, colourOf(trade.side));
}

void WatchTable::draw()
{
    QStringList lines { Terminal::coloured(header(), Colour::Bold) };
    for (const QString &symbol : m_symbols) {
        QuoteView waiting;
        waiting.symbol = symbol;
        lines.append(line(m_quotes.value(symbol, waiting)));
        const QList<TradeView> trades = m_trades.value(symbol);
        for (const TradeView &trade : trades)
            lines.append(line(trade));
    }
    lines += m_notes.values();
    const int room = Terminal::rows() - (m_status.isEmpty() ? 1 : 2);
    while (lines.size() > room)
        lines.removeLast();
    if (!m_status.isEmpty())
        lines.append(Terminal::coloured(m_status.left(Terminal::columns() - 1), Colour::Dim));

    QString drawing;
    if (m_linesDrawn > 0)
        drawing += QStringLiteral("\x1b[%1A").arg(m_linesDrawn);
    for (const QString &text : qAsConst(lines))
        drawing += QStringLiteral("\x1b[2K") + text + QLatin1Char('\n');
    // Lines left over from a longer drawing.
    drawing += QStringLiteral("\x1b[J");
    m_linesDrawn = lines.size();
    Terminal::out(drawing);
}
