#include "busrecorder.h"

#include <lxmsg/unpackmessagecommon.h>

BusRecorder::BusRecorder(Topics topics) : m_endpoint(LxBus::current()->openEndpoint(QStringLiteral("Recorder"), this))
{
    const QString names = topics == Records ? QStringLiteral("MDMARKETRECORD MDINDEXRECORD MDFUTURERECORD "
                                                             "MDTRANSACTIONRECORD MDORDERRECORD")
                                            : QStringLiteral("ADINDICATORSRANKINGRECORD ADUPSDOWNSANALYSISRECORD");
    for (const QString &name : names.split(QLatin1Char(' ')))
        m_endpoint->subscribe(name);
}

void BusRecorder::ask(LxRecordKind kind, const QStringList &keys)
{
    QVector<Market::Row> rows;
    for (const QString &key : keys) {
        rows.append({ { QStringLiteral("MDRecordTypes"), static_cast<int>(kind) },
                      { QStringLiteral("ActionType"), 1 },
                      { QStringLiteral("Symbol"), key } });
    }
    m_endpoint->put(LxBusTopics::subscribeRequest, Market::packed(rows));
}

void BusRecorder::published(const QString &, const QString &topic, const QVariant &body)
{
    CUnPackMessageCommon unpack;
    unpack.SetUnPackMsg(body, false);
    Received record { topic, {} };
    for (int i = 0; i < unpack.GetRowCount(); ++i) {
        unpack.SetCurrentRow(i);
        record.rows.append(unpack.GetRowValue());
    }
    received.append(record);
    if (onReceived)
        onReceived(record);
}
