#include "lxquotahandler.h"

#include "lxlog_p.h"
#include "lxquotahandlerobject.h"

#include <businessdatamanager/businessdatainterface.h>
#include <lxdefine/lxfields.h>
#include <lxmsg/messagecommon.h>
#include <lxmsg/packmessagecommon.h>

namespace {

constexpr int NoPresenter = -3;
constexpr int SubscribeType = 2;
constexpr int RankingMode = 2;

enum RecordKind { Quotes = 1, Transactions = 2, Orders = 3 };
enum ActionType { Subscribe = 1, Unsubscribe = 2 };

} // namespace

void LxQuotaHandler::SubscribeQuote(QStringList &symbols, bool subscribe)
{
    waitForPresenterClassInit();
    LX_LOG("lxquotahandler", __LINE__).debug() << "订阅证券:" << symbols;
    sendSubscribeRequest(symbols, Quotes, subscribe);
}

void LxQuotaHandler::SubscribeRecordTransaction(QStringList &symbols, bool subscribe)
{
    waitForPresenterClassInit();
    LX_LOG("lxquotahandler", __LINE__).debug() << "订阅逐笔成交" << symbols;
    sendSubscribeRequest(symbols, Transactions, subscribe);
}

void LxQuotaHandler::SubscribeRecordOrder(QStringList &symbols, bool subscribe)
{
    waitForPresenterClassInit();
    sendSubscribeRequest(symbols, Orders, subscribe);
}

void LxQuotaHandler::sendSubscribeRequest(const QStringList &symbols, int recordKind, bool subscribe)
{
    const QString type = QStringLiteral("SubscribeRequest");
    CPackMessageCommon pack;
    for (int i = 0; i < symbols.size(); ++i) {
        pack.AddVaule(QStringLiteral("SubscribeType"), SubscribeType);
        pack.AddVaule(QStringLiteral("MDRecordTypes"), recordKind);
        pack.AddVaule(QStringLiteral("ActionType"), static_cast<int>(subscribe ? Subscribe : Unsubscribe));
        pack.AddVaule(QStringLiteral("Symbol"), symbols.at(i));
        pack.AddVaule(Orca_Fields::System::msgType, type);
        if (i < symbols.size() - 1)
            pack.AddRow();
    }
    auto *message = new CMessageCommon;
    message->SetType(type);
    message->SetMsg(pack.GetPackedMsg(false));
    LxPresenterClassMgr::instance()->Put(message);
}

int LxQuotaHandler::SubscribeRankingData(const QStringList &symbols, int kind, bool subscribe)
{
    waitForPresenterClassInit();
    LX_LOG("lxquotahandler", __LINE__).debug() << "SubscribeRankingData" << symbols << kind;
    LxPresenterClassMgr *manager = LxPresenterClassMgr::instance();
    manager->lockForRead();
    LxPresenterClass *presenter = manager->getPresenterClass();
    if (!presenter) {
        manager->slotReadOver();
        return NoPresenter;
    }
    if (subscribe)
        BusinessDataInterface::SubscribeSecurityQuotation(presenter, QVariant(symbols), kind, RankingMode);
    else
        BusinessDataInterface::UnSubscribeSecurityQuotation(presenter, QVariant(symbols), kind, RankingMode);
    manager->slotReadOver();
    return 0;
}
