#include "store.h"

#include "storeschema.h"

#include <QFileInfo>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

static std::optional<double> optionalNumber(const QSqlQuery &query, int column)
{
    return query.isNull(column) ? std::nullopt : std::optional<double>(query.value(column).toDouble());
}

// The columns of a bar, as every query of bars selects them.
static QString barColumns(Store::Period period)
{
    return QStringLiteral("MDDate, %1, OpenPx, HighPx, LowPx, ClosePx, TotalVolumeTrade, TotalValueTrade")
        .arg(period == Store::Minute ? QStringLiteral("MDTime") : QStringLiteral("0"));
}

// 0 if the file cannot be read.
static int readPragma(const StoreConnection &connection, const QString &name)
{
    QSqlQuery query(connection.database());
    return query.exec(QStringLiteral("PRAGMA ") + name) && query.next() ? query.value(0).toInt() : 0;
}

bool Store::isStore(const QString &path)
{
    StoreConnection connection;
    return QFileInfo(path).isFile() && connection.open(path, StoreConnection::ReadOnly)
        && readPragma(connection, QStringLiteral("application_id")) == StoreSchema::ApplicationId;
}

bool Store::open(const QString &path)
{
    const auto fail = [&](const QString &reason) {
        m_connection.close();
        m_error = QStringLiteral("%1: %2").arg(path, reason);
        return false;
    };
    const QFileInfo file(path);
    if (!file.exists())
        return fail(QStringLiteral("no such file"));
    if (file.isDir())
        return fail(QStringLiteral("a folder, not a store"));
    if (!m_connection.open(path, StoreConnection::ReadOnly))
        return fail(m_connection.errorString());

    if (readPragma(m_connection, QStringLiteral("application_id")) != StoreSchema::ApplicationId)
        return fail(QStringLiteral("not a store"));
    const int version = readPragma(m_connection, QStringLiteral("user_version"));
    if (version != StoreSchema::Version) {
        return fail(QStringLiteral("a store of version %1, where version %2 is read; import it again")
                        .arg(version)
                        .arg(StoreSchema::Version));
    }
    m_error.clear();
    return true;
}

QString Store::takeError()
{
    QString error;
    error.swap(m_error);
    return error;
}

bool Store::run(QSqlQuery *query)
{
    if (query->exec())
        return true;
    noteError(*query);
    return false;
}

bool Store::next(QSqlQuery *query)
{
    if (query->next())
        return true;
    if (query->lastError().isValid())
        noteError(*query);
    return false;
}

void Store::noteError(const QSqlQuery &query)
{
    if (m_error.isEmpty())
        m_error = query.lastError().text();
}

std::optional<int> Store::symbolId(const QString &symbol)
{
    QSqlQuery query(m_connection.database());
    query.prepare(QStringLiteral("SELECT SymbolId FROM securities WHERE Symbol = ?"));
    query.addBindValue(symbol);
    if (!run(&query) || !next(&query))
        return std::nullopt;
    return query.value(0).toInt();
}

void Store::visitBars(QSqlQuery *query, const BarVisitor &visit)
{
    StoreBar bar;
    do {
        if (!next(query))
            return;
        bar.date = query->value(0).toInt();
        bar.time = query->value(1).toInt();
        bar.open = query->value(2).toDouble();
        bar.high = query->value(3).toDouble();
        bar.low = query->value(4).toDouble();
        bar.close = query->value(5).toDouble();
        bar.volume = optionalNumber(*query, 6);
        bar.value = optionalNumber(*query, 7);
    } while (visit(bar));
}

void Store::readBars(Period period, const QString &symbol, StoreMoment first, StoreMoment last, const BarVisitor &visit)
{
    const std::optional<int> id = symbolId(symbol);
    if (!id)
        return;
    QSqlQuery query(m_connection.database());
    query.setForwardOnly(true);
    if (period == Minute) {
        query.prepare(QStringLiteral("SELECT %1 FROM kline_1min WHERE SymbolId = ? AND (MDDate, MDTime) >= (?, ?) "
                                     "AND (MDDate, MDTime) <= (?, ?) ORDER BY MDDate, MDTime")
                          .arg(barColumns(Minute)));
        for (int value : { *id, first.date, first.time, last.date, last.time })
            query.addBindValue(value);
    } else {
        query.prepare(QStringLiteral("SELECT %1 FROM kline_daily WHERE SymbolId = ? AND MDDate BETWEEN ? AND ? "
                                     "ORDER BY MDDate")
                          .arg(barColumns(Daily)));
        // A daily bar stands at midnight: the first day's own lies before any later start.
        for (int value : { *id, first.time == 0 ? first.date : first.date + 1, last.date })
            query.addBindValue(value);
    }
    if (run(&query))
        visitBars(&query, visit);
}

void Store::readDailyBarsBack(const QString &symbol, int date, const BarVisitor &visit)
{
    const std::optional<int> id = symbolId(symbol);
    if (!id)
        return;
    QSqlQuery query(m_connection.database());
    query.setForwardOnly(true);
    query.prepare(QStringLiteral("SELECT %1 FROM kline_daily WHERE SymbolId = ? AND MDDate <= ? ORDER BY MDDate DESC")
                      .arg(barColumns(Daily)));
    query.addBindValue(*id);
    query.addBindValue(date);
    if (run(&query))
        visitBars(&query, visit);
}

QVector<StoreFundamentals> Store::fundamentals(const QString &symbol)
{
    QVector<StoreFundamentals> records;
    QSqlQuery query(m_connection.database());
    query.setForwardOnly(true);
    // Companies about to be listed stand in the sources with zeros throughout: nothing is known of them.
    query.prepare(QStringLiteral("SELECT AsOfDate, TotalShare, ListedShare, NetAssets, DividentRate, EPS, PE "
                                 "FROM fundamentals JOIN securities USING (SymbolId) "
                                 "WHERE Symbol = ? AND (TotalShare IS NOT 0 OR ListedShare IS NOT 0) "
                                 "ORDER BY AsOfDate"));
    query.addBindValue(symbol);
    if (!run(&query))
        return records;
    while (next(&query)) {
        records.append({ query.value(0).toInt(), optionalNumber(query, 1), optionalNumber(query, 2),
                         optionalNumber(query, 3), optionalNumber(query, 4), optionalNumber(query, 5),
                         optionalNumber(query, 6) });
    }
    return records;
}

std::optional<int> Store::tradingDay(int start, qint64 days)
{
    QSqlQuery query(m_connection.database());
    query.setForwardOnly(true);
    QString condition = QStringLiteral("TradingDay = ?");
    if (days > 0)
        condition = QStringLiteral("TradingDay > ? ORDER BY TradingDay");
    else if (days < 0)
        condition = QStringLiteral("TradingDay < ? ORDER BY TradingDay DESC");
    // Beyond the calendar's ends nobody knows how many trading days lie between.
    query.prepare(QStringLiteral("SELECT TradingDay FROM trading_days "
                                 "WHERE ? BETWEEN (SELECT MIN(TradingDay) FROM trading_days) "
                                 "AND (SELECT MAX(TradingDay) FROM trading_days) AND ")
                  + condition + QStringLiteral(" LIMIT 1 OFFSET ?"));
    query.addBindValue(start);
    query.addBindValue(start);
    query.addBindValue(days == 0 ? 0 : qAbs(days) - 1);
    if (!run(&query) || !next(&query))
        return std::nullopt;
    return query.value(0).toInt();
}
