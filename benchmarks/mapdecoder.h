#pragma once

#include <lxquotadata.h>

#include <QMap>
#include <QMutex>
#include <QVariant>

/// The plain way to read a quote: look each field up in a QVariantMap, convert it, keep the record under a lock. What
/// the library's decoder is compared with.
class MapDecoder
{
public:
    static QVariantMap toMap(const QVariant &body);

    /// Reads the fields that the library reads, into the same record, and puts it into the same kind of cache.
    void decodeAndCache(const QVariantMap &row);

private:
    QMutex m_mutex { QMutex::Recursive };
    QMap<QString, StockQuotaData> m_cache;
};
