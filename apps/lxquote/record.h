#pragma once

#include <lxquotadata.h>

#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVector>

/// Something to print: named values in order. The values are rounded as people read them; unknown ones are invalid.
struct Record
{
    struct Field
    {
        QString name;
        QVariant value;
    };

    QString type; ///< what it is: "stock", "trade", "bar", ...
    QString symbol; ///< of the instrument, for the decimals of its prices; may be empty
    QVector<Field> fields;

    Record() = default;
    /// `type` and the instrument's symbol.
    Record(const QString &recordType, const QString &instrument) : type(recordType), symbol(instrument) { }
    explicit Record(const StockQuotaData &quote);
    explicit Record(const IndexQuotaData &quote);
    explicit Record(const FutureQuotaData &quote);

    void add(const QString &name, const QVariant &value);
    /// Invalid if there is none of this name.
    QVariant value(const QString &name) const;
    QStringList names() const;
};
