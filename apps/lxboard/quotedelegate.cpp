#include "quotedelegate.h"

#include <QPainter>

namespace {

constexpr int KeptTexts = 4000; // some 3 MB; several times what a screen shows
constexpr int Margin = Theme::CellMargin;

} // namespace

QuoteDelegate::QuoteDelegate(QObject *parent) : QStyledItemDelegate(parent), m_texts(KeptTexts) { }

QStaticText QuoteDelegate::laidOut(const QString &string, const QFont &font) const
{
    if (font != m_font) {
        m_texts.clear();
        m_font = font;
    }
    if (const QStaticText *found = m_texts.object(string))
        return *found;
    QStaticText text(string);
    text.setTextFormat(Qt::PlainText);
    text.setPerformanceHint(QStaticText::AggressiveCaching);
    text.prepare(QTransform(), font);
    m_texts.insert(string, new QStaticText(text));
    return text;
}

QColor QuoteDelegate::background(const QModelIndex &) const
{
    return QColor();
}

void QuoteDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    const bool isSelected = option.state & QStyle::State_Selected;
    const QColor color = background(index);
    if (color.isValid())
        painter->fillRect(option.rect, color);
    else if (isSelected)
        painter->fillRect(option.rect, option.palette.highlight());
    paintBelow(painter, option, index);

    const QString string = index.data().toString();
    if (string.isEmpty())
        return;
    const QVariant foreground = index.data(Qt::ForegroundRole);
    painter->setPen(foreground.isValid()
                        ? foreground.value<QColor>()
                        : option.palette.color(isSelected ? QPalette::HighlightedText : QPalette::Text));
    painter->setFont(option.font);
    const QStaticText text = laidOut(string, option.font);
    const QSizeF size = text.size();
    const int alignment = index.data(Qt::TextAlignmentRole).toInt();
    qreal x = option.rect.left() + Margin;
    if (alignment & Qt::AlignRight)
        x = option.rect.right() + 1 - Margin - size.width();
    else if (alignment & Qt::AlignHCenter)
        x = option.rect.center().x() - size.width() / 2;
    const qreal y = option.rect.top() + (option.rect.height() - size.height()) / 2;
    if (size.width() + 2 * Margin <= option.rect.width()) {
        painter->drawStaticText(QPointF(x, y), text);
        return;
    }
    const QString elided = option.fontMetrics.elidedText(string, Qt::ElideRight, option.rect.width() - 2 * Margin);
    painter->drawText(option.rect.adjusted(Margin, 0, -Margin, 0), Qt::AlignLeft | Qt::AlignVCenter, elided);
}

QSize QuoteDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    return { option.fontMetrics.horizontalAdvance(index.data().toString()) + 2 * Margin,
             option.fontMetrics.height() + 4 };
}
