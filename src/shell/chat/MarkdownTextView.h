#pragma once

#include "presentation/markdown/MarkdownBlock.h"
#include "shell/chat/ChatStyle.h"

#include <QTextBrowser>

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

protected:
    void wheelEvent(QWheelEvent *event) override;
};

} // namespace corvane
