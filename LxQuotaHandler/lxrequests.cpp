#include "lxrequests_p.h"

#include "lxmessagetypes_p.h"

#include <lxmsg/messagecommon.h>
#include <lxmsg/packmessagecommon.h>

CMessageCommon *LxRequests::create(const QString &type, CPackMessageCommon &pack)
{
    auto *message = new CMessageCommon;
    message->SetType(type);
    message->SetMsg(pack.GetPackedMsg(false));
    return message;
}

CMessageCommon *LxRequests::createIndicatorQuery(const QString &type, const QString &symbol, const QString &tradeDate)
{
    CPackMessageCommon pack;
    pack.AddVaule(LxFieldKey::Symbol, symbol);
    pack.AddVaule(LxFieldKey::MDDate, tradeDate);
    return create(type, pack);
}
