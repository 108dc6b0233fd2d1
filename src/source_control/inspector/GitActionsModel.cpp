#include "source_control/inspector/GitActionsModel.h"

#include "core/Analytics.h"
#include "core/Log.h"
#include "source_control/GitService.h"
#include "source_control/inspector/BackgroundClock.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QPointer>
#include <QTimer>

namespace corvane {

namespace {

constexpr char Tag[] = "InspectorVM";
constexpr int successMarkMs = 1500;

} // namespace

GitActionsModel::GitActionsModel(QObject *parent) : QObject(parent) {}

GitActionsModel::~GitActionsModel() = default;

void GitActionsModel::setBackgroundFetch(std::function<bool()> enabled)
{
    if (!m_backgroundFetch && enabled) {
        BackgroundClock::instance().subscribe(this, BackgroundClock::Beat::fetch, [this]() -> std::optional<QString> {
            return wantsBackgroundFetch() ? m_directory : std::nullopt;
        }, [this] { fetch(true); });
    }
    m_backgroundFetch = std::move(enabled);
}

bool GitActionsModel::wantsBackgroundFetch() const
{
    return m_backgroundFetch && m_backgroundFetch();
}

QString GitActionsModel::key(Action action) const
{
    return m_directory.value_or(QString()) + QLatin1Char('|') + QString::number(int(action));
}

void GitActionsModel::show(const std::optional<QUuid> &workspaceId, const std::optional<QString> &directory)
{
    if (workspaceId == m_workspaceId && directory == m_directory)
        return;
    m_workspaceId = workspaceId;
    m_directory = directory;
    m_error.clear();
    m_succeeded.reset();
    emit changed();
}

void GitActionsModel::clearError()
{
    if (m_error.isEmpty())
        return;
    m_error.clear();
    emit changed();
}

QString GitActionsModel::commitMessage() const
{
    return m_workspaceId ? m_messages.value(*m_workspaceId) : QString();
}

void GitActionsModel::setCommitMessage(const QString &message)
{
    if (m_workspaceId)
        m_messages.insert(*m_workspaceId, message);
}

void GitActionsModel::perform(Action action, const QString &label, std::function<GitFuture<void>(const GitService &)> start,
                              bool silent)
{
    // Files are staged and discarded one by one, side by side; the rest run one at a time.
    const bool perFile = action == Action::stage || action == Action::unstage || action == Action::discard;
    if (!m_directory || (!perFile && isRunning(action)))
        return;
    const QString directory = *m_directory;
    const QString running = key(action);
    ++m_running[running];
    if (!silent)
        m_error.clear();
    emit changed();
    const GitService git(directory);
    start(git).then(this, [this, action, label, silent, directory, running](const GitResult<void> &result) {
        if (--m_running[running] <= 0)
            m_running.remove(running);
        const bool stillShown = m_directory == directory;
        if (!result.ok()) {
            const QString message = result.error().description();
            logLine(Tag, QStringLiteral("%1 failed: %2").arg(label, message));
            if (!silent && stillShown)
                m_error = QStringLiteral("%1 failed: %2").arg(label, message);
        } else if (stillShown && (action == Action::push || action == Action::pull || action == Action::commit)) {
            m_succeeded = action;
            const int ticket = ++m_successTicket;
            QTimer::singleShot(successMarkMs, this, [this, ticket] {
                if (ticket == m_successTicket && m_succeeded) {
                    m_succeeded.reset();
                    emit changed();
                }
            });
        }
        emit changed();
        if (m_refresh && stillShown)
            m_refresh();
    });
}

void GitActionsModel::stage(const QStringList &paths)
{
    perform(Action::stage, QStringLiteral("Stage"), [paths](const GitService &git) { return git.stage(paths); });
}

void GitActionsModel::unstage(const QStringList &paths)
{
    perform(Action::unstage, QStringLiteral("Unstage"), [paths](const GitService &git) { return git.unstage(paths); });
}

namespace {

// Runs git commands one after another, stopping at the first failure.
GitFuture<void> inTurn(const GitService &git, QList<QStringList> commands, QObject *context)
{
    if (commands.isEmpty())
        return GitFuture<void>::ready({});
    GitPromise<void> promise;
    const QStringList first = commands.takeFirst();
    git.run(first).then(context, [git, commands, context, promise](const GitResult<QString> &result) {
        if (!result.ok())
            return promise.resolve(result.error());
        inTurn(git, commands, context).then(context, [promise](const GitResult<void> &rest) { promise.resolve(rest); });
    });
    return promise.future();
}

GitFuture<void> deleteFile(const QString &path)
{
    if (QFile::remove(path))
        return GitFuture<void>::ready({});
    return GitFuture<void>::ready(GitError::commandFailed(1, QStringLiteral("Could not delete %1").arg(path)));
}

} // namespace

void GitActionsModel::discardFile(const GitFileStatus &file)
{
    const QString onDisk = QDir(m_directory.value_or(QString())).filePath(file.path);
    perform(Action::discard, QStringLiteral("Discard file"), [this, file, onDisk](const GitService &git) -> GitFuture<void> {
        if (file.status == GitStatus::untracked)
            return deleteFile(onDisk);
        if (file.status != GitStatus::added)
            return git.discard({file.path});
        GitPromise<void> promise;
        git.unstage({file.path}).then(this, [promise, onDisk](const GitResult<void> &result) {
            promise.resolve(result.ok() ? deleteFile(onDisk).result() : result);
        });
        return promise.future();
    }, true);
}

void GitActionsModel::discardAll()
{
    perform(Action::discard, QStringLiteral("Discard"), [this](const GitService &git) {
        return inTurn(git, {{"reset", "HEAD", "."}, {"checkout", "--", "."}, {"clean", "-fd"}}, this);
    }, true);
}

void GitActionsModel::commit(const QStringList &unstagedPaths)
{
    const QString message = commitMessage().trimmed();
    if (message.isEmpty() || !m_workspaceId)
        return;
    const QUuid workspace = *m_workspaceId;
    perform(Action::commit, QStringLiteral("Commit"), [this, message, workspace, unstagedPaths](const GitService &git) {
        GitPromise<void> promise;
        git.stage(unstagedPaths).then(this, [this, git, promise, message, workspace](const GitResult<void> &staged) {
            if (!staged.ok())
                return promise.resolve(staged);
            git.commit(message).then(this, [this, promise, workspace](const GitResult<void> &result) {
                if (result.ok()) {
                    Analytics::shared().record(QStringLiteral("git.commit"));
                    m_messages.remove(workspace); // the field empties with the commit
                }
                promise.resolve(result);
            });
        });
        return promise.future();
    });
}

void GitActionsModel::push(bool hasUpstream)
{
    perform(Action::push, QStringLiteral("Push"), [hasUpstream](const GitService &git) {
        return hasUpstream ? git.push() : git.pushWithUpstream(QStringLiteral("origin"));
    });
}

void GitActionsModel::pull()
{
    perform(Action::pull, QStringLiteral("Pull"), [](const GitService &git) { return git.pull(); });
}

void GitActionsModel::fetch(bool silent)
{
    perform(Action::fetch, QStringLiteral("Fetch"), [](const GitService &git) { return git.fetchAll(); }, silent);
}

void GitActionsModel::stash()
{
    perform(Action::stash, QStringLiteral("Stash"), [](const GitService &git) { return git.stashPush(); });
}

void GitActionsModel::merge(const QString &branch)
{
    perform(Action::merge, QStringLiteral("Merge"), [branch](const GitService &git) { return git.merge(branch); });
}

void GitActionsModel::rebase(const QString &branch)
{
    perform(Action::rebase, QStringLiteral("Rebase"), [branch](const GitService &git) { return git.rebase(branch); });
}

void GitActionsModel::generateTitle()
{
    if (!m_directory || !m_workspaceId || !m_titleGenerator || isRunning(Action::generateTitle))
        return;
    const QString running = key(Action::generateTitle);
    const QUuid workspace = *m_workspaceId;
    ++m_running[running];
    emit changed();
    m_titleGenerator(*m_directory, workspace, [this, running, workspace](Result<QString> title) {
        m_running.remove(running); // one at a time
        if (title.ok()) {
            m_messages.insert(workspace, title.value());
            Analytics::shared().record(QStringLiteral("git.commitTitleGenerated"));
        }
        else
            logLine(Tag, QStringLiteral("Title generation failed: %1").arg(title.error().message));
        if (!title.ok() && m_workspaceId == workspace)
            m_error = QStringLiteral("Title generation failed: %1").arg(title.error().message);
        emit changed();
    });
}

} // namespace corvane
