#pragma once

#include "theme.h"

#include <QCache>
#include <QStaticText>
#include <QStyledItemDelegate>

/// Paints the cells of quotes from laid-out strings that it keeps: laying out a string takes most of the time that a
/// cell costs, and most strings of a market come again.
class QuoteDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    explicit QuoteDelegate(QObject *parent = nullptr);

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;

protected:
    /// The background of a cell that is not selected; invalid: that of the view.
    virtual QColor background(const QModelIndex &index) const;
    /// Paints between background and text.
    virtual void paintBelow(QPainter *, const QStyleOptionViewItem &, const QModelIndex &) const { }

private:
    QStaticText laidOut(const QString &string, const QFont &font) const;

    mutable QCache<QString, QStaticText> m_texts;
    mutable QFont m_font; // of m_texts
};
