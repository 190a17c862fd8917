#pragma once

#include "bussession.h"
#include "recordeddays.h"

#include <QCoreApplication>
#include <QStringList>
#include <QVector>

#include <optional>

/// The securities that the user can specify by symbol (600519.SH), code (600519), market and code (SH600519), name
/// (贵州茅台) or pinyin initials of the name (mdjt, 美的集团).
class SymbolTable
{
    Q_DECLARE_TR_FUNCTIONS(SymbolTable)

public:
    struct Security
    {
        QString symbol;
        QString name;
        QString type;
        QString initials;
    };

    /// Loads securities.csv of the folder, which also becomes the platform's table of names. False, with the reason in
    /// `error`, if it cannot be read. If there is none, symbols alone can be named.
    bool load(const BusSession::Settings &bus, QString *error);

    /// The symbol that `text` specifies. Absent if it specifies none or is ambiguous; the reason in `error` then lists
    /// the candidates.
    std::optional<QString> resolve(const QString &text, QString *error) const;
    /// The securities that match, or contain, what the user typed; the best match first. All if `text` is empty.
    QVector<Security> find(const QString &text) const;
    QStringList symbols() const;
    /// True if the folder has the recordings too: there is no shared bus.
    bool isReplayed() const { return m_isReplayed; }
    /// The symbols of the recordings; on a shared bus, those of the table.
    QStringList recorded() const;
    /// What is recorded in the folder. Read when it is first wanted.
    const RecordedDays &recordedDays() const;

private:
    QStringList namedExactly(const QString &text) const;

    void findInitials() const;

    mutable QVector<Security> m_securities; // by symbol
    mutable bool m_hasInitials = false; // the securities have theirs
    bool m_isReplayed = false;
    QString m_folder;
    mutable std::optional<RecordedDays> m_recordedDays;
};

/// The symbols of a command: its arguments, --symbols and --all.
struct SymbolSettings
{
    QStringList arguments;
    QString file;
    bool all = false;

    /// Adds the options and the argument SYMBOL....
    void addOptions(Options *options);
    /// All symbols, each once. Empty, with the reason in `error`, if one is unknown or there are none.
    QStringList resolve(const SymbolTable &table, QString *error) const;
    /// Those of the arguments and of --symbols, each once. Absent, with the reason in `error`, if one is unknown.
    std::optional<QStringList> named(const SymbolTable &table, QString *error) const;
};
