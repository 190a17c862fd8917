#pragma once

#include <lxdouble/export.h>

#include <QString>
#include <QVariant>

class LxPresenterClass;

/// Records its calls, see LxDouble::sent().
class LXDOUBLE_EXPORT BusinessDataInterface
{
public:
    static QString SubscribeSecurityQuotation(LxPresenterClass *presenter, const QVariant &symbols, int kind, int mode);
    static QString UnSubscribeSecurityQuotation(LxPresenterClass *presenter, const QVariant &symbols, int kind,
                                                int mode);
};
