#include "presentation/markdown/MarkdownBlockList.h"

#include <cmath>

namespace corvane {

std::optional<MarkdownBlockList::Plan> MarkdownBlockList::update(const QString &content, qreal width)
{
    if (width <= 0)
        return std::nullopt;
    if (m_hasContent && content == m_content && std::abs(width - m_width) < 0.5)
        return std::nullopt;
    m_content = content;
    m_width = width;
    m_hasContent = true;

    Plan plan;
    plan.blocks = MarkdownRenderer::blocks(content, isStreaming, kFontSize, options);
    plan.contentWidth = qMax<qreal>(1, width - 32);
    m_waitsForHighlight = std::any_of(plan.blocks.cbegin(), plan.blocks.cend(),
                                      [](const MarkdownBlock &b) { return b.highlightPending; });
    const int shown = int(m_signatures.size());
    const int count = int(plan.blocks.size());
    plan.removeFrom = qMin(shown, count);
    QStringList signatures;
    QList<MarkdownBlock::Kind> kinds;
    for (int i = 0; i < count; ++i) {
        const MarkdownBlock &block = plan.blocks[i];
        signatures << block.signature();
        kinds << block.kind;
        Action action = Action::append;
        if (i < shown)
            action = m_signatures[i] == signatures.last() ? Action::keep
                   : m_kinds[i] == block.kind             ? Action::refill
                                                          : Action::replace;
        plan.steps.append({i, action});
    }
    m_signatures = signatures;
    m_kinds = kinds;
    return plan;
}

} // namespace corvane
