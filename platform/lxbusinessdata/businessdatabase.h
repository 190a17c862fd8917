#pragma once

#include <lxbusinessdata/lxbusinessdata_export.h>

#include <QHash>
#include <QReadWriteLock>
#include <QString>

/// Names and types of securities, loaded once at start by whoever hosts the client. Any thread.
class LXBUSINESSDATA_EXPORT CBusinessDataBase
{
public:
    static CBusinessDataBase *GetInstance();

    /// The type of a security ("stock", "index", "future"); empty if the symbol is unknown.
    QString GetSecurityTypeBySymbol(const QString &symbol);
    /// The Chinese name of a security, or `defaultName` if the symbol is unknown.
    QString GetSecurityChineseName(const QString &symbol, const QString &defaultName);

    /// Replaces the table by that of a CSV file with the columns "Symbol", "SecurityName" and "SecurityType". False,
    /// with the reason in `error` and the table as it was, if the file cannot be read or lacks a column.
    bool LoadSecurities(const QString &path, QString *error);
    bool HasSymbol(const QString &symbol) const;

private:
    struct Security
    {
        QString name;
        QString type;
    };

    mutable QReadWriteLock m_lock;
    QHash<QString, Security> m_securities;
};
