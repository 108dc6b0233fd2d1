// The real codex, driven through the chat session engine exactly as the window drives it, against
// the scripted Responses API stand-in. Each case checks what ends up in the store.
#include "agent/AgentModelCatalogue.h"
#include "agent/codex/CodexSDKService.h"
#include "agent/session/ChatController.h"
#include "agent/session/ChatSession.h"
#include "core/records/Chat.h"
#include "core/records/Message.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "support/ChatFixture.h"
#include "support/FakeCodexModel.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QSignalSpy>
#include <QTest>

using namespace corvane;
using Turn = test::TurnOutcome;

class CodexSessionTest : public QObject, test::ChatFixture
{
    Q_OBJECT

    QProcessEnvironment m_codexEnv;
    QString m_codexPath;
    CodexSDKService *m_lastService = nullptr;
    std::unique_ptr<test::FakeCodexModel> m_fake;
    std::unique_ptr<ChatSession> m_session;
    std::unique_ptr<ChatController> m_chat;

    static AgentModelDescriptor model() { return *AgentModelCatalogue::byId("codex:gpt-5.5"); }

    // Adapters that run `program` (the pinned codex unless told) with the stand-in's variables.
    std::unique_ptr<ChatController> controller(const QString &program = {})
    {
        return std::make_unique<ChatController>([this, program](AgentType) -> std::unique_ptr<AgentAdapter> {
            auto adapter = std::make_unique<CodexSDKService>(locateTool(AgentTool::codex, program.isEmpty() ? m_codexPath : program));
            adapter->setExtraEnvironment(m_codexEnv);
            m_lastService = adapter.get();
            return adapter;
        });
    }

    // The stand-in on `scenario`, and a session and a controller for the chat; `beforeSession`
    // runs once the stand-in is up.
    bool start(const QString &scenario, const std::function<void()> &beforeSession = {})
    {
        m_fake = std::make_unique<test::FakeCodexModel>(scenario);
        if (!m_fake->isRunning()) {
            qWarning("%s", qPrintable(m_fake->error()));
            return false;
        }
        m_codexEnv = m_fake->codexEnvironment();
        if (beforeSession)
            beforeSession();
        m_session = newSession();
        m_chat = controller();
        return true;
    }

    // Sends one message and waits for the turn to end either way; `during` runs once the turn
    // has started.
    Turn send(const QString &text, const QList<Attachment> &attachments = {}, const std::function<void()> &during = {},
              PermissionMode mode = PermissionMode::acceptEdits)
    {
        Turn turn = test::sendAndWait(*m_session, *m_chat, text, model(), mode, attachments, during);
        // codex exits after it reported the turn's end: a second event for the same turn would
        // come with that exit.
        QSignalSpy failed(m_session.get(), &ChatSession::turnFailed);
        QDeadlineTimer exited(10000);
        const qint64 pid = m_lastService ? m_lastService->processId() : 0;
        while (pid && m_lastService->processId() == pid && !exited.hasExpired())
            QTest::qWait(20);
        QTest::qWait(50);
        turn.failures += int(failed.count());
        return turn;
    }

    void verifyAllComplete()
    {
        for (const auto &m : stored()) {
            QVERIFY2(m->isComplete, qPrintable(m->content));
            QVERIFY(m->role != MessageRole::thinking); // no "Thinking..." row outlives its turn
        }
    }

    // The user message of the last request the stand-in received, as JSON text.
    QString lastUserInput() const
    {
        const QList<QVariantMap> requests = m_fake->requests();
        if (requests.isEmpty())
            return {};
        const QVariantList input = requests.last().value("body").toMap().value("input").toList();
        for (auto it = input.crbegin(); it != input.crend(); ++it)
            if (it->toMap().value("role") == "user")
                return QString::fromUtf8(QJsonDocument::fromVariant(*it).toJson(QJsonDocument::Compact));
        return {};
    }

private slots:
    void initTestCase()
    {
        m_codexPath = test::FakeCodexModel::codexPath();
        if (m_codexPath.isEmpty())
            QSKIP("the pinned codex is not installed: run scripts/setup.sh");
    }

    void init()
    {
        setUpChat();
        m_lastService = nullptr;
    }

    void cleanup()
    {
        m_chat.reset();
        m_session.reset();
        m_fake.reset();
        tearDownChat();
    }

    void textReply_data()
    {
        QTest::addColumn<QString>("scenario");
        QTest::addColumn<bool>("throughProfile");
        QTest::addColumn<QString>("reply");
        QTest::newRow("one message") << "plain_text.json" << false << "Hello from the fake model.";
        QTest::newRow("two messages in a row, kept apart") << "two_messages.json" << false << "First part.\n\nSecond part.";
        // No variables of our own: the project's profile alone points codex at its home.
        QTest::newRow("codex home from the profile") << "plain_text.json" << true << "Hello from the fake model.";
    }

