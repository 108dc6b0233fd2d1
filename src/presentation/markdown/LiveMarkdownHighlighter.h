#pragma once

#include "presentation/markdown/MarkdownStyle.h"

#include <QSyntaxHighlighter>

#include <memory>

namespace corvane {

// Styles Markdown in an editable text (a plan or a skill being written) in place: the text
// itself never changes, only its look. A simpler pass than MarkdownRenderer, with the same
// vocabulary: "```" lines toggle monospaced code; outside code "### ", "## " and "# " give
// heading fonts, "- ", "* " and "1. " list markers; then **bold**, *italic* and `code` spans.
// Attach it to the editor's QTextDocument; every edit restyles what changed.
class LiveMarkdownHighlighter : public QSyntaxHighlighter
{
    Q_OBJECT
public:
    LiveMarkdownHighlighter(QTextDocument *document, double fontSize = 14.0, bool dark = false);

    void setAppearance(double fontSize, bool dark);

protected:
    void highlightBlock(const QString &text) override;

private:
    std::shared_ptr<const FontRamp> m_fonts;
    MarkdownPalette m_palette;
};

} // namespace corvane
