#include "record.h"

#include "figures.h"
#include "recordfields.h"

namespace {

QVariant toVariant(const QString &value)
{
    return value;
}

QVariant toVariant(double value)
{
    return value;
}

QVariant toVariant(qint64 value)
{
    return value;
}

template<typename Value, size_t Count>
QVariant toVariant(const Value (&values)[Count])
{
    QVariantList list;
    for (const Value &value : values)
        list.append(toVariant(value));
    return list;
}

// Fields that are unknown before the first trade, when the platform gives the previous close as the last price.
const QStringList &fieldsOfTrading()
{
    static const QStringList all {
        QStringLiteral("LastPx"),    QStringLiteral("Change"), QStringLiteral("ChangeRatio"),
        QStringLiteral("Amplitude"), QStringLiteral("AvgPx"),  QStringLiteral("TurnoverRate")
    };
    return all;
}

template<typename Quote>
void addFields(const Quote &quote, Record *record)
{
    const bool traded = hasTraded(quote);
    visitFields(quote, [&](const char *latin1, const auto &value) {
        const QString name = QString::fromLatin1(latin1);
        record->add(name, traded || !fieldsOfTrading().contains(name) ? toVariant(value) : QVariant());
    });
}

} // namespace

Record::Record(const StockQuotaData &quote) : Record(QStringLiteral("stock"), quote.Symbol)
{
    addFields(quote, this);
}

Record::Record(const IndexQuotaData &quote) : Record(QStringLiteral("index"), quote.Symbol)
{
    addFields(quote, this);
}

Record::Record(const FutureQuotaData &quote) : Record(QStringLiteral("future"), quote.Symbol)
{
    // The library's average is the value of a contract.
    FutureQuotaData priced = quote;
    const std::optional<double> multiplier = Figures::contractMultiplier(quote.Symbol);
    priced.AvgPx = multiplier && Figures::isKnown(quote.AvgPx) ? quote.AvgPx / *multiplier : QUOTA_INVALID_VALUE;
    addFields(priced, this);
}

void Record::add(const QString &name, const QVariant &value)
{
    fields.append({ name, Figures::rounded(name, value, symbol) });
}

QVariant Record::value(const QString &name) const
{
    for (const Field &field : fields) {
        if (field.name == name)
            return field.value;
    }
    return QVariant();
}

QStringList Record::names() const
{
    QStringList all;
    for (const Field &field : fields)
        all.append(field.name);
    return all;
}
