#pragma once

#include "presentation/markdown/MarkdownBlock.h"
#include "shell/chat/ChatStyle.h"

#include <QTextBrowser>

class QTextTable;

namespace corvane {

// Rendered Markdown blocks with selectable text and links that open in the desktop's browser.
// It never scrolls itself: it is as tall as its text, and wheel events go to the timeline.
class MarkdownTextView : public QTextBrowser
{
    Q_OBJECT
public:
    explicit MarkdownTextView(QWidget *parent = nullptr);

    void setBlocks(const QList<MarkdownBlock> &blocks, const ChatStyle &style);
    // Renders a whole Markdown text (not streaming).
    void setMarkdown(const QString &content, const ChatStyle &style);
    // The height of the text laid out at `width`.
    int heightForWidth(int width) const override;
    bool hasHeightForWidth() const override { return true; }
    QSize sizeHint() const override;

signals:
    // The user dragged a table's column boundary: the row's height may have changed.
    void tableResized();

protected:
    void wheelEvent(QWheelEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;

private:
    QTextTable *table() const;
    // Header cell rectangles, left to right.
    QList<QRectF> headerCells() const;
    // The column boundary under x (between column i and i + 1), or -1.
    int boundaryAt(const QPointF &position) const;
    void applyWidths(const QList<qreal> &widths);

    QString m_tableKey;
    int m_dragBoundary = -1;
    qreal m_dragStartX = 0;
    QList<qreal> m_dragStartWidths;
    QList<qreal> m_widths;
};

} // namespace corvane
