#include "businessdatabase.h"

namespace {

// Not a function-local static, since it must outlive the threads of plug-ins, which end when the plug-ins are unloaded.
CBusinessDataBase instance;

} // namespace

CBusinessDataBase *CBusinessDataBase::GetInstance()
{
    return &instance;
}

QString CBusinessDataBase::GetSecurityTypeBySymbol(const QString &symbol)
{
    QReadLocker locker(&m_lock);
    const auto security = m_securities.constFind(symbol);
    return security == m_securities.constEnd() ? QString() : security->type;
}

QString CBusinessDataBase::GetSecurityChineseName(const QString &symbol, const QString &defaultName)
{
    QReadLocker locker(&m_lock);
    const auto security = m_securities.constFind(symbol);
    return security == m_securities.constEnd() ? defaultName : security->name;
}

void CBusinessDataBase::SetSecurities(const QHash<QString, Security> &securities)
{
    QWriteLocker locker(&m_lock);
    m_securities = securities;
}

bool CBusinessDataBase::HasSymbol(const QString &symbol) const
{
    QReadLocker locker(&m_lock);
    return m_securities.contains(symbol);
}

QHash<QString, CBusinessDataBase::Security> CBusinessDataBase::Securities() const
{
    QReadLocker locker(&m_lock);
    return m_securities;
}
