// The real claude and codex from npm work a turn with a tool against the scripted stand-ins;
// discovery then finds the logs they wrote, import rebuilds the chat, and the next message sent
// in the imported chat resumes that very session: the stand-in sees the earlier turns.
#include "accounts/import/ImportService.h"
#include "agent/AgentModelCatalogue.h"
#include "agent/claude/ClaudeSDKService.h"
#include "agent/codex/CodexSDKService.h"
#include "agent/session/ChatController.h"
#include "agent/session/ChatSession.h"
#include "core/records/Chat.h"
#include "core/records/Message.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "support/ChatFixture.h"
#include "support/FakeCodexModel.h"
#include "support/FakeModel.h"

#include <QDirIterator>
#include <QJsonDocument>
#include <QTest>

using namespace corvane;

class ImportRealAgentsTest : public QObject, test::ChatFixture
{
    Q_OBJECT

    static QString scenario(const QString &name)
    {
        return test::sourceDir() + QStringLiteral("/tests/accounts/import/scenarios/") + name;
    }

    std::unique_ptr<ChatController> controllerFor(AgentType type, const QString &program, const QProcessEnvironment &env)
    {
        return std::make_unique<ChatController>([type, program, env](AgentType) -> std::unique_ptr<AgentAdapter> {
            if (type == AgentType::codex) {
                auto adapter = std::make_unique<CodexSDKService>(locateTool(AgentTool::codex, program));
                adapter->setExtraEnvironment(env);
                return adapter;
            }
            auto adapter = std::make_unique<ClaudeSDKService>(locateTool(AgentTool::claude, program));
            adapter->setExtraEnvironment(env);
            return adapter;
        });
    }

    // One turn in a fresh chat, the import of what the agent wrote, and a second turn in the
    // imported chat; the texts of the imported chat.
    void runImportRoad(AgentType type, const AgentModelDescriptor &model, const QString &program,
                       const QProcessEnvironment &env, const ImportRoots &roots, QUuid &importedChat)
    {
        {
            auto session = newSession();
            auto controller = controllerFor(type, program, env);
            const auto turn = test::sendAndWait(*session, *controller, QStringLiteral("first question: print something"),
                                                model, PermissionMode::acceptAll);
            QVERIFY2(turn.completed, qPrintable(turn.failure));
            // The agent writes its log behind its answer: wait for the whole turn to be there.
            QDeadlineTimer written(20000);
            while (!logHolds(roots, "Answer to the first question.") && !written.hasExpired())
                QTest::qWait(50);
            session.reset();
        }
        const auto sessions = ImportService(roots).discoverSessions(m_folder, m_store.get());
        // The chat that ran the turn holds the session already: a copy of the log under another
        // id stands for a session made outside the app.
        QCOMPARE(sessions.size(), 0);
        const auto original = storedChat();
        QVERIFY(original->claudeSessionId);
        m_store->mainContext().get<Chat>(m_chatId)->claudeSessionId.reset();
        QVERIFY(m_store->mainContext().save());

        const auto found = ImportService(roots).discoverSessions(m_folder, m_store.get());
        QCOMPARE(found.size(), 1);
        const ImportableSession &log = found.first();
        QCOMPARE(log.id, *original->claudeSessionId);
        QCOMPARE(log.agentType, type);
        QVERIFY2(log.firstPrompt.startsWith("first question"), qPrintable(log.firstPrompt));
        QVERIFY(log.model);

        auto context = m_store->newContext();
        const ImportOutcome outcome = ImportService::importSessions(found, *original->projectId, *context);
        QVERIFY(outcome.errors.isEmpty());
        QCOMPARE(outcome.chatIds.size(), 1);
        importedChat = outcome.chatIds.first();
        QCOMPARE(m_store->newContext()->get<Chat>(importedChat)->modelId, std::optional(model.id));
        const QStringList texts = test::contentsOf(test::storedMessages(*m_store, importedChat));
        QVERIFY2(texts.first().startsWith("first question"), qPrintable(texts.join(" | ")));
        QVERIFY2(texts.contains("Answer to the first question."), qPrintable(texts.join(" | ")));
        bool sawTool = false;
        for (const auto &m : test::storedMessages(*m_store, importedChat))
            sawTool = sawTool || (m->role == MessageRole::tool && m->content.contains("imported-hi"));
        QVERIFY2(sawTool, qPrintable(texts.join(" | ")));

        // The next message resumes the session.
        const auto imported = m_store->newContext()->get<Chat>(importedChat);
        ChatSession resumed(importedChat, imported->name, m_folder, *m_store);
        resumed.setSaveInterval(200);
        auto controller = controllerFor(type, program, env);
        controller->bind(resumed, model, PermissionMode::acceptAll);
        const auto turn = test::sendAndWait(resumed, *controller, QStringLiteral("second question"), model, PermissionMode::acceptAll);
        QVERIFY2(turn.completed, qPrintable(turn.failure));
        const QStringList after = test::contentsOf(test::storedMessages(*m_store, importedChat));
        QVERIFY2(after.contains("Answer to the second question."), qPrintable(after.join(" | ")));
        for (const QString &text : after)
            QVERIFY2(!text.contains("could not be resumed"), qPrintable(text));
        QCOMPARE(m_store->newContext()->get<Chat>(importedChat)->claudeSessionId, std::optional(log.id));
    }

