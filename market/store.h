#pragma once

#include "storeconnection.h"

#include <QString>
#include <QVector>

#include <functional>
#include <optional>

class QSqlQuery;

/// A bar as it was recorded. Volume and value are absent if the source does not state them.
struct StoreBar
{
    int date = 0; ///< yyyyMMdd
    int time = 0; ///< HHmmssSSS; 0 in daily bars
    double open = 0;
    double high = 0;
    double low = 0;
    double close = 0;
    std::optional<double> volume;
    std::optional<double> value;
};

/// A corporate action: yuan, and numbers of shares, per share held before the ex-date. Absent values are not recorded.
struct StoreExDate
{
    int date = 0; ///< yyyyMMdd
    std::optional<double> cash;
    std::optional<double> bonus;
    std::optional<double> conversion;
    std::optional<double> rights;
    std::optional<double> rightsPrice;
    std::optional<double> stepFactor; ///< previous close / reference price, as recorded
    double previousClose = 0; ///< close of the last daily bar before the ex-date
};

/// Figures of a company as of one day: share counts, and figures per share in yuan.
struct StoreFundamentals
{
    int asOf = 0; ///< yyyyMMdd
    std::optional<double> totalShare;
    std::optional<double> listedShare;
    std::optional<double> netAssets;
    std::optional<double> dividentRate;
    std::optional<double> eps; ///< earnings of the latest report, which covers its year up to the report
    std::optional<double> pe; ///< as published; 0 for a loss
};

/// A day and a time of day, as the numbers that the store keeps (see Dates).
struct StoreMoment
{
    int date = 0;
    int time = 0;
};

/// Reads a store that an Importer built.
///
///     Store store;
///     if (!store.open(path, &error)) return false;
///     if (!store.readBars(Store::Daily, symbol, { 20230101 }, { 20231231 }, use, &error)) return false;
///
/// Must be used on the thread that opens it. `error` must be empty when a function is called; it stays empty if a value
/// is absent only because the store does not have it.
class Store
{
public:
    enum Period { Minute, Daily };
    /// Returns false to end the reading.
    using BarVisitor = std::function<bool(const StoreBar &)>;

    /// False, with the reason in `error`, in any state other than StoreState::Current (see openStore()).
    bool open(const QString &path, QString *error);
    void close() { m_connection.close(); }

    /// The bars of `symbol` from `first` to `last`, both included, in chronological order.
    bool readBars(Period period, const QString &symbol, StoreMoment first, StoreMoment last, const BarVisitor &visit,
                  QString *error);
    /// The daily bars of `symbol` on and before `date`, the latest first.
    bool readDailyBarsBack(const QString &symbol, int date, const BarVisitor &visit, QString *error);
    /// The recorded figures of a company, in chronological order.
    QVector<StoreFundamentals> fundamentals(const QString &symbol, QString *error);
    /// The ex-dates of `symbol` between two of its daily bars, in order.
    QVector<StoreExDate> exDates(const QString &symbol, QString *error);
    /// The day that is `days` trading days after `start`, or before it if negative; `start` itself is not counted. For
    /// 0 it is `start` if that is a trading day, otherwise absent. Absent outside the calendar.
    std::optional<int> tradingDay(int start, qint64 days, QString *error);

private:
    bool run(QSqlQuery *query, QString *error);
    /// False after the last row, or, with the reason in `error`, if the next one cannot be read.
    bool next(QSqlQuery *query, QString *error);
    std::optional<int> symbolId(const QString &symbol, QString *error);
    bool visitBars(QSqlQuery *query, const BarVisitor &visit, QString *error);

    StoreConnection m_connection;
};
