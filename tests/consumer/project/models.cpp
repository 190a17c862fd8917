// Uses every public header of the models.

#include <lxbarseries.h>
#include <lxdepthmodel.h>
#include <lxquotetablemodel.h>
#include <lxquotetext.h>
#include <lxsymbolmodel.h>
#include <lxtradelistmodel.h>
#include <lxtradingtime.h>

#include <QCoreApplication>

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    const QString symbol = QStringLiteral("600000.SH");
    LxQuoteTableModel quotes;
    quotes.setSymbols({ symbol });
    LxDepthModel depth;
    depth.setSymbol(symbol);
    LxTradeListModel trades;
    trades.setSymbol(symbol);
    LxBarSeries bars;
    bars.load(symbol, LxBarSeries::Day);
    // Nothing is published, so there are no values.
    const bool isEmpty = quotes.rowCount() == 1 && trades.rowCount() == 0 && bars.rowCount() == 0
        && quotes.index(0, LxQuoteTableModel::Last).data().toString() == LxQuoteText::price(LxNoValue);
    const bool findsInitials = LxSymbolModel::initialsOf(QStringLiteral("平安银行")) == QLatin1String("PAYH");
    return isEmpty && findsInitials && LxTradingTime::MinutesPerDay == 240 ? 0 : 1;
}
