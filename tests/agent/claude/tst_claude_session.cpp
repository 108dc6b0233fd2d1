// The real claude, driven through the chat session engine exactly as the window drives it,
// against the scripted model stand-in. Each case checks what ends up in the store.
#include "agent/AgentModelCatalogue.h"
#include "agent/claude/ClaudeSDKService.h"
#include "agent/session/ChatController.h"
#include "agent/session/ChatSession.h"
#include "core/records/Chat.h"
#include "core/records/Message.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "support/ChatFixture.h"
#include "support/FakeModel.h"
#include "support/TestEnvironment.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QJsonDocument>
#include <QSignalSpy>
#include <QTest>

#include <csignal>

using namespace corvane;

namespace {

using Turn = test::TurnOutcome;

} // namespace

class ClaudeSessionTest : public QObject, test::ChatFixture
{
    Q_OBJECT

    ClaudeSDKService::Timing m_timing;
    QProcessEnvironment m_claudeEnv;
    ClaudeSDKService *m_lastService = nullptr;

    ChatController controller()
    {
        return ChatController([this](AgentType) -> std::unique_ptr<AgentAdapter> {
            auto adapter = std::make_unique<ClaudeSDKService>(locateTool(AgentTool::claude, test::FakeModel::claudePath()));
            adapter->setExtraEnvironment(m_claudeEnv);
            adapter->setTiming(m_timing);
            m_lastService = adapter.get();
            return adapter;
        });
    }

    // Sends one message and waits for the turn to end either way.
    Turn send(ChatSession &session, ChatController &chat, const QString &text,
              PermissionMode mode = PermissionMode::acceptAll, int timeoutMs = 60000)
    {
        return test::sendAndWait(session, chat, text, *AgentModelCatalogue::byId("claude:claude-sonnet-4-6"), mode, {}, {},
                                 timeoutMs);
    }

    bool startModel(test::FakeModel &model)
    {
        if (!model.isRunning()) {
            qWarning("%s", qPrintable(model.error()));
            return false;
        }
        m_claudeEnv = model.claudeEnvironment();
        return true;
    }

private slots:
    void initTestCase()
    {
        if (test::FakeModel::claudePath().isEmpty())
            QSKIP("the pinned claude is not installed: run scripts/setup.sh");
    }

    void init()
    {
        setUpChat();
        m_timing = ClaudeSDKService::Timing();
    }

    void cleanup() { tearDownChat(); }

    void repliesAreStored_data()
    {
        QTest::addColumn<QString>("scenario");
        QTest::addColumn<QStringList>("expectedAssistant");
        QTest::newRow("plain text") << "plain_text.json" << QStringList{"Hello from the fake model."};
        QTest::newRow("thinking, then text")
            << "thinking_text.json" << QStringList{"Hello! I thought about it first."};
    }

    void repliesAreStored()
    {
        QFETCH(QString, scenario);
        QFETCH(QStringList, expectedAssistant);
        test::FakeModel model(scenario);
        QVERIFY(startModel(model));
        auto session = newSession();
        ChatController chat = controller();
        const Turn turn = send(*session, chat, "Hello");
        QVERIFY2(turn.completed, qPrintable(turn.failure));
        QCOMPARE(assistantTexts(), expectedAssistant);
        for (const auto &m : stored()) {
            QVERIFY2(m->isComplete, qPrintable(m->content));
            QVERIFY(m->role != MessageRole::thinking); // no "Thinking..." row outlives its turn
        }
        QVERIFY(!storedChat()->claudeSessionId.value_or(QString()).isEmpty());
        QCOMPARE(storedChat()->agentTypeRaw, std::optional<QString>("claude_code"));
    }

    void bothTextBlocksOfOneReplyAreKept()
    {
        test::FakeModel model("two_text_blocks.json");
        QVERIFY(startModel(model));
        auto session = newSession();
        ChatController chat = controller();
        QVERIFY(send(*session, chat, "Two blocks please").completed);
        const QString all = assistantTexts().join("\n");
        QVERIFY2(all.contains("First block of the reply."), qPrintable(all));
        QVERIFY2(all.contains("Second block of the same reply."), qPrintable(all));
        QCOMPARE(all.count("Second block of the same reply."), 1);
    }

