#include "lxquotahandler.h"

#include "lxlog_p.h"
#include "lxmessagetypes_p.h"
#include "lxquotahandlerobject_p.h"
#include "lxrequests_p.h"

#include <businessdatamanager/businessdatainterface.h>
#include <lxdefine/lxfields.h>
#include <lxmsg/packmessagecommon.h>

namespace {

constexpr int SubscribeType = 2;
constexpr int RankingMode = 2;

const QString subscribeTypeKey(QLatin1String("SubscribeType"));
const QString recordTypesKey(QLatin1String("MDRecordTypes"));
const QString actionTypeKey(QLatin1String("ActionType"));

enum RecordKind { Quotes = 1, Transactions = 2, Orders = 3 };
enum ActionType { Subscribe = 1, Unsubscribe = 2 };

} // namespace

void LxQuotaHandler::SubscribeQuote(QStringList &symbols, bool subscribe)
{
    waitForPresenterClassInit();
    LX_DEBUG("lxquotahandler", __LINE__) << "订阅证券:" << symbols;
    sendSubscribeRequest(symbols, Quotes, subscribe);
}

void LxQuotaHandler::SubscribeRecordTransaction(QStringList &symbols, bool subscribe)
{
    waitForPresenterClassInit();
    LX_DEBUG("lxquotahandler", __LINE__) << "订阅逐笔成交" << symbols;
    sendSubscribeRequest(symbols, Transactions, subscribe);
}

void LxQuotaHandler::SubscribeRecordOrder(QStringList &symbols, bool subscribe)
{
    waitForPresenterClassInit();
    sendSubscribeRequest(symbols, Orders, subscribe);
}

void LxQuotaHandler::sendSubscribeRequest(const QStringList &symbols, int recordKind, bool subscribe)
{
    CPackMessageCommon pack;
    for (int i = 0; i < symbols.size(); ++i) {
        pack.AddVaule(subscribeTypeKey, SubscribeType);
        pack.AddVaule(recordTypesKey, recordKind);
        pack.AddVaule(actionTypeKey, static_cast<int>(subscribe ? Subscribe : Unsubscribe));
        pack.AddVaule(LxFieldKey::Symbol, symbols.at(i));
        pack.AddVaule(Orca_Fields::System::msgType, LxMessageType::SubscribeRequest);
        if (i < symbols.size() - 1)
            pack.AddRow();
    }
    LxPresenterClassMgr::instance()->Put(LxRequests::create(LxMessageType::SubscribeRequest, pack));
}

int LxQuotaHandler::SubscribeRankingData(const QStringList &symbols, int kind, bool subscribe)
{
    waitForPresenterClassInit();
    LX_DEBUG("lxquotahandler", __LINE__) << "SubscribeRankingData" << symbols << kind;
    LxPresenterClassMgr *manager = LxPresenterClassMgr::instance();
    manager->lockForRead();
    LxPresenterClass *presenter = manager->getPresenterClass();
    if (!presenter) {
        manager->slotReadOver();
        return LxPresenterClassMgr::NoPresenter;
    }
    if (subscribe)
        BusinessDataInterface::SubscribeSecurityQuotation(presenter, QVariant(symbols), kind, RankingMode);
    else
        BusinessDataInterface::UnSubscribeSecurityQuotation(presenter, QVariant(symbols), kind, RankingMode);
    manager->slotReadOver();
    return 0;
}
