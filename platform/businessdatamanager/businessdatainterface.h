#pragma once

#include <businessdatamanager/businessdatamanager_export.h>

#include <QString>
#include <QVariant>

class LxPresenterClass;

/// Subscriptions whose requests the platform builds for the plug-ins. Any thread.
class BUSINESSDATAMANAGER_EXPORT BusinessDataInterface
{
public:
    /// Subscribes `presenter` to the indicator rankings ("ADINDICATORSRANKINGRECORD") of `kind`: 1 change ratio,
    /// 2 turnover value, 3 amplitude. A ranking covers all symbols of its service, so `symbols` has no effect; `mode`
    /// has no meaning on this platform. Returns an empty string, or an error message.
    static QString SubscribeSecurityQuotation(LxPresenterClass *presenter, const QVariant &symbols, int kind, int mode);
    /// Ends a subscription. Parameters and result as above.
    static QString UnSubscribeSecurityQuotation(LxPresenterClass *presenter, const QVariant &symbols, int kind,
                                                int mode);
};
