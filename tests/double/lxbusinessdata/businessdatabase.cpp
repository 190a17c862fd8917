#include "businessdatabase.h"

#include <lxdouble/recording.h>

CBusinessDataBase *CBusinessDataBase::GetInstance()
{
    static CBusinessDataBase instance;
    return &instance;
}

QString CBusinessDataBase::GetSecurityTypeBySymbol(const QString &symbol)
{
    return LxDouble::securityType(symbol);
}

QString CBusinessDataBase::GetSecurityChineseName(const QString &symbol, const QString &defaultName)
{
    return LxDouble::securityName(symbol, defaultName);
}
