#pragma once

#include <lxquotadata.h>

#include <QString>
#include <QVector>

#include <iterator>
#include <type_traits>
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
    using Member = std::variant<QString Record::*, double Record::*, qint64 Record::*, int Record::*,
                                double (Record::*)[Levels], qint64 (Record::*)[Levels]>;
    const char *name;
    Member member;
    Origin origin = Origin::Row;
};

using StockField = QuoteField<StockQuotaData, STOCK_BOOK_LEVELS>;
using FutureField = QuoteField<FutureQuotaData, FUTURE_BOOK_LEVELS>;
using IndexField = QuoteField<IndexQuotaData, 1>; // an index has no order book
using BaseField = QuoteField<BaseQuotaData, 1>;

const QVector<StockField> &fieldsOf(const StockQuotaData &);
const QVector<FutureField> &fieldsOf(const FutureQuotaData &);
const QVector<IndexField> &fieldsOf(const IndexQuotaData &);
const QVector<BaseField> &fieldsOf(const BaseQuotaData &);

/// The column of a level, counted from 0, of an order book: that of "SellPrice" at level 2 is "Sell3Price".
QByteArray levelColumn(const QByteArray &name, size_t level);

/// Assigns the fields that have a column of their own. `row` has text(), number() and integer() of a column.
template<typename Record, typename Row>
void readRow(const Row &row, Record *record)
{
    const auto assign = [&row](auto &value, const QByteArray &column) {
        using Value = std::decay_t<decltype(value)>;
        if constexpr (std::is_same_v<Value, QString>)
            value = row.text(column);
        else if constexpr (std::is_same_v<Value, double>)
            value = row.number(column);
        else
            value = static_cast<Value>(row.integer(column));
    };
    for (const auto &field : fieldsOf(*record)) {
        const auto assignField = [&](auto member) {
            auto &value = record->*member;
            if constexpr (std::is_array_v<std::remove_reference_t<decltype(value)>>) {
                for (size_t level = 0; level < std::size(value); ++level)
                    assign(value[level], levelColumn(field.name, level));
            } else {
                assign(value, field.name);
            }
        };
        if (field.origin == Origin::Row)
            std::visit(assignField, field.member);
    }
}

/// Equal, both NaN, or apart by rounding only.
bool sameNumber(double a, double b);

/// The fields in which two records differ, with both values; empty if they are the same.
QString difference(const StockQuotaData &actual, const StockQuotaData &expected);
QString difference(const FutureQuotaData &actual, const FutureQuotaData &expected);
QString difference(const IndexQuotaData &actual, const IndexQuotaData &expected);
QString difference(const BaseQuotaData &actual, const BaseQuotaData &expected);
