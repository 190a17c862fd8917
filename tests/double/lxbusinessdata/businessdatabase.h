#pragma once

#include <lxdouble/export.h>

#include <QString>

/// Answers what LxDouble::setSecurity() says.
class LXDOUBLE_EXPORT CBusinessDataBase
{
public:
    static CBusinessDataBase *GetInstance();
    QString GetSecurityTypeBySymbol(const QString &symbol);
    QString GetSecurityChineseName(const QString &symbol, const QString &defaultName);
};
