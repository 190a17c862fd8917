#pragma once

#include "bussession.h"

#include <QCoreApplication>
#include <QHash>
#include <QStringList>
#include <QVector>

#include <optional>

/// The securities that the user can specify by symbol (600519.SH), code (600519), market and code (SH600519), name
/// (贵州茅台) or pinyin initials of the name (gzmt).
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
    /// The symbols of the recordings; on a shared bus, those of the table.
    QStringList recorded() const;

private:
    QStringList namedExactly(const QString &text) const;

    void findInitials() const;

    mutable QVector<Security> m_securities; // by symbol
    mutable bool m_hasInitials = false; // the securities have theirs
    bool m_isReplayed = false; // the folder has the recordings too
    QString m_folder;
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
};

/// The dates (yyyyMMdd) of the quotes and transactions that are recorded in a folder, by symbol. Empty if the folder
/// cannot be read.
QHash<QString, QStringList> recordedDates(const QString &folder);
