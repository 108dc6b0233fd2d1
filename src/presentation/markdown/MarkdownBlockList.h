#pragma once

#include "presentation/markdown/MarkdownRenderer.h"

#include <QList>
#include <QString>

#include <optional>

namespace corvane {

// The update logic of an assistant message drawn as one view per Markdown block: which views
// to keep, refill in place, replace or append when the text grows or the row's width changes.
// A widget owns one, calls update() and applies the plan to its child views; while a reply
// streams only the last block changes, so every other view stays untouched.
class MarkdownBlockList
{
public:
    enum class Action {
        keep,    // same signature: leave the view alone
        refill,  // same kind, other text: replace the view's text in place, reset its sizes
        replace, // another kind: a new view in its place
        append,  // a new view at the end
    };
    struct Step
    {
        int index = 0;
        Action action = Action::keep;
    };
    struct Plan
    {
        QList<MarkdownBlock> blocks;
        QList<Step> steps;     // one per block, in order
        int removeFrom = 0;    // views at this index and beyond go
        qreal contentWidth = 1; // the row's width less 32, at least 1
    };

    // The chat's font size.
    static constexpr double kFontSize = 14.0;

    bool isStreaming = false;
    MarkdownOptions options;

    // Nothing when there is nothing to do: a width of 0 or less, or the same content as last
    // time at a width that moved by less than 0.5.
    std::optional<Plan> update(const QString &content, qreal width);
    // Forces the next update to render (a highlight arrived, the appearance changed).
    void invalidate() { m_hasContent = false; }
    // The last plan showed code still being highlighted: on SyntaxHighlighter::highlighted,
    // invalidate() and update() the rows for which this is true.
    bool waitsForHighlight() const { return m_waitsForHighlight; }

private:
    QString m_content;
    qreal m_width = 0;
    bool m_hasContent = false;
    bool m_waitsForHighlight = false;
    QStringList m_signatures;
    QList<MarkdownBlock::Kind> m_kinds;
};

} // namespace corvane