    void toolUsesBecomeToolRows()
    {
        test::FakeModel model("tool_uses.json", {"WORKDIR=" + m_folder});
        QVERIFY(startModel(model));
        auto session = newSession();
        ChatController chat = controller();
        const Turn turn = send(*session, chat, "Use some tools");
        QVERIFY2(turn.completed, qPrintable(turn.failure));
        QStringList tools;
        for (const auto &m : stored()) {
            if (m->role != MessageRole::tool)
                continue;
            tools << m->toolName.value_or("?");
            QCOMPARE(m->contentType, MessageContentType::toolComplete);
            QVERIFY(m->isComplete);
            if (m->toolName == "Bash") {
                QVERIFY2(m->content.startsWith("Bash: echo hi"), qPrintable(m->content));
                QVERIFY2(m->content.contains("\nhi"), qPrintable(m->content));
            }
            if (m->toolName == "Write")
                QVERIFY(m->metadata.has_value()); // the input, for the diff view
        }
        QCOMPARE(tools, QStringList({"Bash", "Write", "Edit"}));
        QVERIFY(QFile::exists(m_folder + "/notes.txt"));
        QVERIFY(assistantTexts().size() >= 2); // text after a tool opens a new row
    }

    void twoTurnsShareOneProcessAndSession()
    {
        test::FakeModel model("two_turns.json");
        QVERIFY(startModel(model));
        auto session = newSession();
        ChatController chat = controller();
        QVERIFY(send(*session, chat, "First").completed);
        const QString sessionId = storedChat()->claudeSessionId.value_or(QString());
        ClaudeSDKService *service = m_lastService;
        QVERIFY(send(*session, chat, "Second").completed);
        QCOMPARE(m_lastService, service); // no new adapter, no relaunch
        QCOMPARE(storedChat()->claudeSessionId.value_or(QString()), sessionId);
        QCOMPARE(assistantTexts().size(), 2);
    }

    void aKilledProcessResumesOnTheNextMessage()
    {
        test::FakeModel model("two_turns.json");
        QVERIFY(startModel(model));
        auto session = newSession();
        ChatController chat = controller();
        QVERIFY(send(*session, chat, "First").completed);
        const QString sessionId = storedChat()->claudeSessionId.value_or(QString());
        QTest::qWait(1000); // let claude write its session file before it dies
        QVERIFY(m_lastService->isLaunched());
        QVERIFY(m_lastService->processId() > 0);
        ::kill(pid_t(m_lastService->processId()), SIGKILL); // as a crash would
        QTRY_VERIFY_WITH_TIMEOUT(!m_lastService->isLaunched(), 10000);
        const Turn turn = send(*session, chat, "Second");
        QVERIFY2(turn.completed, qPrintable(turn.failure));
        QVERIFY(m_lastService->lastArguments().contains("--resume"));
        QCOMPARE(storedChat()->claudeSessionId.value_or(QString()), sessionId);
    }

    void aSessionThatCannotBeResumedStartsAfreshWithTheReplay()
    {
        test::FakeModel model("two_turns.json");
        QVERIFY(startModel(model));
        {
            auto ctx = m_store->newContext();
            auto chat = ctx->get<Chat>(m_chatId);
            chat->claudeSessionId = QUuid::createUuid().toString(QUuid::WithoutBraces); // never written
            QVERIFY(ctx->save().ok());
            Message earlier;
            earlier.chatId = m_chatId;
            earlier.role = MessageRole::user;
            earlier.content = "What we talked about before";
            earlier.timestamp = QDateTime::currentDateTime().addSecs(-60);
            ctx->insert(earlier);
            QVERIFY(ctx->save().ok());
        }
        auto session = newSession();
        ChatController chat = controller();
        chat.bind(*session, *AgentModelCatalogue::byId("claude:claude-sonnet-4-6"), PermissionMode::acceptAll);
        const Turn turn = send(*session, chat, "Carry on");
        QVERIFY2(turn.completed, qPrintable(turn.failure));
        bool noted = false;
        for (const auto &m : stored())
            noted |= m->role == MessageRole::system && m->content.contains("could not be resumed");
        QVERIFY(noted);
        QVERIFY(!storedChat()->claudeSessionId.value_or(QString()).isEmpty());
        // The new session heard the earlier conversation before the message itself.
        bool replayed = false;
        for (const QVariantMap &request : model.requests())
            replayed |= QJsonDocument::fromVariant(request.value("body")).toJson().contains("What we talked about before");
        QVERIFY(replayed);
    }

