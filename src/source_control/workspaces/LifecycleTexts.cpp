#include "source_control/workspaces/LifecycleTexts.h"

#include <QStringList>

namespace corvane::lifecycleText {

namespace {

struct Ladder
{
    const char *plain;
    const char *changesOnly;
    const char *changesAnd;
    const char *commitsOnly;
};

constexpr Ladder workspaceLadder{
    "This will archive the workspace and all its chats, and remove its worktree. Any uncommitted changes will be lost.",
    "This will archive the workspace and all its chats, and remove the worktree.\n\n⚠️ This worktree has uncommitted "
    "changes. The worktree removal is permanent and cannot be undone.",
    "This will archive the workspace and all its chats, and remove the worktree.\n\n⚠️ This worktree has uncommitted "
    "changes and ",
    "This will archive the workspace and all its chats, and remove the worktree.\n\n⚠️ This worktree has ",
};

constexpr Ladder chatLadder{
    "This will archive the chat and remove its worktree. Any uncommitted changes in the worktree will be lost.",
    "This will archive the chat and remove its worktree.\n\n⚠️ This worktree has uncommitted changes. The worktree "
    "removal is permanent and cannot be undone.",
    "This will archive the chat and remove its worktree.\n\n⚠️ This worktree has uncommitted changes and ",
    "This will archive the chat and remove its worktree.\n\n⚠️ This worktree has ",
};

QString climb(const Ladder &ladder, const std::optional<WorktreeDirtyStatus> &status)
{
    if (!status || (!status->hasUncommittedChanges && status->unpushedCommitCount == 0))
        return QString::fromUtf8(ladder.plain);
    const int commits = status->unpushedCommitCount;
    if (status->hasUncommittedChanges)
        return commits == 0 ? QString::fromUtf8(ladder.changesOnly)
                            : QString::fromUtf8(ladder.changesAnd) + commitPhrase(commits);
    return QString::fromUtf8(ladder.commitsOnly) + commitPhrase(commits);
}

QString counted(int count, const char *singular)
{
    return QStringLiteral("%1 %2%3").arg(count).arg(QLatin1String(singular), count == 1 ? "" : "s");
}

QString warning(const QString &ladderText, const WorktreeDirtyStatus &status)
{
    const QString loss = lossSummary(status);
    return loss.isEmpty() ? ladderText : ladderText + QStringLiteral("\n\n") + loss;
}

} // namespace

QString archiveWorkspaceConfirmation(const std::optional<WorktreeDirtyStatus> &status)
{
    return climb(workspaceLadder, status);
}

QString archiveChatConfirmation(const std::optional<WorktreeDirtyStatus> &status)
{
    return climb(chatLadder, status);
}

QString commitPhrase(int count)
{
    return QStringLiteral("%1 unpushed commit%2. The worktree removal is permanent and cannot be undone.")
        .arg(count)
        .arg(count == 1 ? "" : "s");
}

QString lossSummary(const WorktreeDirtyStatus &status)
{
    QStringList parts;
    if (status.hasUncommittedChanges)
        parts << counted(qMax(1, status.changedFileCount), "changed file");
    if (status.unpushedCommitCount > 0)
        parts << counted(status.unpushedCommitCount, "unpushed commit");
    QString text;
    if (!parts.isEmpty())
        text = QStringLiteral("Would be lost: ") + parts.join(QStringLiteral(" and ")) + u'.';
    if (status.unreadableReason) {
        if (!text.isEmpty())
            text += u' ';
        text += QStringLiteral("git could not read the worktree (%1): whatever it holds would be lost.")
                    .arg(*status.unreadableReason);
    }
    return text;
}

QString workspaceRemovalWarning(const WorktreeDirtyStatus &status)
{
    return warning(archiveWorkspaceConfirmation(status), status);
}

QString chatRemovalWarning(const WorktreeDirtyStatus &status)
{
    return warning(archiveChatConfirmation(status), status);
}

QString deleteWorkspaceTitle(const QString &name)
{
    return QStringLiteral("Permanently Delete \"%1\"?").arg(name);
}

QString deleteAllArchivedText(int count)
{
    return QStringLiteral("This will permanently delete all %1 archived workspaces. This action cannot be undone.").arg(count);
}

QString shortSessionId(const QString &id)
{
    return id.size() > 12 ? id.left(8) + QStringLiteral("…") : id;
}

} // namespace corvane::lifecycleText
