#pragma once

#include "presentation/markdown/MarkdownBlock.h"
#include "presentation/markdown/MarkdownStyle.h"

#include <QList>
#include <QTextCharFormat>
#include <QTextLayout>

#include <memory>

class QTextDocument;

namespace corvane {

// Turns rendered Markdown into what Qt's text system draws. Two ways, pick by widget:
//  - formatRanges() for one StyledText laid out with a QTextLayout (a custom-painted row, a
//    table cell), with QTextCharFormat anchors on links;
//  - fillDocument() / toDocument() for a whole block list in one QTextDocument, which a
//    read-only QTextBrowser (or a QTextEdit with Qt::TextBrowserInteraction) shows with
//    selectable text and clickable links: headings, paragraphs, code blocks as framed blocks
//    on their background, tables as QTextTable with their column alignments.
// Pure GUI-less Qt: QtGui only, usable from tests and from any thread that owns the document.
namespace markdowndocument {

QTextCharFormat charFormat(const StyledRun &run, const FontRamp &fonts);
QList<QTextLayout::FormatRange> formatRanges(const StyledText &text, const FontRamp &fonts);

void fillDocument(QTextDocument &document, const QList<MarkdownBlock> &blocks, const FontRamp &fonts,
                  const MarkdownPalette &palette);
std::unique_ptr<QTextDocument> toDocument(const QList<MarkdownBlock> &blocks, const FontRamp &fonts,
                                          const MarkdownPalette &palette);

// The height of the blocks laid out at `width` pixels, rounded up: what a row delegate's
// sizeHint needs (cache it through MessageHeightCache).
int heightForWidth(const QList<MarkdownBlock> &blocks, const FontRamp &fonts, const MarkdownPalette &palette,
                   qreal width);

} // namespace markdowndocument
} // namespace corvane
