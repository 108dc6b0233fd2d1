// Discovery over real folders, import into a real store, and the window's view model: the edge
// cases of hand-made logs, the per-session rollback, and what a second discovery hides.
#include "accounts/import/ClaudeSessionImporter.h"
#include "accounts/import/ImportService.h"
#include "accounts/import/ImportWindowViewModel.h"
#include "accounts/import/SessionLogText.h"
#include "core/records/Chat.h"
#include "core/records/ChatActivityDay.h"
#include "core/records/Message.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "support/SessionLogs.h"
#include "support/StoreFixture.h"
#include "support/TestEnvironment.h"

#include <QSignalSpy>
#include <QTest>

using namespace corvane;
namespace logs = corvane::test::logs;

class ImportServiceTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<test::TestEnvironment> m_env;
    std::shared_ptr<Store> m_store;
    QString m_project;
    QString m_claudeRoot;
    QString m_codexRoot;
    QUuid m_projectId;

    static QString uuid() { return QUuid::createUuid().toString(QUuid::WithoutBraces); }

    QString claudeLog(const QString &id, const QByteArray &bytes, const QString &project = {})
    {
        const QString path = logs::claudeFolder(m_claudeRoot, project.isEmpty() ? m_project : project) + "/" + id + ".jsonl";
        if (!logs::writeFile(path, bytes))
            qWarning("cannot write %s", qPrintable(path));
        return path;
    }
    QString codexLog(const QString &relative, const QByteArray &bytes)
    {
        const QString path = m_codexRoot + "/" + relative;
        logs::writeFile(path, bytes);
        return path;
    }
    ImportService service() const { return ImportService({{m_claudeRoot}, {m_codexRoot}}); }
    static QStringList idsOf(const QList<ImportableSession> &sessions)
    {
        QStringList ids;
        for (const auto &s : sessions)
            ids << s.id;
        return ids;
    }
    static QSet<QString> idSet(const QList<ImportableSession> &sessions)
    {
        const QStringList ids = idsOf(sessions);
        return QSet<QString>(ids.begin(), ids.end());
    }
    static void setModified(const QString &path, const QDateTime &when)
    {
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(when, QFileDevice::FileModificationTime));
    }

