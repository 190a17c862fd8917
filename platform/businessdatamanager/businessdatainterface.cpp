#include "businessdatainterface.h"

#include <lxbus/bustopics.h>
#include <lxmsg/messagecommon.h>
#include <lxmsg/packmessagecommon.h>
#include <lxwidget/lxpresenterclass.h>

namespace {

QString putRankingSubscription(LxPresenterClass *presenter, int kind, int action)
{
    if (!presenter)
        return QStringLiteral("the presenter is missing");
    if (kind < 1 || kind > 3)
        return QStringLiteral("unknown kind of ranking: %1").arg(kind);
    CPackMessageCommon pack;
    pack.AddVaule(QStringLiteral("MDRecordTypes"), static_cast<int>(LxRecordKind::Ranking));
    pack.AddVaule(QStringLiteral("ActionType"), action);
    pack.AddVaule(QStringLiteral("Symbol"), QString::number(kind));
    auto *message = new CMessageCommon;
    message->SetType(LxBusTopics::subscribeRequest);
    message->SetMsg(pack.GetPackedMsg(false));
    message->SetSrcid(presenter->pluginPid());
    presenter->Put(presenter->pluginPid(), message);
    return QString();
}

} // namespace

QString BusinessDataInterface::SubscribeSecurityQuotation(LxPresenterClass *presenter, const QVariant &symbols,
                                                          int kind, int mode)
{
    Q_UNUSED(symbols)
    Q_UNUSED(mode)
    return putRankingSubscription(presenter, kind, 1);
}

QString BusinessDataInterface::UnSubscribeSecurityQuotation(LxPresenterClass *presenter, const QVariant &symbols,
                                                            int kind, int mode)
{
    Q_UNUSED(symbols)
    Q_UNUSED(mode)
    return putRankingSubscription(presenter, kind, 2);
}
