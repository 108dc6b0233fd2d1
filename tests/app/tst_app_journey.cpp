// The whole application as a person uses it, offscreen, with the real claude behind the scripted
// model stand-in: add a project folder, open a chat, type, read the reply; quit, start again and
// find it where it was.
#include "app/Application.h"
#include "agent/session/ChatSession.h"
#include "core/NotificationCenter.h"
#include "core/Paths.h"
#include "core/records/Chat.h"
#include "core/records/Message.h"
#include "core/settings/AppSettings.h"
#include "core/settings/PreferencesStore.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "shell/chat/ChatInputView.h"
#include "shell/chat/ChatTextEdit.h"
#include "shell/chat/ChatView.h"
#include "shell/window/ContentArea.h"
#include "shell/window/MainWindow.h"
#include "support/FakeModel.h"
#include "support/TestEnvironment.h"
#include "../shell/chat/ChatViewHarness.h"

#include <QApplication>
#include <QDir>
#include <QProcess>
#include <QTest>

using namespace corvane;

namespace {

constexpr int kTurnTimeout = 90000;

ChatView *shownChat(MainWindow &window)
{
    return qobject_cast<ChatView *>(window.content()->chatView());
}

void say(ChatView &view, const QString &text)
{
    view.input()->textEdit()->setFocus();
    QTest::keyClicks(view.input()->textEdit(), text);
    QTest::keyClick(view.input()->textEdit(), Qt::Key_Return);
}

} // namespace

class AppJourneyTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        if (test::FakeModel::claudePath().isEmpty())
            QSKIP("the pinned claude is not installed: run scripts/setup.sh");
    }

    void addChatQuitAndFindItAgain()
    {
        test::TestEnvironment env;
        test::FakeModel model("two_turns.json");
        QVERIFY2(model.isRunning(), qPrintable(model.error()));
        model.exportToThisProcess(); // the agent processes the application starts talk to the stand-in
        {
            PreferencesStore preferences(paths::settingsFile());
            NotificationCenter center;
            AppSettings settings(preferences, center);
            settings.setHasCompletedOnboarding(true);
            settings.setClaudePath(test::FakeModel::claudePath());
        }
        const QString repo = env.path("repo");
        QDir().mkpath(repo);
        QCOMPARE(QProcess::execute("git", {"-C", repo, "init", "-q", "-b", "main"}), 0);

        NotificationCenter center;
        QUuid chatId;
        {
            Application app(center);
            QVERIFY(app.start());
            QCOMPARE(app.windows().size(), 1);
            MainWindow &window = *app.windows().first();
            QVERIFY(window.addProjectFolder(repo).ok());
            window.runCommand(KeyboardShortcutAction::newChatInWorkspace);
            QTRY_VERIFY_WITH_TIMEOUT(shownChat(window) && shownChat(window)->session(), 10000);
            ChatView &view = *shownChat(window);
            say(view, "Please answer the first question");
            QTRY_VERIFY_WITH_TIMEOUT(test::timelineText(view).contains("Answer to the first question."), kTurnTimeout);
            QTRY_VERIFY_WITH_TIMEOUT(view.session()->activityState() == ChatActivityState::idle, kTurnTimeout);
            chatId = *window.currentChatId();
            QApplication::processEvents();
            window.grab().save(QDir::current().filePath("journey-first-run.png"));
        } // quit: the agent process ends, nothing is lost

        auto store = Store::open(paths::storeFile());
        QVERIFY(store.ok());
        QStringList stored;
        for (const auto &m : (*store)->mainContext().fetchOrEmpty<Message>(Query(where::eq("chatId", chatId)).orderBy("timestamp")))
            if (m->role == MessageRole::user || m->role == MessageRole::assistant)
                stored << m->content;
        QCOMPARE(stored, (QStringList{"Please answer the first question", "Answer to the first question."}));
        QVERIFY(!(*store)->mainContext().get<Chat>(chatId)->claudeSessionId.value_or(QString()).isEmpty());
        store->reset();

        Application again(center);
        QVERIFY(again.start());
        MainWindow &window = *again.windows().first();
        QCOMPARE(window.currentChatId(), std::optional<QUuid>(chatId)); // the window opens where it was
        QTRY_VERIFY_WITH_TIMEOUT(shownChat(window) && test::timelineText(*shownChat(window)).contains("Answer to the first question."),
                                 10000);
        say(*shownChat(window), "Now the second question"); // the agent session resumes
        QTRY_VERIFY_WITH_TIMEOUT(test::timelineText(*shownChat(window)).contains("Answer to the second question."), kTurnTimeout);
    }
};

QTEST_MAIN(AppJourneyTest)
#include "tst_app_journey.moc"
