#pragma once

#include <lxquotadata.h>

#include <nlohmann/json.hpp>

#include <QVariant>

/// JSON of records and of undecoded message bodies. Fields keep their names and order; the mark of no value becomes null,
/// infinities and NaN become the texts "inf", "-inf" and "nan".
namespace RecordJson {

using Json = nlohmann::ordered_json;

Json fromRecord(const StockQuotaData &record);
Json fromRecord(const FutureQuotaData &record);
Json fromRecord(const IndexQuotaData &record);
Json fromNumber(double number);
/// Text, number or bool; null for an invalid value.
Json fromValue(const QVariant &value);
/// The rows of a packed body: an array of objects.
Json fromBody(const QVariant &body);

/// One line of JSON, as UTF-8.
QByteArray line(const Json &json);

} // namespace RecordJson