    void textReply()
    {
        QFETCH(QString, scenario);
        QFETCH(bool, throughProfile);
        QFETCH(QString, reply);
        QVERIFY(start(scenario, [&] {
            if (!throughProfile)
                return;
            m_codexEnv = QProcessEnvironment();
            StoreContext &ctx = m_store->mainContext();
            Profile profile;
            profile.name = "Work";
            profile.configDirPath = m_env->path("profiles/work");
            profile.codexHomeDir = m_fake->codexHome();
            auto workspace = ctx.get<Workspace>(*ctx.get<Chat>(m_chatId)->workspaceId);
            ctx.get<Project>(*workspace->projectId)->profileId = profile.id;
            ctx.insert(profile);
            QVERIFY(ctx.save().ok());
        }));
        const Turn turn = send("Say hello");
        QVERIFY2(turn.completed, qPrintable(turn.failure));
        QCOMPARE(assistantTexts(), QStringList{reply});
        verifyAllComplete();
        QCOMPARE(storedWith(MessageRole::system).size(), 0);
        QCOMPARE(m_session->activityState(), ChatActivityState::idle);
        QVERIFY(!storedChat()->claudeSessionId.value_or(QString()).isEmpty());
        QCOMPARE(storedChat()->agentTypeRaw, std::optional<QString>("codex"));
        QCOMPARE(m_lastService->sessionId(), *storedChat()->claudeSessionId);
        QCOMPARE(m_fake->requests().size(), 1);
    }

    void toolItemsBecomeToolRows_data()
    {
        QTest::addColumn<QString>("scenario");
        QTest::addColumn<QString>("toolName");
        QTest::addColumn<QString>("summary");
        QTest::addColumn<QString>("output");
        QTest::addColumn<QString>("reply");
        QTest::newRow("shell command") << "shell_command.json" << "Shell"
                                       << "Shell: /bin/bash -lc 'echo hi from the shell'"
                                       << "\nhi from the shell\n" << "The command printed hi.";
        QTest::newRow("failed command") << "failed_command.json" << "Shell"
                                        << "Shell: /bin/bash -lc 'echo broken >&2; exit 3'" << "\nbroken\n[exit 3]"
                                        << "The command failed.";
        QTest::newRow("file change") << "file_change.json" << "Edit" << "Edit: %1/notes.txt"
                                     << "\n%1/notes.txt (completed)" << "Created notes.txt.";
    }

    void toolItemsBecomeToolRows()
    {
        QFETCH(QString, scenario);
        QFETCH(QString, toolName);
        QFETCH(QString, summary);
        QFETCH(QString, output);
        QFETCH(QString, reply);
        QVERIFY(start(scenario));
        const Turn turn = send("Do the thing");
        QVERIFY2(turn.completed, qPrintable(turn.failure));
        const auto tools = storedWith(MessageRole::tool);
        QCOMPARE(tools.size(), 1);
        QCOMPARE(tools[0]->toolName, std::optional<QString>(toolName));
        const QString folder = QDir(m_folder).canonicalPath();
        QCOMPARE(tools[0]->content, QString(summary + output).replace("%1", folder));
        QCOMPARE(assistantTexts(), QStringList{reply});
        verifyAllComplete();
        // The tool ran before the reply about it.
        QStringList order;
        for (const auto &m : stored())
            if (m->role == MessageRole::tool || m->role == MessageRole::assistant)
                order << toRaw(m->role);
        QCOMPARE(order, (QStringList{"tool", "assistant"}));
        if (toolName != "Edit")
            return;
        // The file is on disk, and the row keeps the change for the diff view.
        QFile notes(m_folder + "/notes.txt");
        QVERIFY(notes.open(QIODevice::ReadOnly));
        QCOMPARE(notes.readAll(), QByteArray("first line\nsecond line\n"));
        QVERIFY(tools[0]->metadata);
        const QVariantMap metadata = QJsonDocument::fromJson(*tools[0]->metadata).toVariant().toMap();
        QCOMPARE(metadata.value("file_path").toString(), folder + "/notes.txt");
        QCOMPARE(metadata.value("changes").toList().value(0).toMap().value("kind").toString(), QString("add"));
    }

