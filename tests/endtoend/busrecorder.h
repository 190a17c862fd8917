#pragma once

#include "market.h"

#include <lxbus/bustopics.h>

#include <QVector>

/// An endpoint that writes down what is published, without the library in between. To be read when the publisher has
/// flushed.
class BusEar final : private LxBusListener
{
public:
    struct Heard
    {
        QString topic;
        QVector<Market::Row> rows;

        QString text(const char *key) const { return rows.at(0).value(QString::fromLatin1(key)).toString(); }
    };

    /// Hears quotes, transactions and orders, or the analyses of the market.
    enum Topics { Records, Analyses };
    explicit BusEar(Topics topics = Records);

    /// Asks for the records of `kind` of these symbols, or for rankings by their number.
    void ask(LxRecordKind kind, const QStringList &keys);

    QVector<Heard> heard; ///< written by the bus's threads
    std::function<void(const Heard &)> onHeard; ///< called by the bus's threads; to be set before asking

private:
    void published(const QString &source, const QString &topic, const QVariant &body) override;
    void answered(int, const QString &, const QString &, const QVariant &) override { }

    std::unique_ptr<LxBusEndpoint> m_endpoint;
};
