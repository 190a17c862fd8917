#pragma once

#include "storeconnection.h"

#include <QString>
#include <QVector>

#include <functional>
#include <optional>

class QSqlQuery;

/// A bar as it was recorded. What the source does not carry has no value.
struct StoreBar
{
    int date = 0; ///< yyyyMMdd
    int time = 0; ///< HHmmssSSS; 0 in daily bars, which stand at their day's midnight
    double open = 0;
    double high = 0;
    double low = 0;
    double close = 0;
    std::optional<double> volume;
    std::optional<double> value;
};

/// Figures of a company as they stood on one day. Per share and in yuan where they are not share counts.
struct StoreFundamentals
{
    int asOf = 0; ///< yyyyMMdd
    std::optional<double> totalShare;
    std::optional<double> listedShare;
    std::optional<double> netAssets;
    std::optional<double> dividentRate;
    std::optional<double> eps; ///< of the latest report, from the start of its year
    std::optional<double> pe; ///< as published; 0 for a loss
};

/// A day and a time of day, as StoreTime writes them. Ordered.
struct StoreMoment
{
    int date = 0;
    int time = 0;
};

/// Reads a store that an Importer built.
///
///     Store store;
///     if (!store.open(path)) fail(store.errorString());
///     store.readBars(Store::Daily, symbol, { 20230101 }, { 20231231 }, use);
///
/// Belongs to the thread that opens it. What cannot be read reads as absent; takeError() tells the difference.
class Store
{
public:
    enum Period { Minute, Daily };
    /// Returns false to end the reading.
    using BarVisitor = std::function<bool(const StoreBar &)>;

    /// True if `path` is a store of any version.
    static bool isStore(const QString &path);

    /// False, with errorString() set, if the file is missing, no store, or a store of another version.
    bool open(const QString &path);
    void close() { m_connection.close(); }
    QString errorString() const { return m_error; }
    /// The reason of the first failure of a read since the last call; empty if none failed.
    QString takeError();

    /// The bars of `symbol` from `first` to `last`, both included, in the order of time.
    void readBars(Period period, const QString &symbol, StoreMoment first, StoreMoment last, const BarVisitor &visit);
    /// The daily bars of `symbol` on and before `date`, the latest first.
    void readDailyBarsBack(const QString &symbol, int date, const BarVisitor &visit);
    /// What is known of a company, in the order of time.
    QVector<StoreFundamentals> fundamentals(const QString &symbol);
    /// The day `days` trading days after `start`, before it for negative numbers. `start` itself is not counted, and is
    /// the answer for 0 if it is a trading day. Nothing outside the calendar.
    std::optional<int> tradingDay(int start, qint64 days);

private:
    /// Both note a failure for takeError().
    bool run(QSqlQuery *query);
    bool next(QSqlQuery *query);
    void noteError(const QSqlQuery &query);
    std::optional<int> symbolId(const QString &symbol);
    void visitBars(QSqlQuery *query, const BarVisitor &visit);

    StoreConnection m_connection;
    QString m_error;
};
