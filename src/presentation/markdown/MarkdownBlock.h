#pragma once

#include "presentation/markdown/StyledText.h"

#include <QColor>
#include <QList>
#include <QString>

namespace corvane {

enum class TableAlignment { leading, center, trailing };

// One block of rendered Markdown. A tagged union kept as one plain struct so that a delegate can
// copy it around and switch on `kind`; only the members of its kind are meaningful.
struct MarkdownBlock
{
    enum class Kind { paragraph, codeBlock, table, heading };
    Kind kind = Kind::paragraph;

    // paragraph and heading
    StyledText text;
    int level = 0; // heading, 1 to 6

    // codeBlock: `attributed` is highlighted when a highlight was at hand, else plain code text;
    // `rawCode` is always the text itself and is what "Copy code" copies.
    QString language;
    StyledText attributed;
    QString rawCode;
    // True while the highlighter is still working on this code: a view re-renders the message
    // when SyntaxHighlighter reports the result.
    bool highlightPending = false;

    // table
    QList<StyledText> headers;
    QList<QList<StyledText>> rows;
    QList<TableAlignment> alignments;

    // codeBlock and table
    QColor backgroundColor;

    // A one-letter kind and a hash of the plain text, fonts left out: a view keeps the widget of
    // a block whose signature did not change, and refills one of the same kind in place.
    QString signature() const;
    // The text a view shows for the block, without styles (for copying a selection and tests).
    QString plainText() const;

    bool operator==(const MarkdownBlock &) const = default;
};

} // namespace corvane
