#pragma once

#include "market.h"

#include <lxbus/bustopics.h>

#include <QVector>

/// An endpoint that records what is published on the bus, without the library. Read it after the publisher has flushed.
class BusRecorder final : private LxBusListener
{
public:
    struct Received
    {
        QString topic;
        QVector<Market::Row> rows;

        QString text(const char *key) const { return rows.at(0).value(QString::fromLatin1(key)).toString(); }
    };

    /// Subscribes to quotes, transactions and orders, or to the market analyses.
    enum Topics { Records, Analyses };
    explicit BusRecorder(Topics topics = Records);

    /// Subscribes to the records of `kind` of these symbols, or to rankings by their number.
    void ask(LxRecordKind kind, const QStringList &keys);

    QVector<Received> received; ///< written by the bus's threads
    std::function<void(const Received &)> onReceived; ///< called on the bus's threads; must be set before ask()

private:
    void published(const QString &source, const QString &topic, const QVariant &body) override;
    void answered(int, const QString &, const QString &, const QVariant &) override { }

    std::unique_ptr<LxBusEndpoint> m_endpoint;
};
