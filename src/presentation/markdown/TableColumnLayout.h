#pragma once

#include "presentation/markdown/MarkdownBlock.h"

#include <QList>
#include <QString>

#include <optional>

namespace corvane {

// Column widths of a table block on screen. Columns start from their contents; the user drags
// the boundary between two columns, moving width from one neighbour to the other (each keeps
// at least 40, the total stays the same). When a drag ends the widths are remembered as
// fractions under the table's key for the life of the process, so the same table at another
// width, or growing while a reply streams, keeps the user's proportions. A caller whose row
// heights depend on the widths clears MessageHeightCache after remember().
class TableColumnLayout
{
public:
    static constexpr qreal kColumnGap = 12;
    static constexpr qreal kMinimumColumnWidth = 40;

    // The table's identity: its column count and header texts, which stay the same while its
    // rows stream in.
    static QString tableKey(const MarkdownBlock &table);

    // Widths for `available` pixels (gaps excluded by the caller): the remembered fractions of
    // the key if there are any for this column count, else the natural widths (the widest cell
    // of each column) shrunk or grown in proportion, each at least 40 where room allows.
    static QList<qreal> widths(const QString &tableKey, const QList<qreal> &naturalWidths, qreal available);

    // The widths after dragging boundary `boundary` (between that column and the next) by `delta`.
    static QList<qreal> drag(QList<qreal> widths, int boundary, qreal delta);

    static void remember(const QString &tableKey, const QList<qreal> &widths);
    static std::optional<QList<qreal>> rememberedFractions(const QString &tableKey);
};

} // namespace corvane