    static bool logHolds(const ImportRoots &roots, const QByteArray &text)
    {
        for (const QString &root : roots.claudeDirs + roots.codexSessionsDirs) {
            QDirIterator it(root, {"*.jsonl"}, QDir::Files, QDirIterator::Subdirectories);
            while (it.hasNext()) {
                QFile file(it.next());
                if (file.open(QIODevice::ReadOnly) && file.readAll().contains(text))
                    return true;
            }
        }
        return false;
    }

    // Whether the request that carried `prompt` also carried `earlier` (the resumed history).
    static bool requestCarries(const QList<QVariantMap> &requests, const QString &prompt, const QString &earlier)
    {
        for (const QVariantMap &request : requests) {
            const QString body = QString::fromUtf8(QJsonDocument::fromVariant(request.value("body")).toJson());
            if (body.contains(prompt) && body.contains(earlier))
                return true;
        }
        return false;
    }

private slots:
    void init() { setUpChat(); }
    void cleanup() { tearDownChat(); }

    void claudeSessionImportedAndResumed()
    {
        if (test::FakeModel::claudePath().isEmpty())
            QSKIP("the pinned claude is not installed (scripts/setup.sh)");
        test::FakeModel fake(scenario("claude_import.json"));
        QVERIFY2(fake.isRunning(), qPrintable(fake.error()));
        const auto model = *AgentModelCatalogue::byId("claude:claude-sonnet-4-6");
        QUuid imported;
        runImportRoad(AgentType::claudeCode, model, test::FakeModel::claudePath(), fake.claudeEnvironment(),
                      {{fake.configDir() + "/projects"}, {}}, imported);
        if (QTest::currentTestFailed())
            return;
        QVERIFY(requestCarries(fake.requests(), "second question", "first question: print something"));
    }

    void codexSessionImportedAndResumed()
    {
        if (test::FakeCodexModel::codexPath().isEmpty())
            QSKIP("the pinned codex is not installed (scripts/setup.sh)");
        test::FakeCodexModel fake(scenario("codex_import.json"));
        QVERIFY2(fake.isRunning(), qPrintable(fake.error()));
        const auto model = *AgentModelCatalogue::byId("codex:gpt-5.5");
        QUuid imported;
        runImportRoad(AgentType::codex, model, test::FakeCodexModel::codexPath(), fake.codexEnvironment(),
                      {{}, {fake.codexHome() + "/sessions"}}, imported);
        if (QTest::currentTestFailed())
            return;
        QVERIFY(requestCarries(fake.requests(), "second question", "first question: print something"));
    }
};

QTEST_MAIN(ImportRealAgentsTest)
#include "tst_import_real_agents.moc"
