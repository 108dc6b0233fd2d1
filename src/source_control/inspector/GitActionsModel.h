#pragma once

#include "core/Result.h"
#include "source_control/GitFuture.h"
#include "source_control/GitTypes.h"

#include <QHash>
#include <QObject>
#include <QSet>
#include <QStringList>
#include <QUuid>

#include <functional>
#include <memory>
#include <optional>

namespace corvane {

class GitService;


// The inspector's git actions on the shown workspace: stage, unstage, discard, commit, push,
// pull, fetch, stash, merge and rebase, each with its running flag, the error the user must read
// ("Push failed: " and git's message) and a short success mark. The commit message is kept per
// workspace while the user moves between them. After each action that changes the repository
// the owner's refresh runs.
class GitActionsModel : public QObject
{
    Q_OBJECT

public:
    enum class Action { stage, unstage, discard, commit, push, pull, fetch, stash, merge, rebase, generateTitle };
    // Writes a commit title from the directory's changes; provided by the application, which
    // knows the agents and the project's profile.
    using TitleGenerator = std::function<void(const QString &directory, const QUuid &workspaceId,
                                              std::function<void(Result<QString>)> done)>;

    explicit GitActionsModel(QObject *parent = nullptr);
    ~GitActionsModel() override;

    void setRefresh(std::function<void()> refresh) { m_refresh = std::move(refresh); }
    void setTitleGenerator(TitleGenerator generator) { m_titleGenerator = std::move(generator); }
    // Whether the shown repository is fetched in the background every five minutes; read at
    // each beat of the application's BackgroundClock.
    void setBackgroundFetch(std::function<bool()> enabled);
    bool wantsBackgroundFetch() const;
    // The workspace shown, and its folder; none clears the panel.
    void show(const std::optional<QUuid> &workspaceId, const std::optional<QString> &directory);
    std::optional<QString> directory() const { return m_directory; }

    bool isRunning(Action action) const { return m_running.value(key(action)) > 0; }
    std::optional<Action> succeeded() const { return m_succeeded; }
    QString error() const { return m_error; }
    void clearError();

    QString commitMessage() const;
    void setCommitMessage(const QString &message);

    void stage(const QStringList &paths);
    void unstage(const QStringList &paths);
    // Both ask first in the view: the changes are lost. A new file is deleted from the disk.
    void discardFile(const GitFileStatus &file);
    void discardAll();
    // Stages the files with unstaged changes, then commits with the workspace's message.
    void commit(const QStringList &unstagedPaths);
    // With an upstream a plain push; without one, to origin, tracking it.
    void push(bool hasUpstream);
    void pull();
    // `silent`: a background fetch, whose failure is only logged.
    void fetch(bool silent = false);
    void stash();
    void merge(const QString &branch);
    void rebase(const QString &branch);
    void generateTitle();

signals:
    void changed();

private:
    // Runs `start()` for the shown directory under `action`'s flag; on success the repository is
    // read again (and a success mark shown for push and pull), on failure `label` + " failed: ".
    void perform(Action action, const QString &label, std::function<GitFuture<void>(const GitService &)> start,
                 bool silent = false);
    QString key(Action action) const;

    std::optional<QUuid> m_workspaceId;
    std::optional<QString> m_directory;
    // "<directory>|<action>" and how many run: a push still running shows when switching back.
    QHash<QString, int> m_running;
    QHash<QUuid, QString> m_messages;
    std::optional<Action> m_succeeded;
    QString m_error;
    std::function<void()> m_refresh;
    TitleGenerator m_titleGenerator;
    std::function<bool()> m_backgroundFetch;
    int m_successTicket = 0;
};

} // namespace corvane
