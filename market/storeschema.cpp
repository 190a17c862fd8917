#include "storeschema.h"

#include <QStringList>

namespace StoreSchema {

static QString columnName(const Column &column)
{
    return column.kind == Kind::Symbol ? QStringLiteral("SymbolId") : column.name;
}

static QString columnType(Kind kind)
{
    switch (kind) {
    case Kind::Symbol:
    case Kind::Date:
    case Kind::Time:
        return QStringLiteral("INTEGER");
    case Kind::Number:
    case Kind::Amount:
        return QStringLiteral("REAL");
    case Kind::Security:
    case Kind::Text:
        break;
    }
    return QStringLiteral("TEXT");
}

QString Table::createStatement() const
{
    QStringList definitions;
    QStringList key;
    bool definesSecurities = false;
    for (const Column &column : columns) {
        QString definition = columnName(column) + QLatin1Char(' ') + columnType(column.kind);
        if (column.presence != Presence::Optional)
            definition += QStringLiteral(" NOT NULL");
        if (column.kind == Kind::Security) {
            definesSecurities = true;
            definition += QStringLiteral(" UNIQUE");
        } else if (column.presence == Presence::Key) {
            key.append(columnName(column));
        }
        definitions.append(definition);
    }
    if (definesSecurities) {
        definitions.prepend(QStringLiteral("SymbolId INTEGER PRIMARY KEY"));
        return QStringLiteral("CREATE TABLE %1 (%2)").arg(name, definitions.join(QStringLiteral(", ")));
    }
    // Clustered by the key, so that the rows of one symbol are adjacent and in the order of time.
    return QStringLiteral("CREATE TABLE %1 (%2, PRIMARY KEY (%3)) WITHOUT ROWID")
        .arg(name, definitions.join(QStringLiteral(", ")), key.join(QStringLiteral(", ")));
}

QString Table::insertStatement() const
{
    QStringList names;
    QStringList placeholders;
    for (const Column &column : columns) {
        names.append(columnName(column));
        placeholders.append(QStringLiteral("?"));
    }
    return QStringLiteral("INSERT OR IGNORE INTO %1 (%2) VALUES (%3)")
        .arg(name, names.join(QStringLiteral(", ")), placeholders.join(QStringLiteral(", ")));
}

const QVector<Table> &tables()
{
    const auto key = [](const QString &name, Kind kind) { return Column { name, kind, Presence::Key }; };
    const auto required = [](const QString &name) { return Column { name, Kind::Amount, Presence::Required }; };
    const auto optional = [](const QString &name) { return Column { name, Kind::Amount, Presence::Optional }; };
    // Companies make losses, and prices fall.
    const auto number = [](const QString &name) { return Column { name, Kind::Number, Presence::Optional }; };
    const auto text = [](const QString &name) { return Column { name, Kind::Text, Presence::Optional }; };
    static const QVector<Table> all {
        { QStringLiteral("securities"),
          { key(QStringLiteral("Symbol"), Kind::Security), text(QStringLiteral("SecurityName")),
            text(QStringLiteral("SecurityType")) } },
        { QStringLiteral("trading_days"), { key(QStringLiteral("TradingDay"), Kind::Date) } },
        { QStringLiteral("fundamentals"),
          { key(QStringLiteral("Symbol"), Kind::Symbol), key(QStringLiteral("AsOfDate"), Kind::Date),
            optional(QStringLiteral("TotalShare")), optional(QStringLiteral("ListedShare")),
            number(QStringLiteral("NetAssets")), optional(QStringLiteral("DividentRate")),
            number(QStringLiteral("EPS")), number(QStringLiteral("PE")), number(QStringLiteral("PB")) } },
        { QStringLiteral("valuation_daily"),
          { key(QStringLiteral("Symbol"), Kind::Symbol), key(QStringLiteral("MDDate"), Kind::Date),
            required(QStringLiteral("ClosePx")), optional(QStringLiteral("PreClosePx")),
            number(QStringLiteral("Change")), number(QStringLiteral("ChangeRatio")),
            optional(QStringLiteral("TurnoverRate")), optional(QStringLiteral("TotalMarketValue")),
            optional(QStringLiteral("CirculatingMarketValue")), optional(QStringLiteral("TotalVolumeTrade")),
            optional(QStringLiteral("TotalValueTrade")) } },
        { QStringLiteral("corporate_actions"),
          { key(QStringLiteral("Symbol"), Kind::Symbol), key(QStringLiteral("ExDate"), Kind::Date),
            optional(QStringLiteral("CashPerShare")), optional(QStringLiteral("BonusPerShare")),
            optional(QStringLiteral("ConversionPerShare")), optional(QStringLiteral("RightsPerShare")),
            optional(QStringLiteral("RightsPrice")) } },
        { QStringLiteral("adjust_factors"),
          { key(QStringLiteral("Symbol"), Kind::Symbol), key(QStringLiteral("ExDate"), Kind::Date),
            required(QStringLiteral("StepFactor")) } },
        { QStringLiteral("kline_daily"),
          { key(QStringLiteral("Symbol"), Kind::Symbol), key(QStringLiteral("MDDate"), Kind::Date),
            required(QStringLiteral("OpenPx")), required(QStringLiteral("HighPx")), required(QStringLiteral("LowPx")),
            required(QStringLiteral("ClosePx")), optional(QStringLiteral("PreClosePx")),
            optional(QStringLiteral("TotalVolumeTrade")), optional(QStringLiteral("TotalValueTrade")) } },
        { QStringLiteral("kline_1min"),
          { key(QStringLiteral("Symbol"), Kind::Symbol), key(QStringLiteral("MDDate"), Kind::Date),
            key(QStringLiteral("MDTime"), Kind::Time), required(QStringLiteral("OpenPx")),
            required(QStringLiteral("HighPx")), required(QStringLiteral("LowPx")), required(QStringLiteral("ClosePx")),
            optional(QStringLiteral("TotalVolumeTrade")), optional(QStringLiteral("TotalValueTrade")),
            optional(QStringLiteral("OpenInterest")) } },
    };
    return all;
}

} // namespace StoreSchema
