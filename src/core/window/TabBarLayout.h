#pragma once

#include <QList>
#include <QRectF>

namespace corvane {

// The geometry of a workspace's tab bar: one row of pills, first the chats, then the open files,
// with an add button after them. Pills share the room evenly but never get narrower than
// `minTabWidth`; when they do not fit, the row runs past the bar's right edge and scrolls.
namespace tabBar {
inline constexpr double minTabWidth = 120;
inline constexpr double tabHeight = 28;
inline constexpr double tabSpacing = 4;
inline constexpr double horizontalPadding = 8;
inline constexpr double addButtonWidth = 28;

// The pill rectangles for a bar of `barWidth` x `barHeight` holding `pillCount` pills.
QList<QRectF> pillRects(double barWidth, double barHeight, int pillCount);
} // namespace tabBar

} // namespace corvane
