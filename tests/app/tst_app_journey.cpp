// The whole application as a person uses it, offscreen, with the real claude behind the scripted
// model stand-in: add a project folder, open a chat, type, read the reply; quit, start again and
// find it where it was.
#include "app/Application.h"
#include "accounts/ProfileRepairs.h"
#include "core/records/Profile.h"
#include "agent/session/ChatSession.h"
#include "core/NotificationCenter.h"
#include "core/Paths.h"
#include "core/window/WindowNavigator.h"
#include "core/records/AutomationIteration.h"
#include "core/records/AutomationRun.h"
#include "core/records/Chat.h"
#include "core/records/Message.h"
#include "core/settings/AppSettings.h"
#include "core/settings/PreferencesStore.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "shell/chat/ChatInputView.h"
#include "shell/chat/ChatTextEdit.h"
#include "shell/Appearance.h"
#include "shell/chat/ChatStyle.h"
#include "shell/chat/ChatView.h"
#include "shell/chat/PlanCard.h"
#include "shell/chat/PermissionCard.h"
#include "shell/chat/TimelineRow.h"
#include "shell/chat/TimelineView.h"
#include "presentation/highlight/SyntaxHighlighter.h"
#include "shell/tools/PlannerToolPage.h"
#include "shell/window/AutomationRunBanner.h"
#include "shell/window/RunAgentPanel.h"
#include "shell/window/ContentArea.h"
#include "shell/window/MainWindow.h"
#include "support/FakeModel.h"
#include "support/TestEnvironment.h"
#include "../shell/chat/ChatViewHarness.h"

#include <QAbstractButton>
#include <QApplication>
#include <QListWidget>
#include <QDir>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QRadioButton>
#include <QTimer>
#include <QJsonDocument>
#include <QProcess>
#include <QPushButton>
#include <QSignalSpy>
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

PermissionCard *liveCard(ChatView &view)
{
    view.timelineModel().flush();
    for (TimelineRow *row : view.timeline()->visibleRows())
        if (PermissionCard *card = permissionCardOf(row); card && card->isLive())
            return card;
    return nullptr;
}

// A fresh data folder whose settings skip onboarding and name the pinned claude, and whose
// default profile signed in once, as a user's would have before their first chat.
void prepareSettings()
{
    PreferencesStore preferences(paths::settingsFile());
    NotificationCenter center;
    AppSettings settings(preferences, center);
    settings.setHasCompletedOnboarding(true);
    settings.setClaudePath(test::FakeModel::claudePath());
    auto store = Store::open(paths::storeFile());
    QVERIFY(store.ok());
    profiles::ensureDefaultProfile((*store)->mainContext());
    for (const auto &profile : (*store)->mainContext().fetchOrEmpty<Profile>())
        profile->lastLoginAt = QDateTime::currentDateTime();
    QVERIFY((*store)->mainContext().save().ok());
}

QString gitRepository(test::TestEnvironment &env, const QString &name)
{
    const QString repo = env.path(name);
    QDir().mkpath(repo);
    return QProcess::execute("git", {"-C", repo, "init", "-q", "-b", "main"}) == 0 ? repo : QString();
}

} // namespace

