#pragma once

#include <lxsymbolmodel.h>

#include <QFrame>

class QLineEdit;
class QTableView;

/// A small window over the board in which a symbol is found by code, name or pinyin initials. Return takes the current
/// match, Escape or the loss of the focus closes it.
class SymbolFinder : public QFrame
{
    Q_OBJECT

public:
    SymbolFinder(LxSymbolModel *symbols, QWidget *parent);

    /// Opens it at the lower right of the parent's visible area, with what has been typed so far.
    void open(const QString &typed);

Q_SIGNALS:
    void chosen(const QString &symbol);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void choose();
    void moveCurrent(int rows);

    LxSymbolFilterModel m_filter;
    QLineEdit *const m_edit;
    QTableView *const m_matches;
};
