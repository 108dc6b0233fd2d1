#include "shell/chat/MarkdownTextView.h"

#include "presentation/markdown/MarkdownDocument.h"
#include "presentation/markdown/MarkdownRenderer.h"

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
    updateGeometry();
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
