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
#include "support/FakeCodexModel.h"
#include "support/ChatFixture.h"
#include "support/TestEnvironment.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QSignalSpy>
#include <QTest>

using namespace corvane;

namespace {

using Turn = test::TurnOutcome;

// A 1x1 PNG.
const QByteArray TinyPng = QByteArray::fromBase64(
    "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mP8z8BQDwAEhQGAhKmMIQAAAABJRU5ErkJggg==");

} // namespace

class CodexSessionTest : public QObject, test::ChatFixture
{
    Q_OBJECT

    QProcessEnvironment m_codexEnv;
    QString m_codexPath;
    CodexSDKService *m_lastService = nullptr;

    ChatController controller()
    {
        return ChatController([this](AgentType) -> std::unique_ptr<AgentAdapter> {
            auto adapter = std::make_unique<CodexSDKService>(locateTool(AgentTool::codex, m_codexPath));
            adapter->setExtraEnvironment(m_codexEnv);
            m_lastService = adapter.get();
            return adapter;
        });
    }

    static AgentModelDescriptor model() { return *AgentModelCatalogue::byId("codex:gpt-5.5"); }

    // Sends one message and waits for the turn to end either way; `during` runs once the turn
    // has started.
    Turn send(ChatSession &session, ChatController &chat, const QString &text, const QList<Attachment> &attachments = {},
              const std::function<void()> &during = {}, PermissionMode mode = PermissionMode::acceptEdits)
    {
        Turn turn = test::sendAndWait(session, chat, text, model(), mode, attachments, during);
        // codex exits after it reported the turn's end: a second event for the same turn would
        // come with that exit.
        QSignalSpy failed(&session, &ChatSession::turnFailed);
        QDeadlineTimer exited(10000);
        const qint64 pid = m_lastService ? m_lastService->processId() : 0;
        while (pid && m_lastService->processId() == pid && !exited.hasExpired())
            QTest::qWait(20);
        QTest::qWait(50);
        turn.failures += int(failed.count());
        return turn;
    }

    bool startModel(test::FakeCodexModel &fake)
    {
        if (!fake.isRunning()) {
            qWarning("%s", qPrintable(fake.error()));
            return false;
        }
        m_codexEnv = fake.codexEnvironment();
        return true;
    }

    void verifyAllComplete()
    {
        for (const auto &m : stored()) {
            QVERIFY2(m->isComplete, qPrintable(m->content));
            QVERIFY(m->role != MessageRole::thinking); // no "Thinking..." row outlives its turn
        }
    }

