#include "busear.h"

#include <lxmsg/unpackmessagecommon.h>

BusEar::BusEar(Topics topics) : m_endpoint(LxBus::current()->openEndpoint(QStringLiteral("Ear"), this))
{
    const QString names = topics == Records ? QStringLiteral("MDMARKETRECORD MDINDEXRECORD MDFUTURERECORD "
                                                             "MDTRANSACTIONRECORD MDORDERRECORD")
                                            : QStringLiteral("ADINDICATORSRANKINGRECORD ADUPSDOWNSANALYSISRECORD");
    for (const QString &name : names.split(QLatin1Char(' ')))
        m_endpoint->subscribe(name);
}

void BusEar::ask(LxRecordKind kind, const QStringList &keys)
{
    QVector<Market::Row> rows;
    for (const QString &key : keys) {
        rows.append({ { QStringLiteral("MDRecordTypes"), static_cast<int>(kind) },
                      { QStringLiteral("ActionType"), 1 },
                      { QStringLiteral("Symbol"), key } });
    }
    m_endpoint->put(LxBusTopics::subscribeRequest, Market::packed(rows));
}

void BusEar::published(const QString &, const QString &topic, const QVariant &body)
{
    CUnPackMessageCommon unpack;
    unpack.SetUnPackMsg(body, false);
    Heard record { topic, {} };
    for (int i = 0; i < unpack.GetRowCount(); ++i) {
        unpack.SetCurrentRow(i);
        record.rows.append(unpack.GetRowValue());
    }
    heard.append(record);
    if (onHeard)
        onHeard(record);
}
