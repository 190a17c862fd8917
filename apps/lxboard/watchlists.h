#pragma once

#include <QObject>
#include <QStringList>
#include <QVector>

class QSettings;

/// The user's lists of symbols: named, in order, kept in the settings.
class WatchLists : public QObject
{
    Q_OBJECT

public:
    struct List
    {
        QString name;
        QStringList symbols;
    };

    explicit WatchLists(QObject *parent = nullptr);

    const QVector<List> &lists() const { return m_lists; }
    int count() const { return m_lists.size(); }
    /// Appends a list. A name that is taken already gets a number.
    int add(const QString &name, const QStringList &symbols);
    void remove(int index);
    void rename(int index, const QString &name);
    void setSymbols(int index, const QStringList &symbols);

    void load(const QSettings &settings);
    void save(QSettings *settings) const;

    /// One symbol per line.
    static QString toText(const QStringList &symbols);
    /// The symbols in a text: separated by white space, commas or semicolons; what follows a "#" in a line is left out.
    /// Each once, in capitals. What does not look like code.MARKET is appended to `rejected`.
    static QStringList fromText(const QString &text, QStringList *rejected);

Q_SIGNALS:
    /// A list was added, removed or renamed.
    void listsChanged();

private:
    QString freeName(const QString &name, int except) const;

    QVector<List> m_lists;
};
