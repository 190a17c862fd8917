#pragma once

#include "quoteview.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

/// The watch list on a terminal: a row a symbol, its latest trades below it, drawn over itself.
class WatchTable
{
public:
    explicit WatchTable(const QStringList &symbols);

    void update(const QuoteView &quote);
    void addTrade(const TradeView &trade);
    /// A line below the table, by its key; replaced when it comes again.
    void setNote(const QString &key, const QString &text);
    /// The last line, whatever room there is.
    void setStatus(const QString &text) { m_status = text; }

    /// Draws the table over the last drawing, as far as the terminal has room.
    void draw();

    /// One update as a line, for output that is no terminal.
    static QString line(const QuoteView &quote);
    static QString line(const TradeView &trade);

private:
    static QString header();

    const QStringList m_symbols;
    QHash<QString, QuoteView> m_quotes;
    QHash<QString, QList<TradeView>> m_trades;
    QMap<QString, QString> m_notes;
    QString m_status;
    int m_linesDrawn = 0;
};