    // The user message of the last request the stand-in received, as JSON text.
    static QString lastUserInput(const test::FakeCodexModel &fake)
    {
        const QList<QVariantMap> requests = fake.requests();
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

    void cleanup() { tearDownChat(); }

    void textReply_data()
    {
        QTest::addColumn<QString>("scenario");
        QTest::addColumn<QString>("reply");
        QTest::newRow("one message") << "plain_text.json" << "Hello from the fake model.";
        QTest::newRow("two messages in a row, kept apart") << "two_messages.json" << "First part.\n\nSecond part.";
    }

    void textReply()
    {
        QFETCH(QString, scenario);
        QFETCH(QString, reply);
        test::FakeCodexModel fake(scenario);
        QVERIFY(startModel(fake));
        auto session = newSession();
        ChatController chat = controller();
        const Turn turn = send(*session, chat, "Say hello");
        QVERIFY2(turn.completed, qPrintable(turn.failure));
        QCOMPARE(assistantTexts(), QStringList{reply});
        verifyAllComplete();
        QCOMPARE(storedWith(MessageRole::system).size(), 0);
        QCOMPARE(session->activityState(), ChatActivityState::idle);
        QVERIFY(!storedChat()->claudeSessionId.value_or(QString()).isEmpty());
        QCOMPARE(storedChat()->agentTypeRaw, std::optional<QString>("codex"));
        QCOMPARE(m_lastService->sessionId(), *storedChat()->claudeSessionId);
    }

    void profileHomeIsUsed()
    {
        // No variables of our own this time: the project's profile alone points codex at its home.
        test::FakeCodexModel fake("plain_text.json");
        QVERIFY(fake.isRunning());
        m_codexEnv = QProcessEnvironment();
        {
            StoreContext &ctx = m_store->mainContext();
            Profile profile;
            profile.name = "Work";
            profile.configDirPath = m_env->path("profiles/work");
            profile.codexHomeDir = fake.codexHome();
            auto record = ctx.get<Chat>(m_chatId);
            auto workspace = ctx.get<Workspace>(*record->workspaceId);
            auto project = ctx.get<Project>(*workspace->projectId);
            project->profileId = profile.id;
            ctx.insert(profile);
            QVERIFY(ctx.save().ok());
        }
        auto session = newSession();
        ChatController chat = controller();
        const Turn turn = send(*session, chat, "Say hello");
        QVERIFY2(turn.completed, qPrintable(turn.failure));
        QCOMPARE(assistantTexts(), QStringList{"Hello from the fake model."});
        QCOMPARE(fake.requests().size(), 1);
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
        test::FakeCodexModel fake(scenario);
        QVERIFY(startModel(fake));
        auto session = newSession();
        ChatController chat = controller();
        const Turn turn = send(*session, chat, "Do the thing");
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
    }

    void fileChangeLandsOnDisk()
    {
        test::FakeCodexModel fake("file_change.json");
        QVERIFY(startModel(fake));
        auto session = newSession();
        ChatController chat = controller();
        QVERIFY(send(*session, chat, "Write notes").completed);
        QFile notes(m_folder + "/notes.txt");
        QVERIFY(notes.open(QIODevice::ReadOnly));
        QCOMPARE(notes.readAll(), QByteArray("first line\nsecond line\n"));
        const auto tool = storedWith(MessageRole::tool).value(0);
        QVERIFY(tool && tool->metadata);
        const QVariantMap metadata = QJsonDocument::fromJson(*tool->metadata).toVariant().toMap();
        QCOMPARE(metadata.value("file_path").toString(), QDir(m_folder).canonicalPath() + "/notes.txt");
        QCOMPARE(metadata.value("changes").toList().value(0).toMap().value("kind").toString(), QString("add"));
    }

    void failedTurnShowsTheServiceError()
    {
        test::FakeCodexModel fake("failed_turn.json");
        QVERIFY(startModel(fake));
        auto session = newSession();
        ChatController chat = controller();
        const Turn turn = send(*session, chat, "Refuse this");
        QVERIFY(!turn.completed);
        QCOMPARE(turn.failures, 1); // codex's exit status after the failure adds nothing
        QCOMPARE(turn.failure, QString("The fake model refuses this request."));
        const auto system = storedWith(MessageRole::system);
        QCOMPARE(system.size(), 1);
        QCOMPARE(system[0]->content, QString("Error: The fake model refuses this request."));
        QCOMPARE(system[0]->contentType, MessageContentType::error);
        verifyAllComplete();
        QCOMPARE(session->activityState(), ChatActivityState::idle);
    }

    void codexRefusingToStartShowsItsOwnWords()
    {
        test::FakeCodexModel fake("plain_text.json");
        QVERIFY(startModel(fake));
        QFile config(fake.codexHome() + "/config.toml");
        QVERIFY(config.open(QIODevice::WriteOnly));
        config.write("model_provider = [broken\n");
        config.close();
        auto session = newSession();
        ChatController chat = controller();
        const Turn turn = send(*session, chat, "Hello");
        QVERIFY(!turn.completed);
        QCOMPARE(turn.failures, 1);
        QVERIFY2(turn.failure.startsWith("Error loading config.toml:"), qPrintable(turn.failure));
        QVERIFY2(!turn.failure.contains("Reading additional input"), qPrintable(turn.failure));
        QCOMPARE(storedWith(MessageRole::system).size(), 1);
        QCOMPARE(session->activityState(), ChatActivityState::idle);
    }

    void interruptedTurnEndsQuietly()
    {
        test::FakeCodexModel fake("slow_reply.json");
        QVERIFY(startModel(fake));
        auto session = newSession();
        ChatController chat = controller();
        const Turn turn = send(*session, chat, "Take your time", {}, [&] {
            // Stop once the request reached the model service, so codex is inside its turn.
            QDeadlineTimer deadline(30000);
            while (fake.requests().isEmpty() && !deadline.hasExpired())
                QTest::qWait(20);
            QVERIFY(m_lastService->isTurnRunning());
            QCOMPARE(session->activityState(), ChatActivityState::processing);
            // A second message while the turn runs is dropped: one process per turn.
            const qint64 pid = m_lastService->processId();
            session->adapter()->send("Another message", {});
            QCOMPARE(m_lastService->processId(), pid);
            session->adapter()->interrupt();
        });
        QVERIFY2(turn.completed, qPrintable(turn.failure));
        QCOMPARE(turn.failures, 0);
        QCOMPARE(storedWith(MessageRole::system).size(), 0);
        QCOMPARE(storedWith(MessageRole::assistant).size(), 0);
        verifyAllComplete();
        QCOMPARE(session->activityState(), ChatActivityState::idle);
        QVERIFY(!m_lastService->isTurnRunning());
        QCOMPARE(fake.requests().size(), 1);
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
        test::FakeCodexModel fake("two_turns.json");
        QVERIFY(startModel(fake));
        QString thread;
        {
            auto session = newSession();
            ChatController chat = controller();
            QVERIFY(send(*session, chat, "first question", {}, {}, mode).completed);
            thread = storedChat()->claudeSessionId.value_or(QString());
            QVERIFY(!thread.isEmpty());
        }
        // A new session for the same chat, as after a restart: it resumes the stored thread.
        auto session = newSession();
        ChatController chat = controller();
        chat.bind(*session, model(), mode);
        const Turn turn = send(*session, chat, "second question", {}, {}, mode);
        QVERIFY2(turn.completed, qPrintable(turn.failure));
        QCOMPARE(m_lastService->lastArguments().mid(0, 3), (QStringList{"exec", "resume", thread}));
        QCOMPARE(m_lastService->lastArguments().contains("--dangerously-bypass-approvals-and-sandbox"),
                 mode == PermissionMode::acceptAll);
        QCOMPARE(storedChat()->claudeSessionId, std::optional<QString>(thread));
        QCOMPARE(assistantTexts(), (QStringList{"Answer to the first question.", "Answer to the second question."}));
        // codex sent the earlier exchange along: the thread really continued.
        const QVariantMap last = fake.requests().last().value("body").toMap();
        QVERIFY(QJsonDocument::fromVariant(last).toJson().contains("Answer to the first question."));
        QCOMPARE(storedWith(MessageRole::system).size(), 0);

        // A third turn on the same adapter resumes too.
        QVERIFY(send(*session, chat, "anything else", {}, {}, mode).completed);
        QCOMPARE(m_lastService->lastArguments().mid(0, 3), (QStringList{"exec", "resume", thread}));
        QCOMPARE(storedChat()->claudeSessionId, std::optional<QString>(thread));
    }

    void lostThreadContinuesInANewOne()
    {
        // The chat remembers a thread this CODEX_HOME never saw (another profile, deleted files).
        const QString lost = QUuid::createUuid().toString(QUuid::WithoutBraces);
        {
            StoreContext &ctx = m_store->mainContext();
            auto record = ctx.get<Chat>(m_chatId);
            record->claudeSessionId = lost;
            Message question;
            question.chatId = m_chatId;
            question.content = "What colour is the sky?";
            question.timestamp = QDateTime::currentDateTime().addSecs(-60);
            Message answer;
            answer.chatId = m_chatId;
            answer.role = MessageRole::assistant;
            answer.content = "Blue, mostly.";
            answer.timestamp = QDateTime::currentDateTime().addSecs(-50);
            ctx.insert(question);
            ctx.insert(answer);
            QVERIFY(ctx.save().ok());
        }
        test::FakeCodexModel fake("plain_text.json");
        QVERIFY(startModel(fake));
        auto session = newSession();
        ChatController chat = controller();
        chat.bind(*session, model(), PermissionMode::acceptEdits);
        const Turn turn = send(*session, chat, "And at night?");
        QVERIFY2(turn.completed, qPrintable(turn.failure));
        QCOMPARE(turn.failures, 0);
        QCOMPARE(assistantTexts(), (QStringList{"Blue, mostly.", "Hello from the fake model."}));
        const QString thread = storedChat()->claudeSessionId.value_or(QString());
        QVERIFY(!thread.isEmpty());
        QVERIFY(thread != lost);
        QCOMPARE(m_lastService->lastArguments().mid(0, 2), (QStringList{"exec", "--json"}));
        const QString input = lastUserInput(fake);
        QVERIFY2(input.contains("Blue, mostly.") && input.contains("And at night?"), qPrintable(input));
        const auto notes = storedWith(MessageRole::system);
        QCOMPARE(notes.size(), 1); // the note about the replay, no error
        QVERIFY2(notes[0]->content.contains("could not be resumed"), qPrintable(notes[0]->content));
    }

    void turnSentFromTheLastCompletionStaysBusy()
    {
        // As the automation does: the next prompt goes out while the previous turn's end is
        // being handled.
        test::FakeCodexModel fake("reply_then_hang.json");
        QVERIFY(startModel(fake));
        auto session = newSession();
        ChatController chat = controller();
        bool followed = false;
        connect(session.get(), &ChatSession::turnCompleted, this, [&] {
            if (std::exchange(followed, true))
                return;
            QVERIFY(chat.sendMessage(*session, "second question", {}, model(), PermissionMode::acceptEdits).ok());
        });
        QVERIFY(send(*session, chat, "first question").completed);
        QVERIFY(followed);
        QDeadlineTimer deadline(30000);
        while (fake.requests().size() < 2 && !deadline.hasExpired())
            QTest::qWait(20);
        QVERIFY(m_lastService->isTurnRunning());
        QCOMPARE(session->activityState(), ChatActivityState::processing);
        QSignalSpy done(session.get(), &ChatSession::turnCompleted);
        session->adapter()->interrupt();
        QVERIFY(done.wait(30000));
        QCOMPARE(session->activityState(), ChatActivityState::idle);
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
        test::FakeCodexModel fake("image.json");
        QVERIFY(startModel(fake));
        Attachment image;
        image.type = AttachmentType::image;
        image.fileName = "dot.png";
        image.mediaType = "image/png";
        image.fileSize = TinyPng.size();
        if (onDisk) {
            const QString path = m_env->path("dot.png");
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(TinyPng);
            file.close();
            image.fileURL = QUrl::fromLocalFile(path);
        } else {
            image.data = TinyPng;
        }
        auto session = newSession();
        ChatController chat = controller();
        const Turn turn = send(*session, chat, "What is in the picture?", {image});
        QVERIFY2(turn.completed, qPrintable(turn.failure));
        QCOMPARE(assistantTexts(), QStringList{"I see a small picture."});
        const QString input = lastUserInput(fake);
        QVERIFY2(input.contains("\"type\":\"input_image\""), qPrintable(input.left(300)));
        QVERIFY2(input.contains("data:image/png;base64,"), qPrintable(input.left(300)));
        QVERIFY2(input.contains("What is in the picture?"), qPrintable(input.left(300)));
    }

    void missingToolSaysWhereWeLooked()
    {
        auto session = newSession();
        ChatController chat([this](AgentType) -> std::unique_ptr<AgentAdapter> {
            return std::make_unique<CodexSDKService>(locateTool(AgentTool::codex, m_env->path("nowhere/codex")));
        });
        const Turn turn = send(*session, chat, "Hello");
        QVERIFY(!turn.completed);
        QVERIFY2(turn.failure.contains("The codex command was not found"), qPrintable(turn.failure));
        QVERIFY2(turn.failure.contains(m_env->path("nowhere/codex")), qPrintable(turn.failure));
        const auto system = storedWith(MessageRole::system);
        QCOMPARE(system.size(), 1);
        QVERIFY(system[0]->content.startsWith("Error: The codex command was not found"));
    }
};

QTEST_GUILESS_MAIN(CodexSessionTest)
#include "tst_codex_session.moc"