    void anErrorResultBecomesAnErrorRow()
    {
        test::FakeModel model("api_error.json");
        QVERIFY(startModel(model));
        auto session = newSession();
        ChatController chat = controller();
        const Turn turn = send(*session, chat, "Break please");
        QVERIFY(!turn.completed);
        QVERIFY2(turn.failure.contains("API Error"), qPrintable(turn.failure));
        int errors = 0;
        for (const auto &m : stored()) {
            if (m->contentType == MessageContentType::error)
                ++errors;
            QVERIFY2(!(m->role == MessageRole::assistant && m->content.contains("API Error")), "shown once, as the error");
        }
        QCOMPARE(errors, 1);
        QVERIFY(send(*session, chat, "Try again").completed); // the chat stays usable
    }

    void aFailedLaunchSaysWhy()
    {
        m_claudeEnv = QProcessEnvironment();
        auto session = newSession();
        ChatController chat([this](AgentType) -> std::unique_ptr<AgentAdapter> {
            auto adapter = std::make_unique<ClaudeSDKService>(locateTool(AgentTool::claude, m_env->path("no/claude")));
            m_lastService = adapter.get();
            return adapter;
        });
        const Turn turn = send(*session, chat, "Anyone there?");
        QVERIFY(!turn.completed);
        QVERIFY2(turn.failure.contains("claude command was not found"), qPrintable(turn.failure));
    }

    void aStallIsReportedOnce()
    {
        test::FakeModel model("slow_reply.json", {"DELAY=4", "DELTA_DELAY=0.05"});
        QVERIFY(startModel(model));
        m_timing.stallCheckMs = 200;
        m_timing.silenceStallMs = 1500;
        auto session = newSession();
        ChatController chat = controller();
        QVERIFY(send(*session, chat, "Take your time").completed);
        int notes = 0;
        for (const auto &m : stored())
            notes += m->content.startsWith("Claude appears unresponsive") ? 1 : 0;
        QCOMPARE(notes, 1);
    }

    void aReplyOverOneMegabyteArrivesWhole()
    {
        test::FakeModel model("huge_reply.json");
        QVERIFY(startModel(model));
        auto session = newSession();
        ChatController chat = controller();
        QVERIFY(send(*session, chat, "Lots").completed);
        const QStringList texts = assistantTexts();
        QCOMPARE(texts.size(), 1);
        QVERIFY2(texts[0].size() > 1'000'000, qPrintable(QString::number(texts[0].size())));
        QVERIFY(session->saveCount() < 40); // streamed without a save per delta
    }

