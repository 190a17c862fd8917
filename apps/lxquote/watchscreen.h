#pragma once

#include "quoteview.h"
#include "watchcolumns.h"

#include <QHash>
#include <QList>
#include <QMap>
#include <QObject>
#include <QStringList>
#include <QTimer>

#include <memory>

/// The watch list as a full-screen terminal interface (ncurses): a row per symbol with its latest trades below it,
/// notes, and a status line. Scrolls with the arrow, page, home and end keys; `s` changes the order, `/` finds, `n`
/// finds the next, the space bar pauses, `q` quits.
///
/// Main thread. While it exists, messages for standard error are held back; the latest is shown in the status line.
class WatchScreen : public QObject
{
    Q_OBJECT

public:
    /// Null if the terminal cannot be used.
    static std::unique_ptr<WatchScreen> open(const QStringList &symbols);
    /// Restores the terminal.
    ~WatchScreen() override;

    void update(const QuoteView &quote);
    void addTrade(const TradeView &trade);
    /// Sets a line below the list; it replaces the previous one with the same `key`.
    void setNote(const QString &key, const QString &text);
    void setStatus(const QString &text);

    /// What the list shows, for the terminal's normal screen.
    QString toText(int columns) const;

Q_SIGNALS:
    void quitRequested();

private:
    enum Order { AsGiven, ByChange, ByTurnover, BySymbol, OrderCount };
    struct Terminal;

    explicit WatchScreen(const QStringList &symbols);
    void refresh();
    void readKeys();
    void handleKey(unsigned key, bool isFunctionKey);
    void handleTyping(unsigned key, bool isFunctionKey);
    void find();
    void moveTo(int row);
    void sort();
    int rowsOfList() const;
    int linesOf(int row) const;
    QStringList noteLines() const;
    QuoteView quoteOf(const QString &symbol) const;
    void draw();
    int drawQuote(int y, int row);
    QString statusLine(int width) const;

    std::unique_ptr<Terminal> m_terminal;
    const QStringList m_given;
    QStringList m_symbols; // in the order shown
    QHash<QString, QuoteView> m_quotes;
    QHash<QString, QList<TradeView>> m_trades;
    QMap<QString, QString> m_notes;
    QString m_status;
    Order m_order = AsGiven;
    int m_current = 0; // row of the cursor
    int m_top = 0; // first row shown
    bool m_paused = false;
    bool m_typing = false; // what to find
    QString m_pattern;
    bool m_changed = true;
    QTimer m_timer;
};
