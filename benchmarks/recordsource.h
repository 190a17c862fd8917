#pragma once

#include <QString>
#include <QVariant>
#include <QVector>

/// Real records as the market-data service publishes them, for as many symbols as wanted: of a record only the symbol is
/// changed.
class RecordSource
{
public:
    /// Stock quotes of a recorded day whose book has ten levels on both sides.
    static RecordSource stockQuotes();
    /// Transactions of a recorded day.
    static RecordSource transactions();

    static QString symbol(int number);
    /// A body of its own: nothing of it but the layout is shared with other records.
    QVariant record(int number, const QString &symbol) const;
    /// One record for each of `symbols` symbols.
    QVector<QVariant> spread(int symbols) const;

    const QString &topic() const { return m_topic; }

private:
    RecordSource() = default;

    QString m_topic;
    QVector<QVariant> m_bodies;
};
