#include "businessdatainterface.h"

#include <lxdouble/recording.h>
#include <lxwidget/lxpresenterclass.h>

using LxDouble::Sent;

static QString record(Sent::Call call, LxPresenterClass *presenter, const QVariant &symbols, int kind, int mode)
{
    Sent sent;
    sent.call = call;
    sent.presenter = presenter;
    sent.symbols = symbols;
    sent.kind = kind;
    sent.mode = mode;
    LxDouble::record(sent);
    return QStringLiteral("refused"); // the library must ignore it
}

QString BusinessDataInterface::SubscribeSecurityQuotation(LxPresenterClass *presenter, const QVariant &symbols,
                                                          int kind, int mode)
{
    return record(Sent::RankingSubscribe, presenter, symbols, kind, mode);
}

QString BusinessDataInterface::UnSubscribeSecurityQuotation(LxPresenterClass *presenter, const QVariant &symbols,
                                                            int kind, int mode)
{
    return record(Sent::RankingUnsubscribe, presenter, symbols, kind, mode);
}
