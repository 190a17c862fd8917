#include "businessdatabase.h"

#include <lxutils/csvreader.h>

namespace {

// Lives as long as the library is loaded, and so longer than the threads that plug-ins end when they are unloaded.
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

bool CBusinessDataBase::LoadSecurities(const QString &path, QString *error)
{
    const auto fail = [error](const QString &reason) {
        if (error)
            *error = reason;
        return false;
    };
    CsvReader reader;
    if (!reader.open(path))
        return fail(QStringLiteral("%1: %2").arg(path, reader.errorString()));
    const int symbol = reader.column(QStringLiteral("Symbol"));
    const int name = reader.column(QStringLiteral("SecurityName"));
    const int type = reader.column(QStringLiteral("SecurityType"));
    if (symbol < 0 || name < 0 || type < 0)
        return fail(QStringLiteral("%1: no column Symbol, SecurityName or SecurityType").arg(path));

    QHash<QString, Security> securities;
    while (reader.next()) {
        const QVector<QByteArray> &cells = reader.cells();
        securities.insert(QString::fromUtf8(cells.value(symbol)),
                          { QString::fromUtf8(cells.value(name)), QString::fromUtf8(cells.value(type)) });
    }
    if (reader.hasError())
        return fail(QStringLiteral("%1: %2").arg(path, reader.errorString()));

    QWriteLocker locker(&m_lock);
    m_securities.swap(securities);
    return true;
}

bool CBusinessDataBase::HasSymbol(const QString &symbol) const
{
    QReadLocker locker(&m_lock);
    return m_securities.contains(symbol);
}
