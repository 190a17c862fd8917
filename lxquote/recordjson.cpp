#include "recordjson.h"

#include "recordfields.h"

#include <lxmsg/packedbody.h>

#include <cmath>

namespace {

using Json = RecordJson::Json;

Json toJson(double number)
{
    return RecordJson::fromNumber(number);
}

Json toJson(qint64 number)
{
    return number == QUOTA_INVALID_VALUE ? Json(nullptr) : Json(number);
}

Json toJson(const QString &text)
{
    return text.toStdString();
}

template<typename Type, size_t Count>
Json toJson(const Type (&values)[Count])
{
    Json array = Json::array();
    for (const Type &value : values)
        array.push_back(toJson(value));
    return array;
}

template<typename Record>
Json recordToJson(const Record &record)
{
    Json json = Json::object();
    visitFields(record, [&json](const char *name, const auto &value) { json[name] = toJson(value); });
    return json;
}

} // namespace

Json RecordJson::fromValue(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::UnknownType:
        return nullptr;
    case QMetaType::Double:
        return toJson(value.toDouble());
    case QMetaType::Bool:
        return value.toBool();
    case QMetaType::Int:
    case QMetaType::LongLong:
        return toJson(static_cast<qint64>(value.toLongLong()));
    default:
        return toJson(value.toString());
    }
}

Json RecordJson::fromNumber(double number)
{
    if (number == QUOTA_INVALID_VALUE)
        return nullptr;
    if (std::isnan(number))
        return "nan";
    if (std::isinf(number))
        return number > 0 ? "inf" : "-inf";
    return number;
}

Json RecordJson::fromRecord(const StockQuotaData &record)
{
    return recordToJson(record);
}

Json RecordJson::fromRecord(const FutureQuotaData &record)
{
    return recordToJson(record);
}

Json RecordJson::fromRecord(const IndexQuotaData &record)
{
    return recordToJson(record);
}

Json RecordJson::fromBody(const QVariant &body)
{
    Json rows = Json::array();
    const LxPackedBody packed = LxPackedBody::fromVariant(body);
    for (int number = 0; number < packed.rowCount(); ++number) {
        const LxPackedRow &row = *packed.row(number);
        Json object = Json::object();
        for (int i = 0; i < row.values.size(); ++i)
            object[row.layout->keys().at(i).toStdString()] = fromValue(row.values.at(i));
        rows.push_back(std::move(object));
    }
    return rows;
}

QByteArray RecordJson::line(const Json &json)
{
    return QByteArray::fromStdString(json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace)) + '\n';
}
