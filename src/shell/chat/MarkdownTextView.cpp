#include "shell/chat/MarkdownTextView.h"

#include "presentation/markdown/MarkdownDocument.h"
#include "presentation/markdown/MarkdownRenderer.h"
#include "presentation/markdown/TableColumnLayout.h"
#include "presentation/timeline/TimelineRowHeights.h"

#include <QAbstractTextDocumentLayout>
#include <QMouseEvent>
#include <QTextTable>

#include <QDesktopServices>
#include <QTextDocument>
#include <QWheelEvent>

#include <cmath>

namespace corvane {

MarkdownTextView::MarkdownTextView(QWidget *parent) : QTextBrowser(parent)
{
    setFrameShape(QFrame::NoFrame);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setOpenLinks(false);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard | Qt::LinksAccessibleByMouse);
    setFocusPolicy(Qt::ClickFocus);
    setContextMenuPolicy(Qt::DefaultContextMenu);
    viewport()->setAutoFillBackground(false);
    setAutoFillBackground(false);
    setStyleSheet(QStringLiteral("QTextBrowser { background: transparent; }"));
    document()->setDocumentMargin(2);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    connect(this, &QTextBrowser::anchorClicked, this, [](const QUrl &url) { QDesktopServices::openUrl(url); });
}

void MarkdownTextView::setBlocks(const QList<MarkdownBlock> &blocks, const ChatStyle &style)
{
    const auto fonts = FontRamp::forSize(style.fontSize());
    document()->clear();
    markdowndocument::fillDocument(*document(), blocks, *fonts, MarkdownPalette::forAppearance(style.dark));
    m_tableKey.clear();
    if (blocks.size() == 1 && blocks.first().kind == MarkdownBlock::Kind::table) {
        m_tableKey = TableColumnLayout::tableKey(blocks.first());
        viewport()->setMouseTracking(true);
        if (TableColumnLayout::rememberedFractions(m_tableKey)) {
            // The table keeps its natural width; the user's proportions share it out.
            if (document()->textWidth() <= 0)
                document()->setTextWidth(qMax(200, width()));
            QList<qreal> natural;
            qreal total = 0;
            for (const QRectF &cell : headerCells()) {
                natural << cell.width();
                total += cell.width();
            }
            applyWidths(TableColumnLayout::widths(m_tableKey, natural, total));
        }
    }
    updateGeometry();
}

QTextTable *MarkdownTextView::table() const
{
    if (m_tableKey.isEmpty())
        return nullptr;
    for (QTextFrame *frame : document()->rootFrame()->childFrames())
        if (auto *found = qobject_cast<QTextTable *>(frame))
            return found;
    return nullptr;
}

QList<QRectF> MarkdownTextView::headerCells() const
{
    QList<QRectF> cells;
    QTextTable *t = table();
    if (!t)
        return cells;
    QAbstractTextDocumentLayout *layout = document()->documentLayout();
    for (int column = 0; column < t->columns(); ++column)
        cells << layout->blockBoundingRect(t->cellAt(0, column).firstCursorPosition().block());
    return cells;
}

int MarkdownTextView::boundaryAt(const QPointF &position) const
{
    const QList<QRectF> cells = headerCells();
    QTextTable *t = table();
    if (cells.size() < 2 || !t)
        return -1;
    const QRectF frame = document()->documentLayout()->frameBoundingRect(t);
    if (position.y() < frame.top() || position.y() > frame.bottom())
        return -1;
    for (int i = 0; i + 1 < cells.size(); ++i) {
        const qreal boundary = (cells[i].right() + cells[i + 1].left()) / 2;
        if (std::abs(position.x() - boundary) <= 4)
            return i;
    }
    return -1;
}

void MarkdownTextView::applyWidths(const QList<qreal> &widths)
{
    QTextTable *t = table();
    if (!t || widths.size() != t->columns())
        return;
    // The widths are of the cells' text; a column also holds its cell padding and border.
    QTextTableFormat format = t->format();
    const qreal extra = 2 * format.cellPadding() + format.border();
    QList<QTextLength> constraints;
    for (qreal w : widths)
        constraints << QTextLength(QTextLength::FixedLength, w + extra);
    format.setColumnWidthConstraints(constraints);
    t->setFormat(format);
    m_widths = widths;
}

void MarkdownTextView::mousePressEvent(QMouseEvent *event)
{
    const int boundary = event->button() == Qt::LeftButton ? boundaryAt(event->position()) : -1;
    if (boundary < 0) {
        QTextBrowser::mousePressEvent(event);
        return;
    }
    m_dragBoundary = boundary;
    m_dragStartX = event->position().x();
    m_dragStartWidths.clear();
    for (const QRectF &cell : headerCells())
        m_dragStartWidths << cell.width();
    event->accept();
}

void MarkdownTextView::mouseMoveEvent(QMouseEvent *event)
{
    if (m_dragBoundary >= 0) {
        applyWidths(TableColumnLayout::drag(m_dragStartWidths, m_dragBoundary, event->position().x() - m_dragStartX));
        event->accept();
        return;
    }
    if (!m_tableKey.isEmpty()) {
        if (boundaryAt(event->position()) >= 0)
            viewport()->setCursor(Qt::SplitHCursor);
        else
            viewport()->unsetCursor();
    }
    QTextBrowser::mouseMoveEvent(event);
}

void MarkdownTextView::mouseReleaseEvent(QMouseEvent *event)
{
    if (m_dragBoundary < 0) {
        QTextBrowser::mouseReleaseEvent(event);
        return;
    }
    m_dragBoundary = -1;
    TableColumnLayout::remember(m_tableKey, m_widths);
    // Row heights of tables depend on the drag now, not only on their text.
    MessageHeightCache::clear();
    emit tableResized();
    event->accept();
}

void MarkdownTextView::setMarkdown(const QString &content, const ChatStyle &style)
{
    setBlocks(MarkdownRenderer::blocks(content, false, 14.0, style.markdownOptions()), style);
}

int MarkdownTextView::heightForWidth(int width) const
{
    QTextDocument *doc = document();
    if (doc->textWidth() != width)
        doc->setTextWidth(width);
    return int(std::ceil(doc->size().height()));
}

QSize MarkdownTextView::sizeHint() const
{
    const int width = qMax(200, this->width());
    return {width, heightForWidth(width)};
}

void MarkdownTextView::wheelEvent(QWheelEvent *event)
{
    event->ignore();
}

} // namespace corvane