class AppJourneyTest : public QObject
{
    Q_OBJECT

private slots:
    void cleanup()
    {
        // Agent processes ended at quit are reaped from the event loop; let that happen before
        // the next test (and before the leak check at exit).
        QTest::qWait(1000);
    }

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
        prepareSettings();
        const QString repo = gitRepository(env, "repo");
        QVERIFY(!repo.isEmpty());

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
            QSignalSpy turnEnded(view.session(), &ChatSession::turnCompleted);
            say(view, "Please answer the first question");
            QVERIFY(turnEnded.wait(kTurnTimeout));
            chatId = *window.currentChatId();
        } // quit right after the turn, as a user would: the agent ends by itself, nothing is lost

        auto store = Store::open(paths::storeFile());
        QVERIFY(store.ok());
        QStringList stored;
        for (const auto &m : (*store)->mainContext().fetchOrEmpty<Message>(Query(where::eq("chatId", chatId)).orderBy("timestamp")))
            if (m->role == MessageRole::user || m->role == MessageRole::assistant)
                stored << m->content;
        QCOMPARE(stored, (QStringList{"Please answer the first question", "Answer to the first question."}));
        const QString sessionId = (*store)->mainContext().get<Chat>(chatId)->claudeSessionId.value_or(QString());
        QVERIFY(!sessionId.isEmpty());
        store->reset();

        Application again(center);
        QVERIFY(again.start());
        MainWindow &window = *again.windows().first();
        QCOMPARE(window.currentChatId(), std::optional<QUuid>(chatId)); // the window opens where it was
        QTRY_VERIFY_WITH_TIMEOUT(shownChat(window) && test::timelineText(*shownChat(window)).contains("Answer to the first question."),
                                 10000);
        say(*shownChat(window), "Now the second question"); // the agent session resumes
        QTRY_VERIFY_WITH_TIMEOUT(test::timelineText(*shownChat(window)).contains("Answer to the second question."), kTurnTimeout);
        // claude saved its session on the way out at quit, so it resumed as it was: the same id,
        // and no replay of the conversation into a new one.
        ChatSession &session = *shownChat(window)->session();
        QCOMPARE(session.chat()->claudeSessionId.value_or(QString()), sessionId);
        for (const auto &m : session.messages())
            QVERIFY2(!m->content.contains("could not be resumed"), qPrintable(m->content));
    }

    // The Flows tool as the application opens it: from the sidebar, its builtins listed, and a
    // project added afterwards scanned too.
    void definitionToolsFromTheSidebar()
    {
        test::TestEnvironment env;
        prepareSettings();
        const QString repo = gitRepository(env, "corvane");
        QVERIFY(!repo.isEmpty());
        QVERIFY(QDir().mkpath(repo + "/.corvane/flows"));
        QFile flow(repo + "/.corvane/flows/ship.md");
        QVERIFY(flow.open(QIODevice::WriteOnly) && flow.write("---\nname: ship\n---\n") > 0);
        flow.close();
        NotificationCenter center;
        Application app(center);
        QVERIFY(app.start());
        MainWindow &window = *app.windows().first();
        auto *button = window.findChild<QAbstractButton *>("tool:flows");
        QVERIFY(button);
        button->click();
        auto *list = window.findChild<QListWidget *>("definitionList");
        QVERIFY(list && list->isVisible());
        QTRY_COMPARE_WITH_TIMEOUT(list->count(), 2, 5000);
        QVERIFY(window.addProjectFolder(repo).ok());
        button->click();
        QTRY_COMPARE_WITH_TIMEOUT(list->count(), 3, 5000);
    }

    // A run whose command-line driver is killed (SIGKILL) while the coordinator works goes on
    // when the application starts: the coordinator is told to carry on, the run reaches review
    // with its start time kept, and what the user then types into the coordinator chat drives
    // the next iteration.
    void aKilledRunGoesOnAtTheNextStart()
    {
        test::TestEnvironment env;
        test::FakeModel model(qEnvironmentVariable("CORVANE_SOURCE_DIR") + "/tests/automation/scenarios/coordinator_restart.json");
        QVERIFY2(model.isRunning(), qPrintable(model.error()));
        model.exportToThisProcess();
        prepareSettings();
        const QString repo = gitRepository(env, "repo");
        QVERIFY(!repo.isEmpty());
        auto cli = [](const QStringList &args) {
            QProcess process;
            process.start(QStringLiteral(CORVANE_CLI_PATH), args);
            process.waitForFinished(60000);
            return process.readAllStandardError().trimmed();
        };
        const QByteArray issue = cli({"issue", "new", "--project", repo, "--title", "Add a parser"});
        QVERIFY2(issue.startsWith("issue "), issue);
        cli({"gate", "add", "--project", repo, "--name", "tests", "--command", "true"});

        QProcess driver;
        driver.start(QStringLiteral(CORVANE_CLI_PATH), {"run", "start", "--issue", QString::fromUtf8(issue.mid(6)), "--mode",
                                                         "simple", "--claude", test::FakeModel::claudePath()});
        auto received = [&](const char *text) {
            for (const QVariantMap &request : model.requests())
                if (QJsonDocument::fromVariant(request).toJson().contains(text))
                    return true;
            return false;
        };
        QTRY_VERIFY_WITH_TIMEOUT(received("# Automation: build-and-test"), kTurnTimeout);
        driver.kill();
        QVERIFY(driver.waitForFinished());

        auto readRun = [] {
            auto store = Store::open(paths::storeFile()).value();
            return store->mainContext().fetchOrEmpty<AutomationRun>().value(0);
        };
        const auto killed = readRun();
        QVERIFY(killed);
        QCOMPARE(killed->statusRaw, QStringLiteral("planning"));
        {
            NotificationCenter center;
            Application app(center);
            QVERIFY(app.start());
            MainWindow &window = *app.windows().first();
            window.navigator().showChat(killed->coordinatorChatId);
            auto *banner = window.findChild<AutomationRunBanner *>();
            QVERIFY(banner);
            QTRY_COMPARE_WITH_TIMEOUT(banner->title()->text(), QStringLiteral("Review Required"), kTurnTimeout);
            QVERIFY(received("Corvane was restarted"));
            QTRY_VERIFY_WITH_TIMEOUT(shownChat(window) && shownChat(window)->session(), 10000);
            say(*shownChat(window), "Please document it");
            QTRY_COMPARE_WITH_TIMEOUT(banner->isVisible(), false, 10000); // implementing again
            QTRY_VERIFY_WITH_TIMEOUT(banner->isVisible() && banner->title()->text() == QStringLiteral("Review Required"),
                                     kTurnTimeout);
        }
        QVERIFY(received("# Automation: user feedback (iteration 2)"));
        auto store = Store::open(paths::storeFile()).value();
        const auto run = store->mainContext().get<AutomationRun>(killed->id);
        QCOMPARE(run->statusRaw, QStringLiteral("awaitingUserReview"));
        QCOMPARE(run->startedAt, killed->startedAt);
        QCOMPARE(run->iterationCount, 2);
        QStringList iterations;
        for (const auto &i : store->mainContext().fetchOrEmpty<AutomationIteration>(Query(where::eq("runId", run->id)).orderBy("number")))
            iterations << i->triggerReasonRaw;
        QCOMPARE(iterations, (QStringList{"initial", "userFeedback"}));
    }

    // From the Planner: a card's menu opens the Run Agent panel, Start makes the workspace and
    // lands in its coordinator chat, and the run goes on to wait for review.
    void aRunStartedFromThePlanner()
    {
        test::TestEnvironment env;
        test::FakeModel model(qEnvironmentVariable("CORVANE_SOURCE_DIR") + "/tests/automation/scenarios/run_approved.json");
        QVERIFY2(model.isRunning(), qPrintable(model.error()));
        model.exportToThisProcess();
        prepareSettings();
        const QString repo = gitRepository(env, "repo");
        QVERIFY(!repo.isEmpty());
        QProcess cli;
        cli.start(QStringLiteral(CORVANE_CLI_PATH), {"issue", "new", "--project", repo, "--title", "Add a parser"});
        QVERIFY(cli.waitForFinished(30000));
        const QUuid issueId = QUuid::fromString(QString::fromUtf8(cli.readAllStandardError().trimmed().mid(6)));
        QVERIFY(!issueId.isNull());
        cli.start(QStringLiteral(CORVANE_CLI_PATH), {"gate", "add", "--project", repo, "--name", "tests", "--command", "true"});
        QVERIFY(cli.waitForFinished(30000));

        NotificationCenter center;
        Application app(center);
        QVERIFY(app.start());
        MainWindow &window = *app.windows().first();
        window.findChild<QAbstractButton *>("tool:planner")->click();
        auto *board = window.findChild<PlannerToolPage *>("plannerToolPage");
        QVERIFY(board && board->isVisible());
        BoardColumnView *backlog = board->column(IssueStatus::backlog);
        QTRY_COMPARE(backlog->model()->rowCount(), 1);
        // The card's menu, as a right click opens it: "Run Agent…".
        QTimer::singleShot(200, [] {
            auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
            for (QAction *action : menu ? menu->actions() : QList<QAction *>())
                if (action->text() == QStringLiteral("Run Agent\u2026"))
                    action->trigger();
            if (menu)
                menu->close();
        });
        emit backlog->customContextMenuRequested(backlog->visualRect(backlog->model()->index(0, 0)).center());
        RunAgentPanel *panel = nullptr;
        QTRY_VERIFY((panel = window.findChild<RunAgentPanel *>()) != nullptr);
        QTRY_COMPARE(panel->flowList()->currentText(), QStringLiteral("build-and-test"));
        QCOMPARE(panel->workspaceField()->text(), QStringLiteral("Add a parser"));
        QCOMPARE(panel->branchField()->text(), QStringLiteral("add-a-parser"));
        // The repository has no commit yet: a worktree cannot be made, and the panel says so.
        panel->startButton()->click();
        QTRY_VERIFY_WITH_TIMEOUT(panel->messageLabel()->text().startsWith(QStringLiteral("Failed to start run: ")), 10000);
        QVERIFY(panel->isVisible() && panel->startButton()->isEnabled());
        panel->modeButton(WorkspaceCreationMode::simple)->click();
        QVERIFY(!panel->branchField()->isVisible());
        panel->startButton()->click();
        QTRY_VERIFY_WITH_TIMEOUT(window.currentChatId().has_value(), 10000);
        auto *banner = window.findChild<AutomationRunBanner *>();
        QTRY_VERIFY_WITH_TIMEOUT(banner->isVisible() && banner->title()->text() == QStringLiteral("Review Required"), kTurnTimeout);
        QTRY_VERIFY_WITH_TIMEOUT(shownChat(window) && test::timelineText(*shownChat(window)).contains("Done."), 10000);
    }

    void screenshotsOfTheWindow_data()
    {
        QTest::addColumn<bool>("dark");
        QTest::newRow("light") << false;
        QTest::newRow("dark") << true;
    }

    // The main window with a chat holding Markdown, a tool group, an answered permission card
    // and a plan waiting for review: main-window-light.png and main-window-dark.png.
    void screenshotsOfTheWindow()
    {
        QFETCH(bool, dark);
        test::TestEnvironment env;
        test::FakeModel model(test::chatScenario("showcase.json"), {"WORKDIR=" + env.path("corvane")});
        QVERIFY2(model.isRunning(), qPrintable(model.error()));
        model.exportToThisProcess();
        prepareSettings();
        const QString repo = gitRepository(env, "corvane");
        QVERIFY(!repo.isEmpty());
        NotificationCenter center;
        Application app(center);
        QVERIFY(app.start());
        applyAppearance(dark ? AppearanceMode::dark : AppearanceMode::light);
        MainWindow &window = *app.windows().first();
        window.resize(1500, 1000);
        QVERIFY(window.addProjectFolder(repo).ok());
        window.runCommand(KeyboardShortcutAction::newChatInWorkspace);
        QTRY_VERIFY_WITH_TIMEOUT(shownChat(window) && shownChat(window)->session(), 10000);
        ChatView &view = *shownChat(window);
        view.input()->setPermissionMode(PermissionMode::acceptAll);
        say(view, "Build it and check the tree");
        QTRY_VERIFY_WITH_TIMEOUT(test::timelineText(view).contains("Both tools ran."), kTurnTimeout);
        QTRY_VERIFY_WITH_TIMEOUT(view.session()->activityState() == ChatActivityState::idle, kTurnTimeout);
        view.input()->setPermissionMode(PermissionMode::ask);
        say(view, "Make the build folder, then plan the button");
        QTRY_VERIFY_WITH_TIMEOUT(liveCard(view), kTurnTimeout);
        // Allow Once from the keyboard, typed in the message field: the window's one action
        // answers the chat's oldest open request.
        window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        view.input()->textEdit()->setFocus();
        QTest::keySequence(window.windowHandle(), QKeySequence(Qt::CTRL | Qt::Key_Y));
        QTRY_VERIFY_WITH_TIMEOUT(!liveCard(view), 5000);
        QTRY_VERIFY_WITH_TIMEOUT(view.planCard()->isVisible() && view.planCard()->approveButton()->isVisible(), kTurnTimeout);
        QTRY_COMPARE_WITH_TIMEOUT(sharedHighlighter()->pendingCount(), 0, 10000);
        QTest::qWait(100);
        view.timelineModel().flush();
        QApplication::processEvents();
        window.grab().save(QDir::current().filePath(dark ? "main-window-dark.png" : "main-window-light.png"));
        QTest::mouseClick(view.planCard()->approveButton(), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(view.session()->activityState() == ChatActivityState::idle, kTurnTimeout);
        applyAppearance(AppearanceMode::light);
    }
};

QTEST_MAIN(AppJourneyTest)
#include "tst_app_journey.moc"