    // A turn that fails or cannot start says why once, as an error row, and leaves the chat idle.
    void failuresAreShownOnce_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<QString>("failureStart");
        QTest::newRow("the service refuses the turn") << "refused" << "The fake model refuses this request.";
        QTest::newRow("codex refuses to start: its own words") << "bad config" << "Error loading config.toml:";
        QTest::newRow("codex not found: where we looked") << "missing" << "The codex command was not found";
    }

    void failuresAreShownOnce()
    {
        QFETCH(QString, how);
        QFETCH(QString, failureStart);
        QVERIFY(start(how == "refused" ? "failed_turn.json" : "plain_text.json"));
        if (how == "bad config") {
            QFile config(m_fake->codexHome() + "/config.toml");
            QVERIFY(config.open(QIODevice::WriteOnly));
            config.write("model_provider = [broken\n");
        } else if (how == "missing") {
            m_chat = controller(m_env->path("nowhere/codex"));
        }
        const Turn turn = send("Hello");
        QVERIFY(!turn.completed);
        QCOMPARE(turn.failures, 1); // codex's exit status after the failure adds nothing
        QVERIFY2(turn.failure.startsWith(failureStart), qPrintable(turn.failure));
        if (how == "refused")
            QCOMPARE(turn.failure, failureStart);
        QVERIFY2(!turn.failure.contains("Reading additional input"), qPrintable(turn.failure));
        if (how == "missing")
            QVERIFY2(turn.failure.contains(m_env->path("nowhere/codex")), qPrintable(turn.failure));
        const auto system = storedWith(MessageRole::system);
        QCOMPARE(system.size(), 1);
        QCOMPARE(system[0]->content, "Error: " + turn.failure);
        QCOMPARE(system[0]->contentType, MessageContentType::error);
        verifyAllComplete();
        QCOMPARE(m_session->activityState(), ChatActivityState::idle);
    }

    void interruptedTurnEndsQuietly()
    {
        QVERIFY(start("slow_reply.json"));
        const Turn turn = send("Take your time", {}, [&] {
            // Stop once the request reached the model service, so codex is inside its turn.
            QDeadlineTimer deadline(30000);
            while (m_fake->requests().isEmpty() && !deadline.hasExpired())
                QTest::qWait(20);
            QVERIFY(m_lastService->isTurnRunning());
            QCOMPARE(m_session->activityState(), ChatActivityState::processing);
            // A second message while the turn runs is dropped: one process per turn.
            const qint64 pid = m_lastService->processId();
            m_session->adapter()->send("Another message", {});
            QCOMPARE(m_lastService->processId(), pid);
            m_session->adapter()->interrupt();
        });
        QVERIFY2(turn.completed, qPrintable(turn.failure));
        QCOMPARE(turn.failures, 0);
        QCOMPARE(storedWith(MessageRole::system).size(), 0);
        QCOMPARE(storedWith(MessageRole::assistant).size(), 0);
        verifyAllComplete();
        QCOMPARE(m_session->activityState(), ChatActivityState::idle);
        QVERIFY(!m_lastService->isTurnRunning());
        QCOMPARE(m_fake->requests().size(), 1);
    }

    void laterTurnsResumeTheThread_data()
    {
        QTest::addColumn<PermissionMode>("mode");
        QTest::newRow("sandboxed") << PermissionMode::acceptEdits;
        QTest::newRow("no sandbox") << PermissionMode::acceptAll;
    }

    void laterTurnsResumeTheThread()
    {
        QFETCH(PermissionMode, mode);
        QVERIFY(start("two_turns.json"));
        QVERIFY(send("first question", {}, {}, mode).completed);
        const QString thread = storedChat()->claudeSessionId.value_or(QString());
        QVERIFY(!thread.isEmpty());
        // A new session for the same chat, as after a restart: it resumes the stored thread.
        m_session = newSession();
        m_chat = controller();
        m_chat->bind(*m_session, model(), mode);
        const Turn turn = send("second question", {}, {}, mode);
        QVERIFY2(turn.completed, qPrintable(turn.failure));
        QCOMPARE(m_lastService->lastArguments().mid(0, 3), (QStringList{"exec", "resume", thread}));
        QCOMPARE(m_lastService->lastArguments().contains("--dangerously-bypass-approvals-and-sandbox"),
                 mode == PermissionMode::acceptAll);
        QCOMPARE(storedChat()->claudeSessionId, std::optional<QString>(thread));
        QCOMPARE(assistantTexts(), (QStringList{"Answer to the first question.", "Answer to the second question."}));
        // codex sent the earlier exchange along: the thread really continued.
        const QVariantMap last = m_fake->requests().last().value("body").toMap();
        QVERIFY(QJsonDocument::fromVariant(last).toJson().contains("Answer to the first question."));
        QCOMPARE(storedWith(MessageRole::system).size(), 0);

        // A third turn on the same adapter resumes too.
        QVERIFY(send("anything else", {}, {}, mode).completed);
        QCOMPARE(m_lastService->lastArguments().mid(0, 3), (QStringList{"exec", "resume", thread}));
        QCOMPARE(storedChat()->claudeSessionId, std::optional<QString>(thread));
    }

    void lostThreadContinuesInANewOne()
    {
        // The chat remembers a thread this CODEX_HOME never saw (another profile, deleted files).
        const QString lost = QUuid::createUuid().toString(QUuid::WithoutBraces);
        {
            StoreContext &ctx = m_store->mainContext();
            ctx.get<Chat>(m_chatId)->claudeSessionId = lost;
            Message question;
            question.chatId = m_chatId;
            question.content = "What colour is the sky?";
            question.timestamp = QDateTime::currentDateTime().addSecs(-60);
            Message answer = question;
            answer.id = QUuid::createUuid();
            answer.role = MessageRole::assistant;
            answer.content = "Blue, mostly.";
            answer.timestamp = question.timestamp.addSecs(10);
            ctx.insert(question);
            ctx.insert(answer);
            QVERIFY(ctx.save().ok());
        }
        QVERIFY(start("plain_text.json"));
        m_chat->bind(*m_session, model(), PermissionMode::acceptEdits);
        const Turn turn = send("And at night?");
        QVERIFY2(turn.completed, qPrintable(turn.failure));
        QCOMPARE(turn.failures, 0);
        QCOMPARE(assistantTexts(), (QStringList{"Blue, mostly.", "Hello from the fake model."}));
        const QString thread = storedChat()->claudeSessionId.value_or(QString());
        QVERIFY(!thread.isEmpty() && thread != lost);
        QCOMPARE(m_lastService->lastArguments().mid(0, 2), (QStringList{"exec", "--json"}));
        const QString input = lastUserInput();
        QVERIFY2(input.contains("Blue, mostly.") && input.contains("And at night?"), qPrintable(input));
        const auto notes = storedWith(MessageRole::system);
        QCOMPARE(notes.size(), 1); // the note about the replay, no error
        QVERIFY2(notes[0]->content.contains("could not be resumed"), qPrintable(notes[0]->content));
    }

    void turnSentFromTheLastCompletionStaysBusy()
    {
        // As the automation does: the next prompt goes out while the previous turn's end is
        // being handled.
        QVERIFY(start("reply_then_hang.json"));
        bool followed = false;
        connect(m_session.get(), &ChatSession::turnCompleted, this, [&] {
            if (!std::exchange(followed, true))
                QVERIFY(m_chat->sendMessage(*m_session, "second question", {}, model(), PermissionMode::acceptEdits).ok());
        });
        QVERIFY(send("first question").completed);
        QVERIFY(followed);
        QDeadlineTimer deadline(30000);
        while (m_fake->requests().size() < 2 && !deadline.hasExpired())
            QTest::qWait(20);
        QVERIFY(m_lastService->isTurnRunning());
        QCOMPARE(m_session->activityState(), ChatActivityState::processing);
        QSignalSpy done(m_session.get(), &ChatSession::turnCompleted);
        m_session->adapter()->interrupt();
        QVERIFY(done.wait(30000));
        QCOMPARE(m_session->activityState(), ChatActivityState::idle);
    }

    void imageReachesTheModel_data()
    {
        QTest::addColumn<bool>("onDisk");
        QTest::newRow("pasted image, bytes only") << false;
        QTest::newRow("image file") << true;
    }

    void imageReachesTheModel()
    {
        QFETCH(bool, onDisk);
        const QByteArray tinyPng = QByteArray::fromBase64( // 1x1
            "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mP8z8BQDwAEhQGAhKmMIQAAAABJRU5ErkJggg==");
        QVERIFY(start("image.json"));
        Attachment image;
        image.type = AttachmentType::image;
        image.fileName = "dot.png";
        image.mediaType = "image/png";
        image.fileSize = tinyPng.size();
        if (onDisk) {
            QFile file(m_env->path("dot.png"));
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write(tinyPng) == tinyPng.size());
            image.fileURL = QUrl::fromLocalFile(file.fileName());
        } else {
            image.data = tinyPng;
        }
        const Turn turn = send("What is in the picture?", {image});
        QVERIFY2(turn.completed, qPrintable(turn.failure));
        QCOMPARE(assistantTexts(), QStringList{"I see a small picture."});
        const QString input = lastUserInput();
        QVERIFY2(input.contains("\"type\":\"input_image\"") && input.contains("data:image/png;base64,")
                     && input.contains("What is in the picture?"),
                 qPrintable(input.left(300)));
    }
};

QTEST_GUILESS_MAIN(CodexSessionTest)
#include "tst_codex_session.moc"
