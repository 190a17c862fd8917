#pragma once

#include <lxquotadata.h>

#include <QMap>
#include <QMutex>
#include <QVariant>

/// The baseline of the library's decoder, and the plain way to read a quote: look up each field in a QVariantMap,
/// convert it, and store the record under a lock.
class MapDecoder
{
public:
    static QVariantMap toMap(const QVariant &body);

    /// Reads the same fields as the library, into the same record, and stores it in the same kind of cache.
    void decodeAndCache(const QVariantMap &row);

private:
    QMutex m_mutex { QMutex::Recursive };
    QMap<QString, StockQuotaData> m_cache;
};
