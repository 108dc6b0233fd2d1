#include "automation/RunLaunch.h"

#include <algorithm>

namespace corvane::runlaunch {

QString branchSlug(const QString &title)
{
    QString dashed;
    for (const QChar c : title.toLower())
        dashed.append(c.isLetterOrNumber() ? c : QLatin1Char('-'));
    return dashed.split(QLatin1Char('-'), Qt::SkipEmptyParts).join(QLatin1Char('-')).left(48);
}

QList<std::shared_ptr<AutomationFlow>> flowsFor(QList<std::shared_ptr<AutomationFlow>> flows, const QUuid &projectId)
{
    flows.removeIf([&](const auto &flow) { return flow->isProjectScoped() && flow->projectId != projectId; });
    std::stable_sort(flows.begin(), flows.end(), [](const auto &a, const auto &b) {
        if (a->isProjectScoped() != b->isProjectScoped())
            return a->isProjectScoped();
        return a->name < b->name;
    });
    return flows;
}

QString launchPrompt(const QString &flowName, const LaunchIssue &issue, bool inWorktree)
{
    QStringList lines{QStringLiteral("# Automation: ") + flowName, QString(), QStringLiteral("## Issue"),
                      QStringLiteral("**") + issue.title + QStringLiteral("**")};
    if (issue.description && !issue.description->isEmpty())
        lines << QString() << *issue.description;
    lines << QString() << QStringLiteral("## Environment")
          << (inWorktree ? QStringLiteral("- Running in an isolated git worktree for this run.")
                         : QStringLiteral("- Running in the project's current checkout (changes apply in place)."))
          << QString() << QStringLiteral("## Protocol")
          << QStringLiteral("When implementation is complete and you want quality gates to run, emit on its own line:")
          << QString() << QStringLiteral("    [CORVANE:READY_FOR_VALIDATION]") << QString()
          << QStringLiteral("When the Reviewer subagent has produced a verdict, emit on its own line:") << QString()
          << QStringLiteral("    [CORVANE:REVIEW_VERDICT=approved]") << QStringLiteral("    [CORVANE:REVIEW_VERDICT=needs_changes]")
          << QStringLiteral("    [CORVANE:REVIEW_VERDICT=rejected]") << QString()
          << QStringLiteral("Optionally precede the verdict with feedback:") << QString()
          << QStringLiteral("    [CORVANE:REVIEW_FEEDBACK=single-line feedback]") << QString()
          << QStringLiteral("or a fenced block:") << QString() << QStringLiteral("    [CORVANE:REVIEW_FEEDBACK_BEGIN]")
          << QStringLiteral("    multi-line feedback") << QStringLiteral("    [CORVANE:REVIEW_FEEDBACK_END]") << QString()
          << QStringLiteral("Begin.");
    return lines.join(QLatin1Char('\n'));
}

} // namespace corvane::runlaunch