    void multiByteTextSurvivesAwkwardCuts()
    {
        test::FakeModel model("multibyte_text.json");
        QVERIFY(startModel(model));
        auto session = newSession();
        ChatController chat = controller();
        QVERIFY(send(*session, chat, "Unicode please").completed);
        const QStringList texts = assistantTexts();
        QCOMPARE(texts.size(), 1);
        QVERIFY(!texts[0].contains(QChar(0xFFFD))); // nothing broken
        QVERIFY(texts[0].contains(QString::fromUtf8("👍🏽")));
        QVERIFY(texts[0].contains(QString::fromUtf8("日本語のテキスト")));
    }
    void aStopMidTurnEndsItQuietlyAndTheChatGoesOn()
    {
        test::FakeModel model("slow_reply.json", {"DELAY=0", "DELTA_DELAY=0.3"});
        QVERIFY(startModel(model));
        auto session = newSession();
        ChatController chat = controller();
        QSignalSpy done(session.get(), &ChatSession::turnCompleted);
        QSignalSpy failed(session.get(), &ChatSession::turnFailed);
        const auto sonnet = *AgentModelCatalogue::byId("claude:claude-sonnet-4-6");
        QVERIFY(chat.sendMessage(*session, "Take your time", {}, sonnet, PermissionMode::acceptAll).ok());
        // Stop once the reply has started to stream, so the stop lands inside the turn.
        const auto streaming = [&] {
            for (const auto &m : session->messages())
                if (m->role == MessageRole::assistant && !m->content.isEmpty())
                    return true;
            return false;
        };
        QTRY_VERIFY_WITH_TIMEOUT(streaming(), 30000);
        session->adapter()->interrupt();
        QTRY_VERIFY_WITH_TIMEOUT(done.count() + failed.count() > 0, 15000);
        QCOMPARE(failed.count(), 0);
        QCOMPARE(session->activityState(), ChatActivityState::idle);
        QVERIFY(m_lastService->processId() > 0); // the interrupt request keeps the process
        for (const auto &m : stored())
            QVERIFY2(m->contentType != MessageContentType::error, qPrintable(m->content));
        QVERIFY(send(*session, chat, "Go on").completed);
        QVERIFY(assistantTexts().contains("Fresh reply after the stop."));
    }

    void aNonZeroExitShowsTheToolsOwnWords()
    {
        // claude started with an option it does not know: a real exit status 1 with its reason
        // on standard error, before any turn.
        test::FakeModel model("plain_text.json");
        QVERIFY(startModel(model));
        const QString wrapper = m_env->path("claude-with-a-bad-option");
        QFile script(wrapper);
        QVERIFY(script.open(QIODevice::WriteOnly));
        script.write(QStringLiteral("#!/bin/sh\nexec '%1' --no-such-option \"$@\"\n").arg(test::FakeModel::claudePath()).toUtf8());
        script.close();
        script.setPermissions(script.permissions() | QFileDevice::ExeOwner);
        auto session = newSession();
        ChatController chat([this, wrapper](AgentType) -> std::unique_ptr<AgentAdapter> {
            auto adapter = std::make_unique<ClaudeSDKService>(locateTool(AgentTool::claude, wrapper));
            adapter->setExtraEnvironment(m_claudeEnv);
            return adapter;
        });
        const Turn turn = send(*session, chat, "Hello");
        QVERIFY(!turn.completed);
        QVERIFY2(turn.failure.contains("no-such-option"), qPrintable(turn.failure));
        QCOMPARE(session->activityState(), ChatActivityState::idle);
        int errors = 0;
        for (const auto &m : stored())
            errors += m->contentType == MessageContentType::error ? 1 : 0;
        QCOMPARE(errors, 1);
    }

    void aModeSwitchReachesTheRunningProcess()
    {
        test::FakeModel model("mode_switch.json");
        QVERIFY(startModel(model));
        auto session = newSession();
        ChatController chat = controller();
        QVERIFY(send(*session, chat, "first", PermissionMode::acceptAll).completed);
        const qint64 pid = m_lastService->processId();
        QSignalSpy asked(session.get(), &ChatSession::permissionRequested);
        const auto sonnet = *AgentModelCatalogue::byId("claude:claude-sonnet-4-6");
        QVERIFY(chat.sendMessage(*session, "run it", {}, sonnet, PermissionMode::ask).ok());
        QTRY_VERIFY_WITH_TIMEOUT(asked.count() == 1, 30000);
        QCOMPARE(asked.at(0).at(1).value<AgentPermissionRequest>().toolName, QStringLiteral("Bash"));
        QCOMPARE(m_lastService->processId(), pid); // same process, new mode
        session->adapter()->interrupt();
    }
};

QTEST_GUILESS_MAIN(ClaudeSessionTest)
#include "tst_claude_session.moc"
