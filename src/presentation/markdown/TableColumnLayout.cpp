#include "presentation/markdown/TableColumnLayout.h"

#include <QHash>
#include <QMutex>

#include <numeric>

namespace corvane {

namespace {

struct Remembered
{
    QMutex mutex;
    QHash<QString, QList<qreal>> fractions;
};

Remembered &remembered()
{
    static Remembered store;
    return store;
}

qreal sum(const QList<qreal> &values)
{
    return std::accumulate(values.cbegin(), values.cend(), qreal(0));
}

} // namespace

QString TableColumnLayout::tableKey(const MarkdownBlock &table)
{
    QStringList headers;
    for (const StyledText &header : table.headers)
        headers << header.text;
    return QString::number(headers.size()) + QLatin1Char('|') + headers.join(QChar(0x1f));
}

QList<qreal> TableColumnLayout::widths(const QString &tableKey, const QList<qreal> &naturalWidths, qreal available)
{
    const qsizetype columns = naturalWidths.size();
    if (columns == 0)
        return {};
    available = qMax<qreal>(available, 1);
    if (const auto fractions = rememberedFractions(tableKey); fractions && fractions->size() == columns) {
        QList<qreal> out;
        for (qreal fraction : *fractions)
            out << fraction * available;
        return out;
    }
    QList<qreal> natural;
    for (qreal width : naturalWidths)
        natural << qMax(width, kMinimumColumnWidth);
    const qreal total = sum(natural);
    QList<qreal> out;
    for (qreal width : natural)
        out << width * available / total;
    // Give columns squeezed under the minimum their 40 from the wider ones, if the room allows.
    if (available >= kMinimumColumnWidth * qreal(columns)) {
        qreal deficit = 0;
        qreal spare = 0;
        for (qreal width : out) {
            if (width < kMinimumColumnWidth)
                deficit += kMinimumColumnWidth - width;
            else
                spare += width - kMinimumColumnWidth;
        }
        if (deficit > 0 && spare > 0) {
            for (qreal &width : out) {
                if (width < kMinimumColumnWidth)
                    width = kMinimumColumnWidth;
                else
                    width -= (width - kMinimumColumnWidth) * deficit / spare;
            }
        }
    }
    return out;
}

QList<qreal> TableColumnLayout::drag(QList<qreal> widths, int boundary, qreal delta)
{
    if (boundary < 0 || boundary + 1 >= widths.size())
        return widths;
    qreal &left = widths[boundary];
    qreal &right = widths[boundary + 1];
    // Clamp so neither neighbour goes under the minimum (or shrinks further if already under).
    const qreal grow = qMax<qreal>(0, right - kMinimumColumnWidth);
    const qreal shrink = qMax<qreal>(0, left - kMinimumColumnWidth);
    delta = qBound(-shrink, delta, grow);
    left += delta;
    right -= delta;
    return widths;
}

void TableColumnLayout::remember(const QString &tableKey, const QList<qreal> &widths)
{
    const qreal total = sum(widths);
    if (total <= 0)
        return;
    QList<qreal> fractions;
    for (qreal width : widths)
        fractions << width / total;
    Remembered &store = remembered();
    QMutexLocker lock(&store.mutex);
    store.fractions.insert(tableKey, fractions);
}

std::optional<QList<qreal>> TableColumnLayout::rememberedFractions(const QString &tableKey)
{
    Remembered &store = remembered();
    QMutexLocker lock(&store.mutex);
    const auto it = store.fractions.constFind(tableKey);
    if (it == store.fractions.cend())
        return std::nullopt;
    return *it;
}

} // namespace corvane
