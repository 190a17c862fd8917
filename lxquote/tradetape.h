#pragma once

#include <lxwidget/lxpresenterclass.h>

#include <QString>
#include <QStringList>

/// One trade as the tape shows it.
struct TradeView
{
    enum Side { Unknown, Buy, Sell };

    QString symbol;
    QString time; ///< HHmmssSSS
    double price = 0;
    qint64 lots = 0; ///< whole lots of 100 shares
    Side side = Unknown; ///< who took the initiative, where the source tells
};

Q_DECLARE_METATYPE(TradeView)

/// Reads trades off the bus, with their side. The library announces a trade by its symbol and hands out its lots; the
/// side it keeps to itself, hence an endpoint of our own.
class TradeTape : public LxPresenterClass
{
    Q_OBJECT

public:
    explicit TradeTape(const QStringList &symbols);

    void ProcSubMsg(QString source, QVariant type, QVariant data) override;

Q_SIGNALS:
    /// Bus thread.
    void traded(const TradeView &trade);
};
