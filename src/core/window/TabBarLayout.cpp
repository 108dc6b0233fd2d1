#include "core/window/TabBarLayout.h"

#include <algorithm>

namespace corvane::tabBar {

QList<QRectF> pillRects(double barWidth, double barHeight, int pillCount)
{
    QList<QRectF> rects;
    if (pillCount <= 0)
        return rects;
    const double room = std::max(0.0, barWidth - 2 * horizontalPadding - addButtonWidth - tabSpacing
                                          - tabSpacing * (pillCount - 1));
    const double width = std::max(minTabWidth, room / pillCount);
    const double y = (barHeight - tabHeight) / 2;
    rects.reserve(pillCount);
    for (int i = 0; i < pillCount; ++i)
        rects.append(QRectF(horizontalPadding + i * (width + tabSpacing), y, width, tabHeight));
    return rects;
}

} // namespace corvane::tabBar
