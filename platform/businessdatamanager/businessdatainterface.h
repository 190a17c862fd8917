#pragma once

#include <businessdatamanager/businessdatamanager_export.h>

#include <QString>
#include <QVariant>

class LxPresenterClass;

/// Subscriptions that are kept by the business-data service rather than built by the plug-ins. Any thread.
class BUSINESSDATAMANAGER_EXPORT BusinessDataInterface
{
public:
    /// Subscribes `presenter` to the indicator rankings ("ADINDICATORSRANKINGRECORD") of `kind`: 1 change ratio,
    /// 2 turnover value, 3 amplitude. A ranking covers all symbols that its service has, so `symbols` does not narrow
    /// it, and `mode` has no meaning on this platform. Returns an empty text, or what is wrong with the request.
    static QString SubscribeSecurityQuotation(LxPresenterClass *presenter, const QVariant &symbols, int kind, int mode);
    /// Ends what SubscribeSecurityQuotation began.
    static QString UnSubscribeSecurityQuotation(LxPresenterClass *presenter, const QVariant &symbols, int kind,
                                                int mode);
};
