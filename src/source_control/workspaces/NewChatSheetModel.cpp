#include "source_control/workspaces/NewChatSheetModel.h"

#include "core/Log.h"
#include "core/Paths.h"
#include "core/records/Project.h"
#include "source_control/BranchNameRules.h"
#include "source_control/GitService.h"
#include "core/Broadcasts.h"
#include "source_control/workspaces/WorktreeRemoval.h"

#include <QCoreApplication>
#include <QDir>
#include <QPointer>
#include <QTimer>

namespace corvane {

namespace {

const char *const kTag = "NewChatSheet";
const QString kWorktreeHint = QStringLiteral("\n\nHint: this branch may already be checked out in another worktree.");

bool allowedCharacter(char32_t c)
{
    return QChar::isLetter(c) || QChar::isDigit(c) || c == U'-' || c == U'_' || c == U'/';
}

QList<GitBranch> filtered(const QList<GitBranch> &branches, const QString &search)
{
    if (search.isEmpty())
        return branches;
    QList<GitBranch> out;
    for (const GitBranch &branch : branches)
        if (branch.name.contains(search, Qt::CaseInsensitive))
            out.append(branch);
    return out;
}

} // namespace

NewChatSheetModel::NewChatSheetModel(std::shared_ptr<Project> project, WorkspaceCreationMode mode,
                                     NotificationCenter &center, QObject *parent)
    : QObject(parent), m_project(std::move(project)), m_mode(mode), m_center(center)
{
}

QString NewChatSheetModel::label(WorktreeSource source)
{
    return source == WorktreeSource::newBranch ? QStringLiteral("New branch") : QStringLiteral("Existing branch");
}

QString NewChatSheetModel::normalizedBranchName(const QString &text)
{
    return text.trimmed().normalized(QString::NormalizationForm_C);
}

std::optional<QString> NewChatSheetModel::branchNameError(const QString &text)
{
    const QString name = normalizedBranchName(text);
    if (name.isEmpty())
        return QStringLiteral("Please enter a branch name");
    const QString invalid = QStringLiteral("Invalid branch name");
    if (name.startsWith(u'/') || name.endsWith(u'/'))
        return invalid;
    for (const char32_t c : name.toUcs4())
        if (!allowedCharacter(c))
            return invalid;
    if (branchNameProblem(name))
        return invalid;
    return std::nullopt;
}

void NewChatSheetModel::setBranchName(const QString &text)
{
    m_branchName = text;
    emit changed();
}

void NewChatSheetModel::setSelectedBaseBranch(const QString &name)
{
    m_selectedBaseBranch = name;
    emit changed();
}

void NewChatSheetModel::setWorktreeSource(WorktreeSource source)
{
    m_worktreeSource = source;
    emit changed();
}

void NewChatSheetModel::setSelectedExistingBranch(const std::optional<GitBranch> &branch)
{
    m_selectedExistingBranch = branch;
    emit changed();
}

void NewChatSheetModel::setBranchSearchText(const QString &text)
{
    m_branchSearchText = text;
    emit changed();
}

QList<GitBranch> NewChatSheetModel::filteredBranches() const
{
    return filtered(m_branches, m_branchSearchText);
}

QList<GitBranch> NewChatSheetModel::filteredRemoteBranches() const
{
    return filtered(m_remoteBranches, m_branchSearchText);
}

GitFuture<QList<GitBranch>> NewChatSheetModel::start()
{
    GitPromise<QList<GitBranch>> promise;
    GitService(m_project->path).listBranches().then(this, [this, promise](const GitResult<QList<GitBranch>> &result) {
        if (!result) {
            logLine(kTag, QStringLiteral("Failed to load branches: ") + result.error().description());
            promise.resolve(result);
            return;
        }
        m_branches = *result;
        if (!m_branches.isEmpty()) {
            m_selectedBaseBranch = m_branches.first().name;
            for (const GitBranch &branch : m_branches)
                if (branch.isCurrent)
                    m_selectedBaseBranch = branch.name;
        }
        emit changed();
        promise.resolve(result);
    });
    return promise.future();
}

GitFuture<QList<GitBranch>> NewChatSheetModel::selectBranchTab(BranchTab tab)
{
    m_selectedBranchTab = tab;
    emit changed();
    if (tab != BranchTab::remote || m_hasLoadedRemote)
        return GitFuture<QList<GitBranch>>::ready(m_remoteBranches);
    m_hasLoadedRemote = true;
    m_isFetchingRemote = true;
    emit changed();
    GitPromise<QList<GitBranch>> promise;
    const GitService git(m_project->path);
    // A failed fetch still lists what is known locally.
    git.fetchAll().then(this, [this, git, promise](const GitResult<void> &) {
        git.listRemoteBranches().then(this, [this, promise](const GitResult<QList<GitBranch>> &result) {
            if (result)
                m_remoteBranches = *result;
            else
                m_errorMessage = QStringLiteral("Failed to load remote branches: ") + result.error().description();
            m_isFetchingRemote = false;
            emit changed();
            promise.resolve(result);
        });
    });
    return promise.future();
}

bool NewChatSheetModel::canCreate() const
{
    if (m_isCreating)
        return false;
    if (m_mode == WorkspaceCreationMode::worktree && m_worktreeSource == WorktreeSource::existing)
        return m_selectedExistingBranch.has_value();
    return !m_branchName.trimmed().isEmpty();
}

std::optional<QString> NewChatSheetModel::base() const
{
    return m_selectedBaseBranch.isEmpty() ? std::nullopt : std::optional<QString>(m_selectedBaseBranch);
}

GitFuture<Chat> NewChatSheetModel::fail(const QString &message)
{
    m_errorMessage = message;
    m_isCreating = false;
    emit changed();
    return GitFuture<Chat>::ready(GitError::commandFailed(1, message));
}

void NewChatSheetModel::succeed(const Chat &chat, GitPromise<Chat> promise)
{
    m_isCreating = false;
    emit changed();
    emit chatCreated(chat);
    promise.resolve(chat);
}

Chat NewChatSheetModel::newChat(const QString &branch) const
{
    Chat chat;
    chat.name = branch;
    chat.gitBranch = branch;
    chat.projectId = m_project->id;
    return chat;
}

GitFuture<Chat> NewChatSheetModel::create()
{
    if (m_isCreating)
        return GitFuture<Chat>::ready(GitError::commandFailed(1, QStringLiteral("Already creating")));
    m_errorMessage.reset();
    emit changed();
    if (m_mode == WorkspaceCreationMode::simple)
        return GitFuture<Chat>::ready(GitError::commandFailed(1, QStringLiteral("A simple workspace needs no branch")));
    if (m_mode == WorkspaceCreationMode::worktree && m_worktreeSource == WorktreeSource::existing)
        return createExistingBranchWorktree();
    // The name is checked before any git work.
    if (const std::optional<QString> problem = branchNameError(m_branchName))
        return fail(*problem);
    const QString branch = normalizedBranchName(m_branchName);
    return m_mode == WorkspaceCreationMode::worktree ? createNewBranchWorktree(branch) : createBranchInCheckout(branch);
}

GitFuture<Chat> NewChatSheetModel::createExistingBranchWorktree()
{
    if (!m_selectedExistingBranch)
        return fail(QStringLiteral("Please select a branch"));
    m_isCreating = true;
    emit changed();
    const GitBranch chosen = *m_selectedExistingBranch;
    const QString local = chosen.isRemote ? chosen.name.section(u'/', 1) : chosen.name;
    if (!QDir().mkpath(paths::worktreesRoot()))
        return fail(QStringLiteral("Failed: Could not create the folder ") + paths::worktreesRoot() + kWorktreeHint);
    const QString path = worktrees::newWorktreePath();
    const GitService git(m_project->path);
    const GitFuture<void> added = chosen.isRemote ? git.addWorktree(path, local, chosen.name)
                                                  : git.addWorktreeForBranch(path, local);
    GitPromise<Chat> promise;
    added.then(this, [this, promise, path, local](const GitResult<void> &result) {
        if (!result) {
            fail(QStringLiteral("Failed: ") + result.error().description() + kWorktreeHint)
                .then(this, [promise](const GitResult<Chat> &r) { promise.resolve(r); });
            return;
        }
        Chat chat = newChat(local);
        chat.usesWorktree = true;
        chat.worktreePath = path;
        succeed(chat, promise);
    });
    return promise.future();
}

GitFuture<Chat> NewChatSheetModel::createNewBranchWorktree(const QString &branch)
{
    m_isCreating = true;
    emit changed();
    const std::optional<QString> start = base();
    const QString path = worktrees::newWorktreePath();
    if (!QDir().mkpath(paths::worktreesRoot()))
        return fail(QStringLiteral("Failed: Could not create the folder ") + paths::worktreesRoot());
    GitPromise<Chat> promise;
    GitService(m_project->path).addWorktree(path, branch, start).then(this, [=, this](const GitResult<void> &result) {
        if (!result) {
            fail(QStringLiteral("Failed: ") + result.error().description())
                .then(this, [promise](const GitResult<Chat> &r) { promise.resolve(r); });
            return;
        }
        Chat chat = newChat(branch);
        chat.usesWorktree = true;
        chat.worktreePath = path;
        chat.worktreeBaseBranch = start;
        succeed(chat, promise);
    });
    return promise.future();
}

GitFuture<Chat> NewChatSheetModel::createBranchInCheckout(const QString &branch)
{
    m_isCreating = true;
    emit changed();
    const std::optional<QString> start = base();
    const GitService git(m_project->path);
    GitPromise<Chat> promise;
    auto failWith = [this, promise](const QString &message) {
        fail(message).then(this, [promise](const GitResult<Chat> &r) { promise.resolve(r); });
    };
    git.hasUncommittedChanges().then(this, [=, this](const GitResult<bool> &dirty) {
        if (!dirty)
            return failWith(QStringLiteral("Failed: ") + dirty.error().description());
        if (*dirty)
            return failWith(QStringLiteral("Please commit or stash changes before switching branches"));
        git.createBranch(branch, start).then(this, [=, this](const GitResult<void> &created) {
            if (!created)
                return failWith(QStringLiteral("Failed: ") + created.error().description());
            git.switchBranch(branch).then(this, [=, this](const GitResult<void> &switched) {
                if (!switched)
                    return failWith(QStringLiteral("Failed: ") + switched.error().description());
                git.pushWithUpstream(QStringLiteral("origin")).then(this, [=, this](const GitResult<void> &pushed) {
                    if (pushed)
                        logLine(kTag, QStringLiteral("Auto-push succeeded for branch: ") + branch);
                    else
                        logLine(kTag, QStringLiteral("Auto-push failed for branch ") + branch + QStringLiteral(": ")
                                          + pushed.error().description());
                    m_project->currentBranch = branch;
                    m_project->branchCheckedAt = QDateTime::currentDateTime();
                    succeed(newChat(branch), promise);
                    if (pushed) {
                        const QString folder = m_project->path;
                        NotificationCenter *center = &m_center;
                        // The sheet may close before then; the news must still go out.
                        QTimer::singleShot(300, QCoreApplication::instance(), [center, folder] {
                            broadcast::post(*center, broadcast::GitStateChanged{folder});
                        });
                    }
                });
            });
        });
    });
    return promise.future();
}

} // namespace corvane