private slots:
    void init()
    {
        m_env = std::make_unique<test::TestEnvironment>();
        m_store = Store::open(m_env->path("Corvane.store")).value();
        m_project = m_env->path("work/my.app");
        QDir().mkpath(m_project);
        m_claudeRoot = m_env->path("home/.claude/projects");
        m_codexRoot = m_env->path("home/.codex/sessions");
        m_projectId = test::insertPlace(m_store->mainContext(), m_project, {}).projectId;
    }
    void cleanup()
    {
        m_store.reset();
        m_env.reset();
    }

    void claudeDiscoveryKeepsOnlyImportableLogs()
    {
        const QString good = uuid(), plain = uuid(), binary = uuid(), noText = uuid();
        claudeLog(good, logs::claudeUser("Fix the parser") + logs::claudeText("ok"));
        claudeLog(plain, logs::claudeUserString("typed in the terminal\n"));
        QByteArray invalid = logs::claudeUser("broken XX bytes");
        claudeLog(binary, invalid.replace("XX", "\xff"));
        claudeLog(noText, logs::claudeToolResult() + logs::claudeText("no prompt"));
        claudeLog("notes", logs::claudeUser("notes are no session"));
        claudeLog("{" + uuid() + "}", logs::claudeUser("braces are no session"));
        claudeLog(uuid() + "-x", logs::claudeUser("neither is this"));
        QDir().mkpath(logs::claudeFolder(m_claudeRoot, m_project) + "/" + uuid() + ".jsonl.d");
        claudeLog(uuid(), logs::claudeUser("another project"), m_env->path("work/other"));

        const auto found = service().discoverSessions(m_project);
        QCOMPARE(idSet(found), QSet<QString>({good, plain}));
        for (const auto &s : found) {
            QCOMPARE(s.agentType, AgentType::claudeCode);
            QCOMPARE(s.projectPath, std::optional<QString>(m_project));
            QVERIFY(s.jsonlPath.endsWith(s.id + ".jsonl"));
        }
    }

    void claudeFoldersOfBothNamings()
    {
        // "/…/my.app": claude 2.1 writes "-…-my-app"; logs under "-…-my.app" are found too, once.
        const QString realNaming = uuid(), slashNaming = uuid();
        claudeLog(realNaming, logs::claudeUser("dash for the dot"));
        const QString slashFolder = m_claudeRoot + "/" + QString(m_project).replace('/', '-');
        QVERIFY(slashFolder.endsWith("-my.app"));
        logs::writeFile(slashFolder + "/" + slashNaming + ".jsonl", logs::claudeUser("dot kept"));
        logs::writeFile(slashFolder + "/" + realNaming + ".jsonl", logs::claudeUser("dash for the dot"));
        const auto found = service().discoverSessions(m_project);
        QCOMPARE(found.size(), 2);
        QCOMPARE(idSet(found), QSet<QString>({realNaming, slashNaming}));
    }

    void longPathsShareACutFolderName()
    {
        // claude cuts a name past 200 characters and adds a hash of its own: of the folders with
        // the cut name, only logs that name this project's folder count.
        const QString longProject = m_env->path("work/") + QString(150, u'a') + "/" + QString(100, u'b');
        const QString sibling = longProject + "-other";
        const QString cut = claudelog::projectFolderName(longProject).left(claudelog::folderNameLimit);
        const QString mine = uuid(), theirs = uuid(), unnamed = uuid();
        logs::writeFile(m_claudeRoot + "/" + cut + "-k2x9qa/" + mine + ".jsonl", logs::claudeUserIn("mine", longProject));
        logs::writeFile(m_claudeRoot + "/" + cut + "-p0z7mm/" + theirs + ".jsonl", logs::claudeUserIn("theirs", sibling));
        logs::writeFile(m_claudeRoot + "/" + cut + "-p0z7mm/" + unnamed + ".jsonl", logs::claudeUser("no folder named"));
        QCOMPARE(idsOf(service().discoverSessions(longProject)), QStringList({mine}));
        QCOMPARE(idsOf(service().discoverSessions(sibling)), QStringList({theirs}));
    }

    void headerWindowEdge()
    {
        // The window cuts a two-byte character in a long line: that line is dropped, the prompt
        // before it is kept.
        const QString cut = uuid();
        QByteArray bytes = logs::claudeUser("before the edge");
        bytes += "{\"type\":\"assistant\",\"x\":\"";
        while (bytes.size() < sessionlog::headerWindowBytes - 1)
            bytes += 'c';
        bytes += "\xc3\xa9\"}\n"; // "é" across byte 50,000
        QCOMPARE(bytes.indexOf("\xc3\xa9"), sessionlog::headerWindowBytes - 1);
        bytes += logs::claudeText("after");
        claudeLog(cut, bytes);
        // The first user text lies behind the window: not listed.
        const QString late = uuid();
        claudeLog(late, logs::claudeText(QString(sessionlog::headerWindowBytes, u'z')) + logs::claudeUser("too late"));

        const auto found = service().discoverSessions(m_project);
        QCOMPARE(idsOf(found), QStringList({cut}));
        QCOMPARE(found.first().firstPrompt, QStringLiteral("before the edge"));
        QCOMPARE(found.first().messageCount, 1); // the cut line is not counted
    }

    void codexDiscovery()
    {
        const QByteArray body = logs::codexTurnContext("gpt-5.5") + logs::codexMessage("user", "Codex question");
        codexLog("2026/03/04/rollout-2026-03-04T05-06-07-aaa.jsonl", logs::codexMeta("codex-here", m_project) + body);
        codexLog("2026/03/05/rollout-2026-03-05T05-06-07-bbb.jsonl", logs::codexMeta("codex-slash", m_project + "/") + body);
        codexLog("2026/03/05/rollout-2026-03-05T05-06-07-ccc.jsonl", logs::codexMeta("codex-other", m_env->path("work/other")) + body);
        codexLog("2026/03/05/.rollout-hidden.jsonl", logs::codexMeta("codex-hidden", m_project) + body);
        codexLog(".hidden/rollout-in-hidden-folder.jsonl", logs::codexMeta("codex-hidden-folder", m_project) + body);
        codexLog("2026/03/05/session-ddd.jsonl", logs::codexMeta("codex-name", m_project) + body);
        codexLog("2026/03/05/rollout-no-cwd.jsonl",
                 logs::line({{"type", "session_meta"}, {"payload", QJsonObject{{"id", "codex-nocwd"}}}}) + body);
        codexLog("2026/03/05/rollout-no-prompt.jsonl", logs::codexMeta("codex-noprompt", m_project));

        const auto found = service().discoverSessions(m_project);
        QCOMPARE(idsOf(found), QStringList({"codex-here"}));
        QCOMPARE(found.first().agentType, AgentType::codex);
        QCOMPARE(found.first().model, std::optional<QString>("gpt-5.5"));
        QCOMPARE(found.first().created.toUTC(), QDateTime(QDate(2026, 3, 4), QTime(5, 6, 7, 890), Qt::UTC));
    }

    void codexPromptBehindLongInstructions()
    {
        // codex 0.169 writes some 80 KB of its own instructions before the first prompt.
        const QByteArray instructions = logs::codexMessage("developer", QString(90000, u'i'));
        codexLog("2026/03/04/rollout-long.jsonl", logs::codexMeta("codex-long", m_project) + instructions
                                                       + logs::codexMessage("user", "after the instructions"));
        const auto found = service().discoverSessions(m_project);
        QCOMPARE(idsOf(found), QStringList({"codex-long"}));
        QCOMPARE(found.first().firstPrompt, QStringLiteral("after the instructions"));
    }

    void sortedNewestFirstAcrossAgentsAndRoots()
    {
        const QString older = uuid(), newer = uuid();
        setModified(claudeLog(older, logs::claudeUser("older")), QDateTime::currentDateTime().addDays(-3));
        setModified(codexLog("a/rollout-x.jsonl", logs::codexMeta("codex-mid", m_project) + logs::codexMessage("user", "mid")),
                    QDateTime::currentDateTime().addDays(-2));
        // A profile's own configuration folder holds a newer one, and the same old one again.
        Profile profile;
        profile.configDirPath = m_env->path("profile/claude");
        const QString profileRoot = profile.configDirPath + "/projects";
        logs::writeFile(logs::claudeFolder(profileRoot, m_project) + "/" + newer + ".jsonl", logs::claudeUser("newer"));
        logs::writeFile(logs::claudeFolder(profileRoot, m_project) + "/" + older + ".jsonl", logs::claudeUser("older"));

        ImportRoots roots = ImportRoots::forProfile(&profile);
        QCOMPARE(roots.claudeDirs.size(), 2);
        roots.claudeDirs = QStringList{m_claudeRoot, profileRoot};
        roots.codexSessionsDirs = QStringList{m_codexRoot};
        QCOMPARE(idsOf(ImportService(roots).discoverSessions(m_project)), QStringList({newer, "codex-mid", older}));
    }

    void importRebuildsTheChat()
    {
        const QString id = uuid();
        claudeLog(id, logs::claudeUser("Write the notes file, then check it in detail please, thanks a lot") + logs::claudeText("Sure.")
                          + logs::claudeToolUse("Write", {{"file_path", "/repo/notes.txt"}}) + logs::claudeToolResult()
                          + logs::claudeToolUse("", {{"x", 1}}) + logs::claudeText("Done."));
        const auto sessions = service().discoverSessions(m_project, m_store.get());
        QCOMPARE(sessions.size(), 1);

        auto context = m_store->newContext();
        QList<std::pair<int, int>> progress;
        const ImportOutcome outcome = ImportService::importSessions(sessions, m_projectId, *context,
                                                                    [&](int i, int n) { progress.append({i, n}); });
        QVERIFY(outcome.errors.isEmpty());
        QCOMPARE(progress, (QList<std::pair<int, int>>{{1, 1}}));
        QCOMPARE(outcome.workspaceIds.size(), 1);

        auto check = m_store->newContext();
        const auto workspace = check->get<Workspace>(outcome.workspaceIds.first());
        QVERIFY(workspace);
        QCOMPARE(workspace->name, QStringLiteral("Write the notes file, then check it in detail please, thanks"));
        QVERIFY(!workspace->usesWorktree && !workspace->worktreePath && !workspace->gitBranch);
        QCOMPARE(workspace->projectId, std::optional(m_projectId));
        const auto chat = check->get<Chat>(outcome.chatIds.first());
        QCOMPARE(chat->name, workspace->name);
        QCOMPARE(chat->workspaceId, std::optional(workspace->id));
        QCOMPARE(chat->claudeSessionId, std::optional(id));
        QCOMPARE(chat->agentTypeRaw, std::optional<QString>("claude_code"));
        QCOMPARE(chat->modelId, std::optional<QString>("claude:claude-sonnet-4-6"));
        QCOMPARE(workspace->activeChatId, std::optional(chat->id));

        const auto messages = check->fetchOrEmpty<Message>(Query(where::eq("chatId", chat->id)).orderBy("timestamp"));
        QStringList contents;
        for (const auto &m : messages)
            contents << m->content;
        QCOMPARE(contents, QStringList({"Write the notes file, then check it in detail please, thanks a lot", "Sure.",
                                        "Write: /repo/notes.txt", "Tool", "Done."}));
        // All carry the time of the import: one activity day, today.
        const auto days = check->fetchOrEmpty<ChatActivityDay>(Query(where::eq("chatId", chat->id)));
        QCOMPARE(days.size(), 1);
        QCOMPARE(days.first()->day.date(), QDate::currentDate());

        // A session a chat holds never shows again.
        QVERIFY(service().discoverSessions(m_project, m_store.get()).isEmpty());
        QCOMPARE(service().discoverSessions(m_project).size(), 1);
    }

    void failuresLeaveNothingBehind()
    {
        QList<QString> paths;
        for (int i = 0; i < 5; ++i) {
            paths << claudeLog(uuid(), logs::claudeUser(QStringLiteral("session %1").arg(i)) + logs::claudeText("answer"));
            setModified(paths.last(), QDateTime::currentDateTime().addSecs(-60 * i));
        }
        const auto sessions = service().discoverSessions(m_project, m_store.get());
        QCOMPARE(sessions.size(), 5);
        // Between discovery and import one log is deleted and another becomes a folder.
        QVERIFY(QFile::remove(sessions[1].jsonlPath));
        QVERIFY(QFile::remove(sessions[3].jsonlPath));
        QVERIFY(QDir().mkpath(sessions[3].jsonlPath));

        const qint64 workspacesBefore = m_store->newContext()->count<Workspace>().valueOr(-1);
        auto context = m_store->newContext();
        const ImportOutcome outcome = ImportService::importSessions(sessions, m_projectId, *context);
        QCOMPARE(outcome.workspaceIds.size(), 3);
        QCOMPARE(outcome.errors.size(), 2);
        QCOMPARE(outcome.errors.first().message, "Cannot read session file: " + sessions[1].jsonlPath);
        QCOMPARE(outcome.errors.last().message, "Cannot read session file: " + sessions[3].jsonlPath);

        auto check = m_store->newContext();
        QCOMPARE(check->count<Workspace>().valueOr(-1), workspacesBefore + 3);
        QCOMPARE(check->count<Chat>().valueOr(-1), 3);
        QCOMPARE(check->count<Message>().valueOr(-1), 6);
        QCOMPARE(check->count<ChatActivityDay>().valueOr(-1), 3);
        QStringList names;
        for (const auto &chat : check->fetchOrEmpty<Chat>(Query().orderBy("name")))
            names << chat->name;
        QCOMPARE(names, QStringList({"session 0", "session 2", "session 4"}));
    }

    void modelOfTheImportedChat_data()
    {
        QTest::addColumn<int>("agent");
        QTest::addColumn<QString>("model");
        QTest::addColumn<QString>("id");
        QTest::newRow("claude, offered") << int(AgentType::claudeCode) << "claude-haiku-4-5-20251001" << "claude:claude-haiku-4-5-20251001";
        QTest::newRow("claude, unknown") << int(AgentType::claudeCode) << "claude-future-9" << "claude:claude-opus-4-8";
        QTest::newRow("claude, none") << int(AgentType::claudeCode) << "" << "claude:claude-opus-4-8";
        QTest::newRow("codex, offered") << int(AgentType::codex) << "gpt-5.4" << "codex:gpt-5.4";
        QTest::newRow("codex, a claude model") << int(AgentType::codex) << "claude-opus-4-8" << "codex:gpt-5.5";
    }
    void modelOfTheImportedChat()
    {
        QFETCH(int, agent);
        QFETCH(QString, model);
        QFETCH(QString, id);
        ImportableSession session;
        session.agentType = AgentType(agent);
        if (!model.isEmpty())
            session.model = model;
        QCOMPARE(ImportService::modelIdFor(session), id);
    }

    void unknownProjectOrAgent()
    {
        const QString id = uuid();
        claudeLog(id, logs::claudeUser("q"));
        auto sessions = service().discoverSessions(m_project);
        auto context = m_store->newContext();
        ImportOutcome outcome = ImportService::importSessions(sessions, QUuid::createUuid(), *context);
        QCOMPARE(outcome.errors.size(), 1);
        QCOMPARE(outcome.errors.first().message, QStringLiteral("Invalid model context for import"));
        sessions.first().agentType = AgentType(7);
        outcome = ImportService::importSessions(sessions, m_projectId, *context);
        QCOMPARE(outcome.errors.size(), 1);
        QCOMPARE(outcome.errors.first().message, QStringLiteral("Invalid model context for import"));
        QCOMPARE(m_store->newContext()->count<Chat>().valueOr(-1), 0);
    }

    void viewModelLoadsFiltersAndImports()
    {
        for (int i = 0; i < 5; ++i)
            setModified(claudeLog(uuid(), logs::claudeUser(QStringLiteral("task %1").arg(i))
                                              + logs::claudeText("a", i % 2 ? "model-b" : "model-a")),
                        QDateTime::currentDateTime().addDays(-i * 4));
        ImportWindowViewModel model(m_store, m_projectId, {{m_claudeRoot}, {m_codexRoot}});
        QSignalSpy loaded(&model, &ImportWindowViewModel::loaded);
        model.load();
        QVERIFY(model.isLoading());
        QVERIFY(loaded.wait(10000));
        QVERIFY(!model.isLoading());
        QCOMPARE(model.sessions().size(), 5);
        QCOMPARE(model.availableModels(), QStringList({"model-a", "model-b"}));

        model.setModelFilter(QStringLiteral("model-b"));
        QCOMPARE(model.filteredSessions().size(), 2);
        model.selectAll();
        QCOMPARE(model.selectedIds().size(), 2);
        QVERIFY(model.allFilteredSelected());
        model.setModelFilter(std::nullopt);
        QVERIFY(!model.allFilteredSelected());
        model.setDateFilter(DateFilter::thisWeek); // task 0 (today) and task 1 (4 days ago)
        QCOMPARE(model.filteredSessions().size(), 2);
        model.deselectAll();                       // drops task 1 only
        QCOMPARE(model.selectedIds().size(), 1);
        model.setDateFilter(DateFilter::all);
        model.toggle(model.sessions().first().id);   // task 0
        QCOMPARE(model.selectedIds().size(), 2);

        // One of the two is gone by the time the import runs.
        QString gone;
        for (const auto &s : model.sessions())
            if (model.isSelected(s.id) && gone.isEmpty())
                gone = s.jsonlPath;
        QVERIFY(QFile::remove(gone));
        QList<std::pair<int, int>> progress;
        connect(&model, &ImportWindowViewModel::changed, this, [&] {
            if (auto p = model.importProgress(); p && (progress.isEmpty() || progress.last() != *p))
                progress.append(*p);
        });
        QSignalSpy imported(&model, &ImportWindowViewModel::imported);
        QSignalSpy finished(&model, &ImportWindowViewModel::importFinished);
        model.importSelected();
        QVERIFY(model.isImporting());
        QVERIFY(finished.wait(10000));
        QVERIFY(!model.isImporting());
        QVERIFY(!model.importProgress());
        QCOMPARE(model.errorMessage(), std::optional<QString>("Failed to import 1 session(s)"));
        QCOMPARE(imported.size(), 1);
        QCOMPARE(imported.first().first().value<QList<QUuid>>().size(), 1);
        QVERIFY(progress.contains(std::make_pair(2, 2)));
        QCOMPARE(model.sessions().size(), 4); // the imported one left the list
        model.importSelected();               // the failed one is still selected and fails again
        QVERIFY(finished.wait(10000));
        QCOMPARE(imported.size(), 1);
        model.deselectAll();
        model.importSelected();               // nothing selected: nothing happens
        QVERIFY(!model.isImporting());
    }
};

QTEST_GUILESS_MAIN(ImportServiceTest)
#include "tst_import_service.moc"
