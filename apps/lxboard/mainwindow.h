#pragma once

#include "theme.h"
#include "watchlists.h"

#include <lxquotetablemodel.h>
#include <lxsymbolmodel.h>

#include <QMainWindow>

class BoardStatus;
class ChartPanel;
class MarketHost;
class QActionGroup;
class QSettings;
class QSplitter;
class QTabBar;
class QuoteBoardView;
class SymbolFinder;
class SymbolPanel;

/// The board: watch lists and the whole market on the left, above the charts of the chosen symbol; its price, figures,
/// book and transactions on the right.
///
/// Lists and layout are read from the settings and written back when the window closes.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    MainWindow(MarketHost *host, QSettings *settings);
    ~MainWindow() override;

    QString currentSymbol() const { return m_symbol; }
    void setCurrentSymbol(const QString &symbol);

    WatchLists &watchLists() { return m_lists; }
    LxQuoteTableModel &quotes() { return m_quotes; }
    QuoteBoardView *boardView() const { return m_view; }
    SymbolPanel *symbolPanel() const { return m_panel; }
    ChartPanel *chartPanel() const { return m_charts; }
    SymbolFinder *finder() const { return m_finder; }
    QTabBar *listTabs() const { return m_tabs; }

    void setStyle(Theme::Style style, bool redRises);

    /// False, with a message to the user, if the file cannot be read or has no symbol in it.
    bool importList(const QString &path);
    bool exportList(const QString &path);

Q_SIGNALS:
    /// The user has chosen another language ("en", "zh_CN"); the window has to be created again.
    void languageChosen(const QString &language);

protected:
    void closeEvent(QCloseEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void createActions();
    void createListActions(QMenu *menu);
    void createViewActions(QMenu *menu);
    QAction *addAction(QMenu *menu, const QString &text, const QKeySequence &shortcut, void (MainWindow::*slot)());
    void fillTabs();
    void showList();
    bool isWholeMarket() const;
    void keepList();
    void updateListActions();
    void restore();
    void showWhatTrades();
    void save();

    void addCurrentSymbol();
    void removeSelectedSymbol();
    void moveSelectedSymbol(int rows);
    void newList();
    void renameList();
    void deleteList();
    void chooseImport();
    void chooseExport();
    void toggleChart();
    void nextPeriod();
    void previousList();
    void nextList();

    MarketHost *const m_host;
    QMetaObject::Connection m_firstOrder; // until the rows of a first start are sorted
    QSettings *const m_settings;
    WatchLists m_lists;
    LxQuoteTableModel m_quotes;
    LxSymbolModel m_symbols;
    QString m_symbol;
    Theme::Style m_style = Theme::Light;
    bool m_redRises = true;

    QTabBar *m_tabs = nullptr;
    QuoteBoardView *m_view = nullptr;
    ChartPanel *m_charts = nullptr;
    SymbolPanel *m_panel = nullptr;
    QSplitter *m_leftSplitter = nullptr;
    QSplitter *m_splitter = nullptr;
    SymbolFinder *m_finder = nullptr;
    BoardStatus *m_status = nullptr;
    QVector<QAction *> m_listActions; // of watch lists only
    QAction *m_darkAction = nullptr;
    QAction *m_redRisesAction = nullptr;
};
