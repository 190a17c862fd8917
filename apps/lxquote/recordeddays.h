#pragma once

#include <QFlags>
#include <QHash>
#include <QString>
#include <QStringList>
#include <QVector>

/// What is recorded in a folder: the days (yyyyMMdd) of each symbol of which there are quotes or transactions.
class RecordedDays
{
public:
    enum Kind { Quotes = 1, Transactions = 2, AnyKind = Quotes | Transactions };
    Q_DECLARE_FLAGS(Kinds, Kind)

    /// Reads all recordings.
    explicit RecordedDays(const QString &folder);

    bool contains(const QString &symbol) const { return m_days.contains(symbol); }
    /// In order.
    QStringList symbols() const;
    QStringList symbolsOf(const QString &day, Kinds kinds) const;
    /// In order. Those of all symbols, if none is given.
    QStringList days(Kinds kinds, const QStringList &symbols = {}) const;

    /// The reasons for which recordings cannot be read. Only those that may have records of `day` or of a later one.
    QStringList faults(const QString &day = QString()) const;

private:
    using KindsByDay = QHash<QString, Kinds>;
    struct Fault
    {
        QString lastDay; ///< that the recording may have; empty if unknown
        QString reason;
    };

    void read(const QString &path, const QString &day, Kind kind, QString *error);

    QHash<QString, KindsByDay> m_days; // by symbol
    QVector<Fault> m_faults;
};

Q_DECLARE_OPERATORS_FOR_FLAGS(RecordedDays::Kinds)
