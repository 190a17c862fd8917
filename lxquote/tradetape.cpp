#include "tradetape.h"

#include <lxbus/bustopics.h>
#include <lxmsg/messagecommon.h>
#include <lxmsg/packmessagecommon.h>
#include <lxmsg/unpackmessagecommon.h>

namespace {

constexpr int SharesPerLot = 100;

// The sources code the initiative in digits or in letters.
TradeView::Side sideOf(const QString &flag)
{
    if (flag == QLatin1String("1") || flag == QLatin1String("B"))
        return TradeView::Buy;
    if (flag == QLatin1String("2") || flag == QLatin1String("S"))
        return TradeView::Sell;
    return TradeView::Unknown;
}

} // namespace

TradeTape::TradeTape(const QStringList &symbols)
    : LxPresenterClass(QStringLiteral("LxQuote.TradeTape"), nullptr, IMessageInterface::BusThread)
{
    qRegisterMetaType<TradeView>();
    Sub(pluginPid(), QStringLiteral("MDTRANSACTIONRECORD"), 1);
    CPackMessageCommon pack;
    for (const QString &symbol : symbols) {
        pack.AddRow();
        pack.AddVaule(QStringLiteral("MDRecordTypes"), static_cast<int>(LxRecordKind::Transaction));
        pack.AddVaule(QStringLiteral("ActionType"), 1);
        pack.AddVaule(QStringLiteral("Symbol"), symbol);
    }
    auto *message = new CMessageCommon;
    message->SetType(LxBusTopics::subscribeRequest);
    message->SetMsg(pack.GetPackedMsg(false));
    Put(pluginPid(), message);
}

void TradeTape::ProcSubMsg(QString, QVariant, QVariant data)
{
    CUnPackMessageCommon row;
    row.SetUnPackMsg(data, false);
    const QVariant none;
    TradeView trade;
    trade.symbol = row.GetValue(QStringLiteral("Symbol"), none).toString();
    trade.time = row.GetValue(QStringLiteral("MDTime"), none).toString();
    trade.price = row.GetValue(QStringLiteral("TradePrice"), none).toDouble();
    trade.lots = row.GetValue(QStringLiteral("TradeQty"), none).toLongLong() / SharesPerLot;
    trade.side = sideOf(row.GetValue(QStringLiteral("TradeBSFlag"), none).toString());
    Q_EMIT traded(trade);
}
