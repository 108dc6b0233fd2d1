// The real claude, driven through the chat session engine exactly as the window drives it,
// against the scripted model stand-in. Each case checks what ends up in the store.
#include "agent/AgentModelCatalogue.h"
#include "agent/claude/ClaudeSDKService.h"
#include "agent/session/ChatController.h"
#include "agent/session/ChatSession.h"
#include "core/records/Chat.h"
#include "core/records/Message.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "support/ChatFixture.h"
#include "support/FakeModel.h"

#include <QFile>
#include <QJsonDocument>
#include <QSignalSpy>
#include <QTest>

#include <csignal>

using namespace corvane;
using Turn = test::TurnOutcome;

class ClaudeSessionTest : public QObject, test::ChatFixture
{
    Q_OBJECT

    ClaudeSDKService::Timing m_timing;
    QProcessEnvironment m_claudeEnv;
    ClaudeSDKService *m_lastService = nullptr;
    std::unique_ptr<test::FakeModel> m_model;
    std::unique_ptr<ChatSession> m_session;
    std::unique_ptr<ChatController> m_chat;

    static AgentModelDescriptor sonnet() { return *AgentModelCatalogue::byId("claude:claude-sonnet-4-6"); }

    // Adapters that run `program` (the pinned claude unless told) with the stand-in's variables.
    std::unique_ptr<ChatController> controller(const QString &program = test::FakeModel::claudePath())
    {
        return std::make_unique<ChatController>([this, program](AgentType) -> std::unique_ptr<AgentAdapter> {
            auto adapter = std::make_unique<ClaudeSDKService>(locateTool(AgentTool::claude, program));
            adapter->setExtraEnvironment(m_claudeEnv);
            adapter->setTiming(m_timing);
            m_lastService = adapter.get();
            return adapter;
        });
    }

    // The stand-in on `scenario`, and a session and a controller for the chat.
    bool start(const QString &scenario, const QStringList &vars = {})
    {
        m_model = std::make_unique<test::FakeModel>(scenario, vars);
        if (!m_model->isRunning()) {
            qWarning("%s", qPrintable(m_model->error()));
            return false;
        }
        m_claudeEnv = m_model->claudeEnvironment();
        m_session = newSession();
        m_chat = controller();
        return true;
    }

    // Sends one message and waits for the turn to end either way.
    Turn send(const QString &text, PermissionMode mode = PermissionMode::acceptAll)
    {
        return test::sendAndWait(*m_session, *m_chat, text, sonnet(), mode);
    }

