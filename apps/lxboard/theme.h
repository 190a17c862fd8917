#pragma once

#include <QColor>
#include <QPalette>

/// The colours of the board. Those of prices come in two sets, since red rises in China and falls elsewhere.
struct Theme
{
    enum Style { Light, Dark };

    /// Pixels between the text of a cell or heading and its sides, so that headings stand over their columns.
    static constexpr int CellMargin = 3;

    /// Widget style and font, before the first window.
    static void setUpApplication();

    Theme(Style style, bool redRises);

    QPalette palette;
    QColor rising;
    QColor falling;
    QColor risingFlash; ///< background of a cell whose price has just risen
    QColor fallingFlash;
    QColor text;
    QColor weakText; ///< labels, axes
    QColor grid;
    QColor crosshair;
    QColor line; ///< of the intraday price
    QColor averageLine;
    QColor movingAverages[3];
};
