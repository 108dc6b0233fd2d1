// Workspaces on real repositories with a bare remote: worktrees made, used, archived and deleted,
// the confirmation before work would be lost, restore after a folder vanished, fork, and moving a
// project to another profile.
#include "GitSandbox.h"

#include "core/Paths.h"
#include "core/records/Message.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "source_control/GitService.h"
#include "source_control/workspaces/NewChatSheetModel.h"
#include "source_control/workspaces/SidebarViewModel.h"
#include "source_control/workspaces/WorktreeRemoval.h"
#include "core/Broadcasts.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTest>

using namespace corvane;
using corvane::test::await;
using Kind = LifecycleOutcome::Kind;

class WorkspaceLifecycleTest : public QObject
{
    Q_OBJECT

private:
    test::GitSandbox m_sandbox;
    std::shared_ptr<Store> m_store;
    NotificationCenter m_center;
    std::unique_ptr<WorkspaceLifecycleService> m_lifecycle;
    std::unique_ptr<SidebarViewModel> m_sidebar;
    QList<QUuid> m_closedSessions;
    int m_caseNumber = 0;

    StoreContext &context() { return m_store->mainContext(); }

    // A clone of a fresh bare remote, added as a project with its first workspace.
    std::shared_ptr<Project> addProject()
    {
        const QString clone = m_sandbox.makeClone(QStringLiteral("repo%1").arg(++m_caseNumber));
        auto added = m_lifecycle->addProjectFolder(clone, std::nullopt);
        if (!added)
            qWarning("%s", qPrintable(added.error().message));
        return context().get<Project>(*(*added)->projectId);
    }

    // The sheet in worktree mode on a new branch, received by the sidebar.
    std::shared_ptr<Workspace> newWorktreeWorkspace(const std::shared_ptr<Project> &project, const QString &branch)
    {
        NewChatSheetModel sheet(project, WorkspaceCreationMode::worktree, m_center);
        (void)await(sheet.start());
        sheet.setBranchName(branch);
        const GitResult<Chat> chat = await(sheet.create());
        if (!chat) {
            qWarning("%s", qPrintable(chat.error().description()));
            return nullptr;
        }
        return m_lifecycle->receiveSheetChat(*chat, *project);
    }

    QString worktreeOf(const Workspace &workspace) { return *workspace.worktreePath; }

    QString listedWorktrees(const Project &project)
    {
        return QString::fromUtf8(m_sandbox.git(project.path, {"worktree", "list", "--porcelain"}));
    }

private slots:
    void init()
    {
        static int stores = 0;
        m_store = Store::open(m_sandbox.path(QStringLiteral("store%1.sqlite").arg(++stores))).value();
        m_lifecycle = std::make_unique<WorkspaceLifecycleService>(m_store->mainContext(), m_center);
        m_sidebar = std::make_unique<SidebarViewModel>(m_store->mainContext(), *m_lifecycle, m_center);
        m_closedSessions.clear();
        m_lifecycle->setSessionCloser([this](const QUuid &id) { m_closedSessions << id; });
        m_sidebar->loadProjects();
    }

    void cleanup()
    {
        m_sidebar.reset();
        m_lifecycle.reset();
        m_store.reset();
    }

    void worktreeWorkspaceMadeUsedAndRemoved()
    {
        auto project = addProject();
        QVERIFY(project);
        auto workspace = newWorktreeWorkspace(project, "feature/login");
        QVERIFY(workspace);
        const QString folder = worktreeOf(*workspace);
        QCOMPARE(QFileInfo(folder).absolutePath(), paths::worktreesRoot());
        QVERIFY(QRegularExpression("^[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}$").match(QFileInfo(folder).fileName()).hasMatch());
        QCOMPARE(m_lifecycle->chats(*workspace).size(), 1);
        QCOMPARE(m_lifecycle->chats(*workspace).first()->gitBranch, std::optional<QString>("feature/login"));
        QCOMPARE(workspace->worktreeBaseBranch, std::optional<QString>("main"));

        // Used: a commit on the branch, pushed, leaves nothing that removal would lose.
        m_sandbox.write(folder + "/login.txt", "form\n");
        m_sandbox.commitAll(folder, "Add login");
        QVERIFY(await(GitService(folder).pushWithUpstream("origin")));
        const GitResult<WorktreeDirtyStatus> status = await(m_lifecycle->worktreeDirtyStatus(*workspace));
        QCOMPARE(*status, WorktreeDirtyStatus{});

        // A worktree never goes without a word, even with nothing to lose.
        const GitResult<LifecycleOutcome> asked = await(m_lifecycle->archiveWorkspace(workspace));
        QCOMPARE(asked->kind, Kind::needsConfirmation);
        QCOMPARE(asked->message, QStringLiteral("This will archive the workspace and all its chats, and remove its "
                                                "worktree. Any uncommitted changes will be lost."));
        QVERIFY(QFileInfo::exists(folder));
        QVERIFY(!workspace->isArchived());
        const GitResult<LifecycleOutcome> archived = await(m_lifecycle->archiveWorkspace(workspace, true));
        QCOMPARE(archived->kind, Kind::done);
        QVERIFY(!QFileInfo::exists(folder));
        QVERIFY(!listedWorktrees(*project).contains(folder));
        QVERIFY(workspace->isArchived());
        QVERIFY(m_closedSessions.size() == 1);
        for (const auto &chat : m_lifecycle->chats(*workspace, true))
            QVERIFY(chat->isArchived());
        // The branch stays in the repository.
        QVERIFY(m_sandbox.git(project->path, {"branch", "--list", "feature/login"}).contains("feature/login"));
    }

