#include "core/window/PinnedTool.h"

#include "core/settings/AppSettings.h"

#include <algorithm>
#include <limits>

namespace corvane {

const QList<PinnedTool> &allPinnedTools()
{
    static const QList<PinnedTool> tools{
        {"ports", "Ports", "network", "ports", "blue", "Monitor listening TCP ports across your projects."},
        {"terminal", "Terminal", "terminal.fill", "terminal", "green",
         "View and manage terminal sessions across all chats."},
        {"skills", "Skills", "puzzlepiece.extension.fill", "skills", "purple",
         "Browse and manage Claude Code skills and commands."},
        {"agents", "Agents", "person.crop.rectangle.stack.fill", "agents", "pink",
         "Browse and edit reusable Claude Code subagents."},
        {"flows", "Flows", "bonjour", "flows", "cyan", "Author automation flows that drive the Run Agent feature."},
        {"pulse", "Pulse", "bolt.horizontal.fill", "pulse", "orange", "Timeline of all chat activity across projects."},
        {"planner", "Planner", "checklist", "planner", "indigo", "Manage issues and plans across all projects."},
    };
    return tools;
}

const PinnedTool *pinnedTool(const QString &id)
{
    for (const PinnedTool &tool : allPinnedTools())
        if (tool.id == id)
            return &tool;
    return nullptr;
}

QList<PinnedTool> visibleTools(bool enableAllTools, const QSet<QString> &disabledTools,
                               const QStringList &toolOrder)
{
    QList<PinnedTool> tools;
    for (const PinnedTool &tool : allPinnedTools())
        if (enableAllTools || !disabledTools.contains(tool.id))
            tools.append(tool);
    if (toolOrder.isEmpty())
        return tools;
    const auto position = [&](const PinnedTool &tool) {
        const qsizetype at = toolOrder.indexOf(tool.id);
        return at < 0 ? std::numeric_limits<qsizetype>::max() : at;
    };
    std::stable_sort(tools.begin(), tools.end(),
                     [&](const PinnedTool &a, const PinnedTool &b) { return position(a) < position(b); });
    return tools;
}

QList<PinnedTool> visibleTools(const AppSettings &settings)
{
    return visibleTools(settings.enableAllTools(), settings.disabledTools(), settings.toolOrder());
}

} // namespace corvane
