#include "presentation/markdown/MarkdownDocument.h"

#include <QAbstractTextDocumentLayout>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextFrame>
#include <QTextTable>

#include <cmath>

namespace corvane::markdowndocument {

namespace {

constexpr qreal kBlockSpacing = 8;
constexpr qreal kCodePadding = 10;
constexpr qreal kCellPadding = 6;

void insertStyled(QTextCursor &cursor, const StyledText &text, const FontRamp &fonts)
{
    for (const StyledRun &run : text.runs)
        cursor.insertText(text.text.mid(run.start, run.length), charFormat(run, fonts));
}

Qt::Alignment alignmentOf(TableAlignment alignment)
{
    switch (alignment) {
    case TableAlignment::center: return Qt::AlignHCenter;
    case TableAlignment::trailing: return Qt::AlignRight;
    case TableAlignment::leading: break;
    }
    return Qt::AlignLeft;
}

void insertTable(QTextCursor &cursor, const MarkdownBlock &block, const FontRamp &fonts, const MarkdownPalette &palette)
{
    const int columns = int(block.headers.size());
    if (columns == 0)
        return;
    QTextTableFormat format;
    format.setCellPadding(kCellPadding);
    format.setCellSpacing(0);
    format.setBorder(1);
    format.setBorderStyle(QTextFrameFormat::BorderStyle_Solid);
    format.setBorderBrush(palette.secondaryTextColor);
    format.setBorderCollapse(true);
    format.setTopMargin(kBlockSpacing / 2);
    format.setBottomMargin(kBlockSpacing / 2);
    QTextTable *table = cursor.insertTable(int(block.rows.size()) + 1, columns, format);
    auto fillRow = [&](int row, const QList<StyledText> &cells, bool header) {
        for (int column = 0; column < columns; ++column) {
            QTextTableCell cell = table->cellAt(row, column);
            if (header) {
                QTextCharFormat background = cell.format();
                background.setBackground(block.backgroundColor);
                cell.setFormat(background);
            }
            QTextCursor at = cell.firstCursorPosition();
            QTextBlockFormat alignment = at.blockFormat();
            alignment.setAlignment(alignmentOf(block.alignments.value(column)));
            at.setBlockFormat(alignment);
            StyledText text = cells.value(column);
            if (header) // headers are bold whatever their inline styles
                for (StyledRun &run : text.runs)
                    run.bold = true;
            insertStyled(at, text, fonts);
        }
    };
    fillRow(0, block.headers, true);
    for (int row = 0; row < block.rows.size(); ++row)
        fillRow(row + 1, block.rows[row], false);
    cursor = table->lastCursorPosition();
    cursor.movePosition(QTextCursor::NextBlock);
}

void insertCode(QTextCursor &cursor, const MarkdownBlock &block, const FontRamp &fonts)
{
    QTextFrameFormat frame;
    frame.setBackground(block.backgroundColor);
    frame.setPadding(kCodePadding);
    frame.setTopMargin(kBlockSpacing / 2);
    frame.setBottomMargin(kBlockSpacing / 2);
    frame.setBorder(0);
    QTextFrame *inserted = cursor.insertFrame(frame);
    QTextCursor inside = inserted->firstCursorPosition();
    QTextBlockFormat lines;
    lines.setNonBreakableLines(true); // code scrolls, it does not wrap
    inside.setBlockFormat(lines);
    insertStyled(inside, block.attributed, fonts);
    cursor = inserted->lastCursorPosition();
    cursor.movePosition(QTextCursor::NextBlock);
}

} // namespace

QTextCharFormat charFormat(const StyledRun &run, const FontRamp &fonts)
{
    QTextCharFormat format;
    format.setFont(fonts.font(run));
    if (run.color.isValid())
        format.setForeground(run.color);
    format.setFontUnderline(run.underline);
    if (!run.link.isEmpty()) {
        format.setAnchor(true);
        format.setAnchorHref(run.link);
    }
    return format;
}

QList<QTextLayout::FormatRange> formatRanges(const StyledText &text, const FontRamp &fonts)
{
    QList<QTextLayout::FormatRange> ranges;
    ranges.reserve(text.runs.size());
    for (const StyledRun &run : text.runs)
        ranges.append({run.start, run.length, charFormat(run, fonts)});
    return ranges;
}

void fillDocument(QTextDocument &document, const QList<MarkdownBlock> &blocks, const FontRamp &fonts,
                  const MarkdownPalette &palette)
{
    document.clear();
    document.setDefaultFont(fonts.body);
    document.setDocumentMargin(0);
    QTextCursor cursor(&document);
    // The cursor stands in an empty block at the start and behind every frame and table;
    // a paragraph behind a paragraph needs a block of its own.
    bool needBlock = false;
    bool first = true;
    for (const MarkdownBlock &block : blocks) {
        if (block.kind == MarkdownBlock::Kind::codeBlock || block.kind == MarkdownBlock::Kind::table) {
            if (block.kind == MarkdownBlock::Kind::codeBlock)
                insertCode(cursor, block, fonts);
            else
                insertTable(cursor, block, fonts, palette);
            needBlock = false;
            first = false;
            continue;
        }
        if (needBlock)
            cursor.insertBlock();
        QTextBlockFormat format;
        format.setTopMargin(first ? 0 : kBlockSpacing / 2);
        format.setBottomMargin(kBlockSpacing / 2);
        if (block.kind == MarkdownBlock::Kind::heading)
            format.setHeadingLevel(block.level);
        cursor.setBlockFormat(format);
        insertStyled(cursor, block.text, fonts);
        needBlock = true;
        first = false;
    }
}

std::unique_ptr<QTextDocument> toDocument(const QList<MarkdownBlock> &blocks, const FontRamp &fonts,
                                          const MarkdownPalette &palette)
{
    auto document = std::make_unique<QTextDocument>();
    fillDocument(*document, blocks, fonts, palette);
    return document;
}

int heightForWidth(const QList<MarkdownBlock> &blocks, const FontRamp &fonts, const MarkdownPalette &palette,
                   qreal width)
{
    QTextDocument document;
    fillDocument(document, blocks, fonts, palette);
    document.setTextWidth(qMax<qreal>(1, width));
    return int(std::ceil(document.documentLayout()->documentSize().height()));
}

} // namespace corvane::markdowndocument