    void branchNamesInTheSheet_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("error");
        QTest::newRow("slashes, dash, underscore") << "feature/x-1_a" << "";
        QTest::newRow("letters of other scripts") << QString::fromUtf8("équipe/日本-機能") << "";
        QTest::newRow("decomposed umlaut is composed first") << QString::fromUtf8("u\u0308ber") << "";
        QTest::newRow("dot") << "feature/x.1" << "Invalid branch name";
        QTest::newRow("leading slash") << "/x" << "Invalid branch name";
        QTest::newRow("trailing slash") << "x/" << "Invalid branch name";
        QTest::newRow("empty part") << "a//b" << "Invalid branch name";
        QTest::newRow("looks like an option") << "-x" << "Invalid branch name";
        QTest::newRow("space inside") << "my branch" << "Invalid branch name";
        QTest::newRow("only blanks") << "   \n" << "Please enter a branch name";
    }

    void branchNamesInTheSheet()
    {
        QFETCH(QString, text);
        QFETCH(QString, error);
        QCOMPARE(NewChatSheetModel::branchNameError(text).value_or(QString()), error);
    }

    void branchWithSlashAndUnicodeInAWorktree()
    {
        auto project = addProject();
        const QString branch = QString::fromUtf8("team/über-straße");
        auto workspace = newWorktreeWorkspace(project, branch);
        QVERIFY(workspace);
        QCOMPARE(workspace->name, branch);
        QCOMPARE(await(GitService(worktreeOf(*workspace)).currentBranch()).valueOr("?"), branch);

        // A bad name never reaches git, and leaves no folder behind.
        const int before = QDir(paths::worktreesRoot()).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
        NewChatSheetModel sheet(project, WorkspaceCreationMode::worktree, m_center);
        sheet.setBranchName("x..y");
        QVERIFY(!await(sheet.create()));
        QCOMPARE(sheet.errorMessage(), std::optional<QString>("Invalid branch name"));
        QVERIFY(!sheet.isCreating());
        QCOMPARE(QDir(paths::worktreesRoot()).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size(), before);
    }

    void existingBranchCheckedOutElsewhereFailsWithHint()
    {
        auto project = addProject();
        auto first = newWorktreeWorkspace(project, "busy");
        QVERIFY(first);
        NewChatSheetModel sheet(project, WorkspaceCreationMode::worktree, m_center);
        (void)await(sheet.start());
        sheet.setWorktreeSource(NewChatSheetModel::WorktreeSource::existing);
        QVERIFY(!sheet.canCreate());
        sheet.setSelectedExistingBranch(GitBranch{"busy", false, std::nullopt, false});
        QVERIFY(!await(sheet.create()));
        // git says what it was doing first, then why it stopped.
        QVERIFY(sheet.errorMessage()->startsWith("Failed: "));
        QVERIFY2(sheet.errorMessage()->contains("fatal: 'busy' is already checked out at"), qPrintable(*sheet.errorMessage()));
        QVERIFY(sheet.errorMessage()->endsWith("\n\nHint: this branch may already be checked out in another worktree."));
    }

    void archivingDirtyWorktreeAsksFirstAndKeepsItWhenRefused()
    {
        auto project = addProject();
        auto workspace = newWorktreeWorkspace(project, "dirty");
        const QString folder = worktreeOf(*workspace);
        m_sandbox.write(folder + "/committed.txt", "c\n");
        m_sandbox.commitAll(folder, "Unpushed work");
        m_sandbox.write(folder + "/draft.txt", "unsaved\n");
        m_sandbox.write(folder + "/README.md", "changed\n");

        const GitResult<LifecycleOutcome> asked = await(m_lifecycle->archiveWorkspace(workspace));
        QCOMPARE(asked->kind, Kind::needsConfirmation);
        QCOMPARE(asked->message,
                 QString::fromUtf8("This will archive the workspace and all its chats, and remove the worktree.\n\n⚠️ "
                                   "This worktree has uncommitted changes and 1 unpushed commit. The worktree removal "
                                   "is permanent and cannot be undone.\n\nWould be lost: 2 changed files and 1 "
                                   "unpushed commit."));
        // Refused: nothing changed.
        QVERIFY(QFileInfo::exists(folder + "/draft.txt"));
        QVERIFY(!context().get<Workspace>(workspace->id)->isArchived());
        QVERIFY(m_closedSessions.isEmpty());
        QVERIFY(m_lifecycle->archivingWorkspaceIds().isEmpty());

        const GitResult<LifecycleOutcome> confirmed = await(m_lifecycle->archiveWorkspace(workspace, true));
        QCOMPARE(confirmed->kind, Kind::done);
        QVERIFY(!QFileInfo::exists(folder));
        QVERIFY(workspace->isArchived());
    }

    void brokenWorktreeCountsAsHoldingWork()
    {
        // git no longer knows the folder: what it holds cannot be counted, so it is not deleted
        // unasked.
        auto project = addProject();
        auto workspace = newWorktreeWorkspace(project, "broken");
        const QString folder = worktreeOf(*workspace);
        QVERIFY(QFile::remove(folder + "/.git"));
        const GitResult<LifecycleOutcome> asked = await(m_lifecycle->archiveWorkspace(workspace));
        QCOMPARE(asked->kind, Kind::needsConfirmation);
        QVERIFY2(asked->message.contains("git could not read the worktree (fatal: not a git repository"),
                 qPrintable(asked->message));
        QVERIFY(QFileInfo::exists(folder + "/README.md"));
        QCOMPARE(await(m_lifecycle->archiveWorkspace(workspace, true))->kind, Kind::done);
        QVERIFY(!QFileInfo::exists(folder));
    }

    void failedRemovalKeepsRecordsAndForeignFolders()
    {
        // A locked worktree outside our folder: git refuses even with one --force, and we never
        // delete a folder we did not make.
        auto project = addProject();
        const QString outside = m_sandbox.path(QStringLiteral("own-worktree%1").arg(m_caseNumber));
        m_sandbox.git(project->path, {"worktree", "add", "--lock", "-b", "locked", outside});
        auto workspace = m_lifecycle->adoptWorktree(*project, GitWorktree{outside, "locked", true});
        QCOMPARE(workspace->name, QString("locked"));

        const GitResult<LifecycleOutcome> outcome = await(m_lifecycle->archiveWorkspace(workspace, true));
        QCOMPARE(outcome->kind, Kind::failed);
        QVERIFY2(outcome->message.startsWith("Could not remove the worktree at " + outside), qPrintable(outcome->message));
        QVERIFY(QFileInfo::exists(outside + "/README.md"));
        QVERIFY(!context().get<Workspace>(workspace->id)->isArchived());
        QVERIFY(!worktrees::isInsideWorktreesRoot(outside));
        QVERIFY(!worktrees::isInsideWorktreesRoot(paths::worktreesRoot()));
        QVERIFY(!worktrees::isInsideWorktreesRoot(paths::worktreesRoot() + "/../x"));
    }

    void restoringAfterTheFolderWasDeletedByHand()
    {
        auto project = addProject();
        auto workspace = newWorktreeWorkspace(project, "vanished");
        const QString folder = worktreeOf(*workspace);
        QVERIFY(QDir(folder).removeRecursively());

        // A folder that is gone holds nothing to lose; archiving still asks first.
        QCOMPARE(*await(m_lifecycle->worktreeDirtyStatus(*workspace)), WorktreeDirtyStatus{});
        QCOMPARE(await(m_lifecycle->archiveWorkspace(workspace))->kind, Kind::needsConfirmation);
        QCOMPARE(await(m_lifecycle->archiveWorkspace(workspace, true))->kind, Kind::done);
        QVERIFY(!listedWorktrees(*project).contains(folder)); // pruned

        const LifecycleOutcome restored = m_lifecycle->restoreWorkspace(workspace);
        QCOMPARE(restored.kind, Kind::done);
        QCOMPARE(restored.message, "The workspace \"vanished\" is restored, but its worktree folder no longer exists: "
                                   + folder + ". Its branch \"vanished\" is still in the repository: make a new "
                                   "worktree workspace on it to go on working.");
        QVERIFY(!workspace->isArchived());
        QCOMPARE(workspace->worktreePath, std::optional<QString>(folder));
        for (const auto &chat : m_lifecycle->chats(*workspace, true))
            QVERIFY(!chat->isArchived());
    }

    void forkIntoLocalBranch()
    {
        auto project = addProject();
        const auto original = m_lifecycle->chats(*m_lifecycle->workspaces(*project).first()).first();
        Message said;
        said.content = "hello";
        said.chatId = original->id;
        context().insert(said);
        QVERIFY(context().save());

        const std::optional<QString> originalBranch = original->gitBranch;
        const auto request = m_lifecycle->forkRequest(*original, WorkspaceCreationMode::newBranch);
        QVERIFY(request && request->projectId == project->id);
        NewChatSheetModel sheet(context().get<Project>(request->projectId), request->mode, m_center);
        (void)await(sheet.start());
        QCOMPARE(sheet.selectedBaseBranch(), QString("main"));
        sheet.setBranchName("  fork/one ");
        const GitResult<Chat> chat = await(sheet.create());
        QVERIFY2(chat, qPrintable(chat ? QString() : chat.error().description()));
        auto workspace = m_lifecycle->receiveSheetChat(*chat, *project);

        QCOMPARE(workspace->gitBranch, std::optional<QString>("fork/one"));
        QVERIFY(!workspace->usesWorktree);
        QCOMPARE(project->currentBranch, std::optional<QString>("fork/one"));
        QCOMPARE(await(GitService(project->path).upstreamBranch()).valueOr("?"), QString("origin/fork/one"));
        QCOMPARE(context().count<Message>(where::eq("chatId", chat->id)).valueOr(-1), 0);
        QCOMPARE(original->gitBranch, originalBranch);

        // A dirty checkout refuses a new branch before any is made.
        m_sandbox.write(project->path + "/wip.txt", "x\n");
        NewChatSheetModel again(project, WorkspaceCreationMode::newBranch, m_center);
        again.setBranchName("fork/two");
        QVERIFY(!await(again.create()));
        QCOMPARE(again.errorMessage(), std::optional<QString>("Please commit or stash changes before switching branches"));
        QVERIFY(m_sandbox.git(project->path, {"branch", "--list", "fork/two"}).isEmpty());
    }

    void deleteWorkspaceAndChat()
    {
        auto project = addProject();
        auto workspace = newWorktreeWorkspace(project, "doomed");
        const QString folder = worktreeOf(*workspace);
        const QUuid chatId = m_lifecycle->chats(*workspace).first()->id;
        auto second = m_lifecycle->createChat(*workspace);
        QCOMPARE(second->name, QString("Chat 2"));
        m_sandbox.write(folder + "/new.txt", "n\n");

        const GitResult<LifecycleOutcome> asked = await(m_lifecycle->deleteWorkspace(workspace->id));
        QCOMPARE(asked->kind, Kind::needsConfirmation);
        QVERIFY(asked->message.endsWith("Would be lost: 1 changed file."));
        QVERIFY(context().get<Workspace>(workspace->id));

        QCOMPARE(await(m_lifecycle->deleteWorkspace(workspace->id, true))->kind, Kind::done);
        QVERIFY(!QFileInfo::exists(folder));
        QCOMPARE(context().count<Workspace>(where::eq("id", workspace->id)).valueOr(-1), 0);
        QCOMPARE(context().count<Chat>(where::eq("id", chatId)).valueOr(-1), 0);
        QCOMPARE(m_closedSessions.size(), 2);
        // Already gone: nothing to do.
        QCOMPARE(await(m_lifecycle->deleteWorkspace(workspace->id))->kind, Kind::done);

        // All archived ones at once; live ones stay.
        auto live = m_lifecycle->workspaces(*project).first();
        auto old1 = m_lifecycle->createWorkspace(*project, "Old 1", std::nullopt);
        auto old2 = m_lifecycle->createWorkspace(*project, "Old 2", std::nullopt);
        QCOMPARE(await(m_lifecycle->archiveWorkspace(old1))->kind, Kind::done);
        QCOMPARE(await(m_lifecycle->archiveWorkspace(old2))->kind, Kind::done);
        QCOMPARE(await(m_lifecycle->deleteArchivedWorkspaces(*project))->kind, Kind::done);
        QCOMPARE(m_lifecycle->workspaces(*project, true).size(), 1);
        QCOMPARE(m_lifecycle->workspaces(*project, true).first()->id, live->id);

        // A plain chat of the first workspace.
        auto simple = m_lifecycle->workspaces(*project).first();
        auto plain = m_lifecycle->createChat(*simple, QStringLiteral("Scratch"));
        QCOMPARE(await(m_lifecycle->deleteChat(plain->id))->kind, Kind::done);
        QCOMPARE(context().count<Chat>(where::eq("id", plain->id)).valueOr(-1), 0);
    }

    void movingAProjectToAnotherProfile()
    {
        Profile first, second, third;
        first.name = "Work";
        second.name = "Home";
        second.sortOrder = 1;
        third.name = "Lab";
        third.sortOrder = 2;
        context().insert(first);
        context().insert(second);
        context().insert(third);
        auto project = addProject();
        project->profileId = first.id;
        QVERIFY(context().save());
        auto workspace = m_lifecycle->workspaces(*project).first();
        auto longSession = m_lifecycle->chats(*workspace).first();
        longSession->claudeSessionId = "0123456789abcdef";
        longSession->modelId = "claude:opus";
        auto shortSession = m_lifecycle->createChat(*workspace);
        shortSession->claudeSessionId = "abc-123";
        auto noSession = m_lifecycle->createChat(*workspace);
        noSession->modelId = "claude:haiku";
        QVERIFY(context().save());

        m_lifecycle->setProfile(*project, second);
        QCOMPARE(project->profileId, std::optional<QUuid>(second.id));
        QCOMPARE(m_closedSessions.size(), 3);
        QCOMPARE(longSession->previousClaudeSessionId, std::optional<QString>("0123456789abcdef"));
        QCOMPARE(longSession->migratedFromProfileId, std::optional<QUuid>(first.id));
        QVERIFY(longSession->pendingProfileMigration && !longSession->claudeSessionId && !longSession->modelId);
        QVERIFY(!noSession->modelId && !noSession->pendingProfileMigration);
        auto notices = context().fetchOrEmpty<Message>(Query(where::eq("chatId", longSession->id)));
        QCOMPARE(notices.size(), 1);
        QCOMPARE(notices.first()->content,
                 QString::fromUtf8("Profile changed from Work to Home. Migrating to a new Claude session — prior "
                                   "conversation will be replayed as context. Previous session: 01234567…."));
        QCOMPARE(context().fetchOrEmpty<Message>(Query(where::eq("chatId", shortSession->id))).first()->content,
                 QString::fromUtf8("Profile changed from Work to Home. Migrating to a new Claude session — prior "
                                   "conversation will be replayed as context. Previous session: abc-123."));

        // Back to the first profile: the earlier session returns.
        m_lifecycle->setProfile(*project, first);
        QCOMPARE(longSession->claudeSessionId, std::optional<QString>("0123456789abcdef"));
        QVERIFY(!longSession->previousClaudeSessionId && !longSession->pendingProfileMigration);
        QCOMPARE(context().fetchOrEmpty<Message>(Query(where::eq("chatId", longSession->id)).orderBy("timestamp")).last()->content,
                 QString::fromUtf8("Profile changed back to Work. Restored previous session: 01234567…."));

        // On to a third: migrates again from the first.
        m_lifecycle->setProfile(*project, third);
        QCOMPARE(longSession->migratedFromProfileId, std::optional<QUuid>(first.id));
        QCOMPARE(m_lifecycle->projects(third).size(), 1);
        QCOMPARE(project->sortOrder, 0);
        QCOMPARE(m_lifecycle->projects(first).size(), 0);
    }

    void reorderingAndSwitchingTheCheckout()
    {
        auto project = addProject();
        auto first = m_lifecycle->workspaces(*project).first();
        auto second = m_lifecycle->createWorkspace(*project, "Second", std::nullopt);
        QCOMPARE(second->sortOrder, 1);
        QVERIFY(!m_lifecycle->reorderWorkspaces(*project, {first->id, second->id})); // unchanged: nothing saved
        QVERIFY(m_lifecycle->reorderWorkspaces(*project, {second->id, first->id}));
        QCOMPARE(m_lifecycle->workspaces(*project).first()->id, second->id);

        auto chat = m_lifecycle->chats(*first).first();
        m_sandbox.git(project->path, {"branch", "side"});
        QCOMPARE(await(m_lifecycle->switchCheckoutBranch(chat, GitBranch{"origin/main", false, std::nullopt, true}))->kind,
                 Kind::done);
        QCOMPARE(await(m_lifecycle->switchCheckoutBranch(chat, GitBranch{"side", false, std::nullopt, false}))->kind,
                 Kind::done);
        QCOMPARE(project->currentBranch, std::optional<QString>("side"));
        QCOMPARE(chat->gitBranch, std::optional<QString>("side"));
        m_sandbox.write(project->path + "/README.md", "edited\n");
        const GitResult<LifecycleOutcome> refused =
            await(m_lifecycle->switchCheckoutBranch(chat, GitBranch{"main", false, std::nullopt, false}));
        QCOMPARE(refused->message, "Uncommitted Changes\nPlease commit or stash your changes before switching branches.");
        QCOMPARE(QString::fromUtf8(m_sandbox.git(project->path, {"branch", "--show-current"})).trimmed(), QString("side"));
    }

    // A profile's page is reordered on its own: the other pages' projects keep their places and
    // their rows are not written.
    void reorderingOneProfilesProjects()
    {
        Profile other;
        other.name = QStringLiteral("Other");
        context().insert(other);
        QList<std::shared_ptr<Project>> page;
        for (int i = 0; i < 3; ++i)
            page.append(addProject());
        auto elsewhere = addProject();
        elsewhere->profileId = other.id;
        QVERIFY(context().save());
        const qint64 elsewhereOrder = elsewhere->sortOrder;
        QList<StoreChanges> saves;
        connect(&context(), &StoreContext::saved, this, [&](const StoreChanges &changes) { saves.append(changes); });
        QVERIFY(m_lifecycle->reorderProjects({page[0]->id, page[2]->id, page[1]->id}));
        QCOMPARE(saves.size(), 1);
        QCOMPARE(saves.first().updated.value("Project"), (QSet<QUuid>{page[1]->id, page[2]->id}));
        QCOMPARE(elsewhere->sortOrder, elsewhereOrder);
        QCOMPARE(page[2]->sortOrder, 1);
    }

    void broadcastsFeedTheStateMaps()
    {
        const QUuid chat = QUuid::createUuid();
        broadcast::post(m_center, broadcast::ChatActivityChanged{chat, QStringLiteral("processing")});
        broadcast::post(m_center, broadcast::ChatSessionChanged{chat, true});
        QCOMPARE(m_sidebar->activityStates().value(chat), QString("processing"));
        QCOMPARE(m_sidebar->sessionStates().value(chat), true);

        auto project = addProject();
        auto workspace = m_lifecycle->workspaces(*project).first();
        int renames = 0;
        ObserverGuard guard = broadcast::observe<broadcast::WorkspaceRenamed>(m_center, this, [&](const broadcast::WorkspaceRenamed &r) {
            renames += r.workspaceId == workspace->id;
        });
        QVERIFY(!m_lifecycle->renameWorkspace(*workspace, "  New Workspace \n"));
        QVERIFY(m_lifecycle->renameWorkspace(*workspace, " Billing "));
        QCOMPARE(workspace->name, QString("Billing"));
        QCOMPARE(renames, 1);

        // The sidebar follows the service: an ended session's state and a deleted selection go.
        const auto live = m_lifecycle->chats(*workspace).first();
        broadcast::post(m_center, broadcast::ChatActivityChanged{live->id, QStringLiteral("processing")});
        m_sidebar->selectWorkspace(workspace->id);
        m_sidebar->selectChat(live->id);
        QCOMPARE(await(m_lifecycle->deleteWorkspace(workspace->id, true))->kind, Kind::done);
        QVERIFY(!m_sidebar->activityStates().contains(live->id));
        QVERIFY(!m_sidebar->selectedWorkspaceId() && !m_sidebar->selectedChatId());
        QVERIFY(m_closedSessions.contains(live->id));
    }
};

QTEST_GUILESS_MAIN(WorkspaceLifecycleTest)
#include "tst_workspace_lifecycle.moc"
