#pragma once

#include "core/NotificationCenter.h"
#include "core/records/Chat.h"
#include "core/records/Enums.h"
#include "source_control/GitFuture.h"
#include "source_control/GitTypes.h"

#include <QList>
#include <QObject>
#include <QString>

#include <memory>
#include <optional>

namespace corvane {

struct Project;

// What the new-chat sheet holds and decides: it makes a branch in the project's checkout, or a
// worktree on a new or an existing branch, and hands back a new Chat (not yet inserted) through
// chatCreated(). A dialog draws it; every decision and text lives here.
class NewChatSheetModel : public QObject
{
    Q_OBJECT

public:
    enum class WorktreeSource { newBranch, existing };
    enum class BranchTab { local, remote };

    NewChatSheetModel(std::shared_ptr<Project> project, WorkspaceCreationMode mode,
                      NotificationCenter &center = NotificationCenter::instance(), QObject *parent = nullptr);

    static QString label(WorktreeSource source);
    // "Please enter a branch name" or "Invalid branch name" for the field's text, or nothing when
    // it may be used. Letters and digits of any script, "-", "_" and "/" (not first or last); names
    // git itself would refuse ("a//b", "-x") count as invalid too.
    static std::optional<QString> branchNameError(const QString &text);
    // The name as it will be used: trimmed, in composed Unicode form.
    static QString normalizedBranchName(const QString &text);

    const Project &project() const { return *m_project; }
    WorkspaceCreationMode mode() const { return m_mode; }
    QString branchName() const { return m_branchName; }
    const QList<GitBranch> &branches() const { return m_branches; }
    QString selectedBaseBranch() const { return m_selectedBaseBranch; }
    std::optional<QString> errorMessage() const { return m_errorMessage; }
    bool isCreating() const { return m_isCreating; }
    WorktreeSource worktreeSource() const { return m_worktreeSource; }
    std::optional<GitBranch> selectedExistingBranch() const { return m_selectedExistingBranch; }
    const QList<GitBranch> &remoteBranches() const { return m_remoteBranches; }
    bool hasLoadedRemote() const { return m_hasLoadedRemote; }
    bool isFetchingRemote() const { return m_isFetchingRemote; }
    BranchTab selectedBranchTab() const { return m_selectedBranchTab; }
    QString branchSearchText() const { return m_branchSearchText; }

    void setBranchName(const QString &text);
    void setSelectedBaseBranch(const QString &name);
    void setWorktreeSource(WorktreeSource source);
    void setSelectedExistingBranch(const std::optional<GitBranch> &branch);
    void setBranchSearchText(const QString &text);
    // The remote tab loads the remote branches the first time it is chosen; the future is that load.
    GitFuture<QList<GitBranch>> selectBranchTab(BranchTab tab);

    // The lists as filtered by the search text (case-insensitive containment).
    QList<GitBranch> filteredBranches() const;
    QList<GitBranch> filteredRemoteBranches() const;

    // Loads the local branches and preselects the current one as the base.
    GitFuture<QList<GitBranch>> start();
    bool canCreate() const;
    // Runs the chosen flow. Fails with the text also put in errorMessage().
    GitFuture<Chat> create();

signals:
    void changed();
    void chatCreated(const corvane::Chat &chat);

private:
    GitFuture<Chat> createExistingBranchWorktree();
    GitFuture<Chat> createNewBranchWorktree(const QString &branch);
    GitFuture<Chat> createBranchInCheckout(const QString &branch);
    std::optional<QString> base() const;
    // Ends a flow with an error: the sheet stays open.
    GitFuture<Chat> fail(const QString &message);
    void succeed(const Chat &chat, GitPromise<Chat> promise);
    Chat newChat(const QString &branch) const;

    std::shared_ptr<Project> m_project;
    WorkspaceCreationMode m_mode;
    NotificationCenter &m_center;

    QString m_branchName;
    QList<GitBranch> m_branches;
    QString m_selectedBaseBranch;
    std::optional<QString> m_errorMessage;
    bool m_isCreating = false;
    WorktreeSource m_worktreeSource = WorktreeSource::newBranch;
    std::optional<GitBranch> m_selectedExistingBranch;
    QList<GitBranch> m_remoteBranches;
    bool m_hasLoadedRemote = false;
    bool m_isFetchingRemote = false;
    BranchTab m_selectedBranchTab = BranchTab::local;
    QString m_branchSearchText;
};

} // namespace corvane
