#pragma once

#include "colours.h"
#include "quoteview.h"

#include <QString>
#include <QVector>

/// The columns of a watch list.
namespace WatchColumns {

struct Column
{
    QString title;
    int width; ///< negative: flush right
    int priority; ///< which columns stay on a narrow terminal; 0 is the most important one
    QString (*text)(const QuoteView &quote);
    bool isColoured; ///< by the change of the price
};

/// As many columns as fit `width`, in the order in which they are shown.
QVector<Column> fitting(int width);

/// The titles, or the values of a quote, in one line.
QString titles(const QVector<Column> &columns);
/// Coloured if standard output is a terminal.
QString line(const QVector<Column> &columns, const QuoteView &quote);
QString line(const TradeView &trade);
Colours::Colour colourOf(const TradeView &trade);
/// Without colour.
QString plainLine(const TradeView &trade);
/// For a line below that of the symbol: without it, and with as much as fits `width`.
QString plainLine(const TradeView &trade, int width);

} // namespace WatchColumns
