#include "theme.h"

#include <QApplication>
#include <QFont>
#include <QProxyStyle>

namespace {

constexpr double FontPoints = 9; // a board shows much at once

class BoardStyle : public QProxyStyle
{
public:
    BoardStyle() : QProxyStyle(QStringLiteral("Fusion")) { }

    int pixelMetric(PixelMetric metric, const QStyleOption *option, const QWidget *widget) const override
    {
        return metric == PM_HeaderMargin ? Theme::CellMargin : QProxyStyle::pixelMetric(metric, option, widget);
    }
};

QPalette lightPalette()
{
    QPalette palette(QColor(0xf0, 0xf1, 0xf3));
    palette.setColor(QPalette::Window, QColor(0xf3, 0xf4, 0xf6));
    palette.setColor(QPalette::WindowText, QColor(0x1c, 0x1f, 0x24));
    palette.setColor(QPalette::Base, Qt::white);
    palette.setColor(QPalette::AlternateBase, QColor(0xf7, 0xf8, 0xfa));
    palette.setColor(QPalette::Text, QColor(0x1c, 0x1f, 0x24));
    palette.setColor(QPalette::PlaceholderText, QColor(0x6a, 0x70, 0x79));
    palette.setColor(QPalette::Button, QColor(0xe9, 0xeb, 0xee));
    palette.setColor(QPalette::ButtonText, QColor(0x1c, 0x1f, 0x24));
    palette.setColor(QPalette::Highlight, QColor(0xd5, 0xe4, 0xf7));
    palette.setColor(QPalette::HighlightedText, QColor(0x1c, 0x1f, 0x24));
    palette.setColor(QPalette::ToolTipBase, QColor(0xff, 0xff, 0xe6));
    palette.setColor(QPalette::ToolTipText, QColor(0x1c, 0x1f, 0x24));
    palette.setColor(QPalette::Mid, QColor(0xd5, 0xd8, 0xdd));
    return palette;
}

QPalette darkPalette()
{
    QPalette palette(QColor(0x24, 0x28, 0x2e));
    palette.setColor(QPalette::Window, QColor(0x1a, 0x1d, 0x21));
    palette.setColor(QPalette::WindowText, QColor(0xe3, 0xe6, 0xea));
    palette.setColor(QPalette::Base, QColor(0x12, 0x14, 0x17));
    palette.setColor(QPalette::AlternateBase, QColor(0x17, 0x1a, 0x1e));
    palette.setColor(QPalette::Text, QColor(0xe3, 0xe6, 0xea));
    palette.setColor(QPalette::PlaceholderText, QColor(0x94, 0x9c, 0xa6));
    palette.setColor(QPalette::Button, QColor(0x2a, 0x2f, 0x36));
    palette.setColor(QPalette::ButtonText, QColor(0xe3, 0xe6, 0xea));
    palette.setColor(QPalette::BrightText, Qt::white);
    palette.setColor(QPalette::Highlight, QColor(0x26, 0x3d, 0x5c));
    palette.setColor(QPalette::HighlightedText, QColor(0xf2, 0xf4, 0xf7));
    palette.setColor(QPalette::ToolTipBase, QColor(0x2a, 0x2f, 0x36));
    palette.setColor(QPalette::ToolTipText, QColor(0xe3, 0xe6, 0xea));
    palette.setColor(QPalette::Link, QColor(0x6c, 0xa8, 0xf0));
    palette.setColor(QPalette::Mid, QColor(0x3a, 0x40, 0x48));
    return palette;
}

} // namespace

void Theme::setUpApplication()
{
    QApplication::setStyle(new BoardStyle);
    QFont font = QApplication::font();
    font.setPointSizeF(FontPoints);
    QApplication::setFont(font);
}

Theme::Theme(Style style, bool redRises) : palette(style == Light ? lightPalette() : darkPalette())
{
    const bool isLight = style == Light;
    const QColor red = isLight ? QColor(0xc9, 0x1f, 0x2c) : QColor(0xff, 0x5a, 0x5f);
    const QColor green = isLight ? QColor(0x0b, 0x7a, 0x3b) : QColor(0x3f, 0xc3, 0x80);
    const QColor redFlash = isLight ? QColor(0xfb, 0xd3, 0xd5) : QColor(0x5c, 0x1f, 0x25);
    const QColor greenFlash = isLight ? QColor(0xc9, 0xec, 0xd6) : QColor(0x14, 0x4a, 0x31);
    rising = redRises ? red : green;
    falling = redRises ? green : red;
    risingFlash = redRises ? redFlash : greenFlash;
    fallingFlash = redRises ? greenFlash : redFlash;
    text = palette.color(QPalette::Text);
    weakText = palette.color(QPalette::PlaceholderText);
    grid = isLight ? QColor(0xe4, 0xe6, 0xea) : QColor(0x2a, 0x2e, 0x34);
    crosshair = isLight ? QColor(0x5a, 0x60, 0x69) : QColor(0xa8, 0xb0, 0xba);
    line = isLight ? QColor(0x1d, 0x5f, 0xc4) : QColor(0x6c, 0xa8, 0xf0);
    averageLine = isLight ? QColor(0xc4, 0x7a, 0x00) : QColor(0xf0, 0xb4, 0x4c);
    movingAverages[0] = isLight ? QColor(0xc4, 0x7a, 0x00) : QColor(0xf0, 0xb4, 0x4c);
    movingAverages[1] = isLight ? QColor(0x1d, 0x5f, 0xc4) : QColor(0x6c, 0xa8, 0xf0);
    movingAverages[2] = isLight ? QColor(0x8a, 0x3f, 0xb0) : QColor(0xc7, 0x8b, 0xe8);

    for (const QPalette::ColorRole role : { QPalette::WindowText, QPalette::Text, QPalette::ButtonText })
        palette.setColor(QPalette::Disabled, role, weakText);
}
