#pragma once

#include <QString>
#include <QVariant>
#include <QVector>

/// Recorded records as the market-data service publishes them, spread over any number of symbols: only the symbol of a
/// record is changed.
class RecordSource
{
public:
    /// Stock quotes of a recorded day with ten levels on both sides of the order book.
    static RecordSource stockQuotes();
    /// Transactions of a recorded day.
    static RecordSource transactions();

    static QString symbol(int number);
    /// A body that shares nothing but its layout with other records.
    QVariant record(int number, const QString &symbol) const;
    /// One record for each of `symbols` symbols.
    QVector<QVariant> spread(int symbols) const;

    const QString &topic() const { return m_topic; }

private:
    RecordSource() = default;

    QString m_topic;
    QVector<QVariant> m_bodies;
};
