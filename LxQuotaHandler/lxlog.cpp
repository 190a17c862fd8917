#include "lxlog_p.h"

const QLoggingCategory &lxQuotaLog()
{
    static const QLoggingCategory category("lx.quota", QtInfoMsg);
    return category;
}
