#pragma once

#include <lxbusinessdata/lxbusinessdata_export.h>

#include <QHash>
#include <QReadWriteLock>
#include <QString>

/// Names and types of securities, which the host program loads once when it starts. Any thread.
class LXBUSINESSDATA_EXPORT CBusinessDataBase
{
public:
    /// The table of the process.
    static CBusinessDataBase *GetInstance();

    /// The type of a security ("stock", "index", "future"); empty if the symbol is unknown.
    QString GetSecurityTypeBySymbol(const QString &symbol);
    /// The Chinese name of a security, or `defaultName` if the symbol is unknown.
    QString GetSecurityChineseName(const QString &symbol, const QString &defaultName);

    /// An entry of the table.
    struct Security
    {
        QString name; ///< in Chinese
        QString type; ///< "stock", "index" or "future"
    };

    /// Replaces the table; the keys are symbols.
    void SetSecurities(const QHash<QString, Security> &securities);
    /// Whether the table has an entry for `symbol`.
    bool HasSymbol(const QString &symbol) const;
    /// The whole table.
    QHash<QString, Security> Securities() const;

private:
    mutable QReadWriteLock m_lock;
    QHash<QString, Security> m_securities;
};
