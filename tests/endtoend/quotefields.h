#pragma once

#include "csvtable.h"

#include <lxquotadata.h>

#include <QHash>
#include <QString>
#include <QStringList>
#include <QVector>

#include <variant>

/// Where the value of a record's field comes from.
enum class Origin {
    Row, ///< the column of the field's name
    Derived, ///< computed from other fields
    Mark, ///< keeps the mark of no value until a snapshot query fills it, or forever
};

/// A field of a record, in the order of its declaration.
template<typename Record, size_t Levels>
struct QuoteField
{
    using Member = std::variant<QString Record::*, double Record::*, qint64 Record::*, double (Record::*)[Levels],
                                qint64 (Record::*)[Levels]>;
    const char *name;
    Member member;
    Origin origin = Origin::Row;
};

using StockField = QuoteField<StockQuotaData, STOCK_BOOK_LEVELS>;
using FutureField = QuoteField<FutureQuotaData, FUTURE_BOOK_LEVELS>;
using IndexField = QuoteField<IndexQuotaData, 1>; // an index has no order book

const QVector<StockField> &fieldsOf(const StockQuotaData &);
const QVector<FutureField> &fieldsOf(const FutureQuotaData &);
const QVector<IndexField> &fieldsOf(const IndexQuotaData &);

/// The names of securities by symbol, from securities.csv.
const QHash<QString, QString> &securityNames();

/// The record that a row of a recording has to become, without deep data.
StockQuotaData expectedStock(const CsvRow &row);
FutureQuotaData expectedFuture(const CsvRow &row);
IndexQuotaData expectedIndex(const CsvRow &row);

/// The figures of `deepData` for a quote that is not halted.
void applyDeepData(const LxStockDeepData &deepData, StockQuotaData *quote);

/// Equal, both NaN, or apart by rounding only.
bool sameNumber(double a, double b);

/// The fields in which two records differ, with both values; empty if they are the same.
QString difference(const StockQuotaData &actual, const StockQuotaData &expected);
QString difference(const FutureQuotaData &actual, const FutureQuotaData &expected);
QString difference(const IndexQuotaData &actual, const IndexQuotaData &expected);
