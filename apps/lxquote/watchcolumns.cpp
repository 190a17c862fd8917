#include "watchcolumns.h"

#include "colours.h"
#include "figures.h"

#include <terminal.h>
#include <translated.h>

#include <QCoreApplication>
#include <QLocale>

#include <algorithm>

using Terminal::fitted;

namespace {

constexpr int RatioDecimals = 2;

int decimalsOf(const QuoteView &quote)
{
    return Figures::priceDecimals(quote.symbol);
}

QString price(double value, const QuoteView &quote)
{
    return value > 0 ? Figures::text(value, decimalsOf(quote)) : QStringLiteral("-");
}

QString percent(const QString &number)
{
    return number == QLatin1String("-") ? number : number + QLatin1Char('%');
}

QVector<WatchColumns::Column> allColumns()
{
    const auto tr = [](const char *title) { return QCoreApplication::translate("WatchColumns", title); };
    return {
        { tr("symbol"), 10, 0, [](const QuoteView &quote) { return quote.symbol; }, false },
        { tr("name"), 12, 3, [](const QuoteView &quote) { return quote.name; }, false },
        { tr("last"), -9, 1, [](const QuoteView &quote) { return price(quote.last, quote); }, true },
        { tr("change"), -8, 5,
          [](const QuoteView &quote) { return Figures::signedText(quote.change, decimalsOf(quote)); }, true },
        { tr("change%"), -8, 2,
          [](const QuoteView &quote) { return percent(Figures::signedText(quote.changeRatio, RatioDecimals)); }, true },
        { tr("volume"), -14, 10, [](const QuoteView &quote) { return Figures::count(quote.volume); }, false },
        { tr("turnover"), -9, 6, [](const QuoteView &quote) { return Figures::amount(quote.turnover); }, false },
        { tr("bid 1"), -9, 8, [](const QuoteView &quote) { return price(quote.bid, quote); }, false },
        { tr("ask 1"), -9, 9, [](const QuoteView &quote) { return price(quote.ask, quote); }, false },
        { tr("ampl."), -8, 7,
          [](const QuoteView &quote) { return percent(Figures::text(quote.amplitude, RatioDecimals)); }, false },
        { tr("time"), -8, 4, [](const QuoteView &quote) { return Figures::time(quote.time); }, false },
    };
}

struct TradeCell
{
    QString text;
    int priority; // as that of a column
};

QVector<TradeCell> cellsOf(const TradeView &trade)
{
    const QString side =
        trade.side == TradeView::Unknown ? QStringLiteral("-") : translated(qUtf8Printable(trade.sideName()));
    return {
        { QCoreApplication::translate("WatchColumns", "trade"), 5 },
        { fitted(Figures::time(trade.time), 8), 0 },
        { fitted(Figures::text(trade.price, Figures::priceDecimals(trade.symbol)), -9), 1 },
        { fitted(side, 4), 3 },
        { QCoreApplication::translate("WatchColumns", "%1 shares")
              .arg(fitted(Figures::count(static_cast<double>(trade.shares)), -10)),
          2 },
        { QCoreApplication::translate("WatchColumns", "%1 lots")
              .arg(fitted(QString::number(trade.lots(), 'f', QLocale::FloatingPointShortest), -8)),
          6 },
        { fitted(Figures::amount(trade.money), -9), 4 },
    };
}

} // namespace

QVector<WatchColumns::Column> WatchColumns::fitting(int width)
{
    QVector<Column> columns = allColumns();
    const auto total = [&columns] {
        int sum = columns.size() - 1;
        for (const Column &column : qAsConst(columns))
            sum += qAbs(column.width);
        return sum;
    };
    const auto isLessImportant = [](const Column &a, const Column &b) { return a.priority < b.priority; };
    while (columns.size() > 1 && total() > width)
        columns.erase(std::max_element(columns.begin(), columns.end(), isLessImportant));
    return columns;
}

QString WatchColumns::titles(const QVector<Column> &columns)
{
    QStringList cells;
    for (const Column &column : columns)
        cells.append(fitted(column.title, column.width));
    return cells.join(QLatin1Char(' '));
}

QString WatchColumns::line(const QVector<Column> &columns, const QuoteView &quote)
{
    QStringList cells;
    for (const Column &column : columns) {
        const QString cell = fitted(column.text(quote), column.width);
        const bool isColoured = column.isColoured && Figures::isKnown(quote.change);
        cells.append(isColoured ? Colours::apply(cell, Colours::ofChange(quote.change)) : cell);
    }
    return cells.join(QLatin1Char(' '));
}

QString WatchColumns::line(const TradeView &trade)
{
    return Colours::apply(plainLine(trade), colourOf(trade));
}

Colours::Colour WatchColumns::colourOf(const TradeView &trade)
{
    return trade.side == TradeView::Unknown ? Colours::None : Colours::ofChange(trade.side == TradeView::Buy ? 1 : -1);
}

QString WatchColumns::plainLine(const TradeView &trade)
{
    QStringList cells { fitted(trade.symbol, 10) };
    for (const TradeCell &cell : cellsOf(trade))
        cells.append(cell.text);
    return cells.join(QLatin1Char(' '));
}

QString WatchColumns::plainLine(const TradeView &trade, int width)
{
    QVector<TradeCell> cells = cellsOf(trade);
    const auto line = [&cells] {
        QString text = QStringLiteral(" ");
        for (const TradeCell &cell : qAsConst(cells))
            text += QLatin1Char(' ') + cell.text;
        return text;
    };
    const auto isLessImportant = [](const TradeCell &a, const TradeCell &b) { return a.priority < b.priority; };
    while (cells.size() > 1 && Terminal::width(line()) > width)
        cells.erase(std::max_element(cells.begin(), cells.end(), isLessImportant));
    return fitted(line(), width);
}