    QList<std::shared_ptr<Message>> errorRows()
    {
        return test::only(stored(), [](const Message &m) { return m.contentType == MessageContentType::error; });
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

    void cleanup()
    {
        m_chat.reset();
        m_session.reset();
        m_model.reset();
        tearDownChat();
    }

    void repliesAreStored_data()
    {
        QTest::addColumn<QString>("scenario");
        QTest::addColumn<QStringList>("expectedAssistant");
        QTest::newRow("plain text") << "plain_text.json" << QStringList{"Hello from the fake model."};
        QTest::newRow("thinking, then text") << "thinking_text.json" << QStringList{"Hello! I thought about it first."};
        QTest::newRow("both text blocks of one reply")
            << "two_text_blocks.json" << QStringList{"First block of the reply.Second block of the same reply."};
        // Streamed in pieces that cut characters, graphemes and surrogate pairs: stored as the
        // pieces joined.
        QFile multibyte(test::sourceDir() + "/tests/support/fakemodel/scenarios/multibyte_text.json");
        QVERIFY(multibyte.open(QIODevice::ReadOnly));
        const QJsonValue chunks = QJsonDocument::fromJson(multibyte.readAll())["replies"][0]["blocks"][0]["chunks"];
        QTest::newRow("multi-byte text cut awkwardly")
            << "multibyte_text.json" << QStringList{chunks.toVariant().toStringList().join(QString())};
        QTest::newRow("a reply over one megabyte")
            << "huge_reply.json" << QStringList{QString("0123456789abcdef").repeated(4).append('\n').repeated(17000)};
    }

    void repliesAreStored()
    {
        QFETCH(QString, scenario);
        QFETCH(QStringList, expectedAssistant);
        QVERIFY(start(scenario));
        const Turn turn = send("Hello");
        QVERIFY2(turn.completed, qPrintable(turn.failure));
        QCOMPARE(assistantTexts(), expectedAssistant);
        for (const auto &m : stored()) {
            QVERIFY2(m->isComplete, qPrintable(m->content));
            QVERIFY(m->role != MessageRole::thinking); // no "Thinking..." row outlives its turn
        }
        QVERIFY(m_session->saveCount() < 40); // streamed without a save per delta
        QVERIFY(!storedChat()->claudeSessionId.value_or(QString()).isEmpty());
        QCOMPARE(storedChat()->agentTypeRaw, std::optional<QString>("claude_code"));
    }

    void toolUsesBecomeToolRows()
    {
        QVERIFY(start("tool_uses.json", {"WORKDIR=" + m_folder}));
        const Turn turn = send("Use some tools");
        QVERIFY2(turn.completed, qPrintable(turn.failure));
        QStringList tools;
        for (const auto &m : storedWith(MessageRole::tool)) {
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

    // The second turn goes to the same process and session; after a crash, the next message
    // relaunches claude on the same session with --resume.
    void theSecondTurnKeepsTheSession_data()
    {
        QTest::addColumn<bool>("killed");
        QTest::newRow("process still running") << false;
        QTest::newRow("process killed in between") << true;
    }

    void theSecondTurnKeepsTheSession()
    {
        QFETCH(bool, killed);
        QVERIFY(start("two_turns.json"));
        QVERIFY(send("First").completed);
        const QString sessionId = storedChat()->claudeSessionId.value_or(QString());
        ClaudeSDKService *service = m_lastService;
        const qint64 pid = service->processId();
        QVERIFY(service->isLaunched() && pid > 0);
        if (killed) {
            QTest::qWait(1000); // let claude write its session file before it dies
            ::kill(pid_t(pid), SIGKILL); // as a crash would
            QTRY_VERIFY_WITH_TIMEOUT(!service->isLaunched(), 10000);
        }
        const Turn turn = send("Second");
        QVERIFY2(turn.completed, qPrintable(turn.failure));
        QCOMPARE(storedChat()->claudeSessionId.value_or(QString()), sessionId);
        QCOMPARE(assistantTexts().size(), 2);
        if (killed) {
            QVERIFY(m_lastService->lastArguments().contains("--resume"));
        } else {
            QCOMPARE(m_lastService, service); // no new adapter, no relaunch
            QCOMPARE(service->processId(), pid);
        }
    }

    void aSessionThatCannotBeResumedStartsAfreshWithTheReplay()
    {
        {
            auto ctx = m_store->newContext();
            auto chat = ctx->get<Chat>(m_chatId);
            chat->claudeSessionId = QUuid::createUuid().toString(QUuid::WithoutBraces); // never written
            Message earlier;
            earlier.chatId = m_chatId;
            earlier.role = MessageRole::user;
            earlier.content = "What we talked about before";
            earlier.timestamp = QDateTime::currentDateTime().addSecs(-60);
            ctx->insert(earlier);
            QVERIFY(ctx->save().ok());
        }
        QVERIFY(start("two_turns.json"));
        m_chat->bind(*m_session, sonnet(), PermissionMode::acceptAll);
        const Turn turn = send("Carry on");
        QVERIFY2(turn.completed, qPrintable(turn.failure));
        QVERIFY(!test::only(storedWith(MessageRole::system), [](const Message &m) {
                     return m.content.contains("could not be resumed");
                 }).isEmpty());
        QVERIFY(!storedChat()->claudeSessionId.value_or(QString()).isEmpty());
        // The new session heard the earlier conversation before the message itself.
        bool replayed = false;
        for (const QVariantMap &request : m_model->requests())
            replayed |= QJsonDocument::fromVariant(request.value("body")).toJson().contains("What we talked about before");
        QVERIFY(replayed);
    }

    // A failed turn, or a claude that exits before any turn, says why once, as an error row, and
    // leaves the chat idle.
    void failuresAreShownOnce_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<QString>("reason");
        QTest::newRow("API error result") << "api error" << "API Error";
        // claude started with an option it does not know: a real exit status 1 with its reason
        // on standard error, before any turn.
        QTest::newRow("non-zero exit shows the tool's own words") << "bad option" << "no-such-option";
    }

    void failuresAreShownOnce()
    {
        QFETCH(QString, how);
        QFETCH(QString, reason);
        QVERIFY(start(how == "api error" ? "api_error.json" : "plain_text.json"));
        if (how == "bad option") {
            const QString wrapper = m_env->path("claude-with-a-bad-option");
            QFile script(wrapper);
            QVERIFY(script.open(QIODevice::WriteOnly));
            script.write(QStringLiteral("#!/bin/sh\nexec '%1' --no-such-option \"$@\"\n").arg(test::FakeModel::claudePath()).toUtf8());
            script.close();
            script.setPermissions(script.permissions() | QFileDevice::ExeOwner);
            m_chat = controller(wrapper);
        }
        const Turn turn = send("Hello");
        QVERIFY(!turn.completed);
        QVERIFY2(turn.failure.contains(reason), qPrintable(turn.failure));
        QCOMPARE(m_session->activityState(), ChatActivityState::idle);
        QCOMPARE(errorRows().size(), 1);
        for (const auto &m : storedWith(MessageRole::assistant))
            QVERIFY2(!m->content.contains(reason), "shown once, as the error");
        if (how == "api error")
            QVERIFY(send("Try again").completed); // the chat stays usable
    }

    void aFailedLaunchSaysWhy()
    {
        QVERIFY(start("plain_text.json"));
        m_chat = controller(m_env->path("no/claude"));
        // Said once per message: not again by the send, nor as a "not launched" afterthought.
        for (int sent = 1; sent <= 2; ++sent) {
            const Turn turn = send("Anyone there?");
            QVERIFY(!turn.completed);
            QVERIFY2(turn.failure.contains("claude command was not found"), qPrintable(turn.failure));
            QCOMPARE(errorRows().size(), sent);
            QVERIFY2(errorRows().last()->content.contains("claude command was not found"), qPrintable(errorRows().last()->content));
        }
        QCOMPARE(m_session->activityState(), ChatActivityState::idle);
        QCOMPARE(m_session->inputStatus().text, QString()); // not "Initializing agent..." for ever
    }

    void aStallIsReportedOnce()
    {
        m_timing.stallCheckMs = 200;
        m_timing.silenceStallMs = 1500;
        QVERIFY(start("slow_reply.json", {"DELAY=4", "DELTA_DELAY=0.05"}));
        QVERIFY(send("Take your time").completed);
        QCOMPARE(test::only(stored(), [](const Message &m) { return m.content.startsWith("Claude appears unresponsive"); }).size(), 1);
    }

    void aStopMidTurnEndsItQuietlyAndTheChatGoesOn()
    {
        QVERIFY(start("slow_reply.json", {"DELAY=0", "DELTA_DELAY=0.3"}));
        const Turn turn = test::sendAndWait(*m_session, *m_chat, "Take your time", sonnet(), PermissionMode::acceptAll, {}, [&] {
            // Stop once the reply has started to stream, so the stop lands inside the turn.
            QTRY_VERIFY_WITH_TIMEOUT(!test::only(m_session->messages(), [](const Message &m) {
                                         return m.role == MessageRole::assistant && !m.content.isEmpty();
                                     }).isEmpty(), 30000);
            m_session->adapter()->interrupt();
        });
        QVERIFY2(turn.completed, qPrintable(turn.failure));
        QCOMPARE(turn.failures, 0);
        QCOMPARE(m_session->activityState(), ChatActivityState::idle);
        QVERIFY(m_lastService->processId() > 0); // the interrupt request keeps the process
        QVERIFY(errorRows().isEmpty());
        QVERIFY(send("Go on").completed);
        QVERIFY(assistantTexts().contains("Fresh reply after the stop."));
    }

    void aModeSwitchReachesTheRunningProcess()
    {
        QVERIFY(start("mode_switch.json"));
        QVERIFY(send("first", PermissionMode::acceptAll).completed);
        const qint64 pid = m_lastService->processId();
        QSignalSpy asked(m_session.get(), &ChatSession::permissionRequested);
        QVERIFY(m_chat->sendMessage(*m_session, "run it", {}, sonnet(), PermissionMode::ask).ok());
        QTRY_VERIFY_WITH_TIMEOUT(asked.count() == 1, 30000);
        QCOMPARE(asked.at(0).at(1).value<AgentPermissionRequest>().toolName, QStringLiteral("Bash"));
        QCOMPARE(m_lastService->processId(), pid); // same process, new mode
        m_session->adapter()->interrupt();
    }
};

QTEST_GUILESS_MAIN(ClaudeSessionTest)
#include "tst_claude_session.moc"
