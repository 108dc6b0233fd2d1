// Local usage analytics in the running application: nothing at all while they are off; on, the
// launch, a new project and its chat, and sent messages each leave one JSON line with their
// parameters and never the message text. The agent is the real claude behind the scripted model.
#include "app/Application.h"
#include "accounts/ProfileRepairs.h"
#include "agent/session/ChatSession.h"
#include "core/Analytics.h"
#include "core/NotificationCenter.h"
#include "core/Paths.h"
#include "core/records/Profile.h"
#include "core/settings/AppSettings.h"
#include "core/settings/PreferencesStore.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "shell/chat/ChatInputView.h"
#include "shell/chat/ChatTextEdit.h"
#include "shell/chat/ChatView.h"
#include "shell/preferences/GeneralPage.h"
#include "shell/window/ContentArea.h"
#include "shell/window/MainWindow.h"
#include "support/FakeModel.h"
#include "support/TestEnvironment.h"

#include <QCheckBox>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

using namespace corvane;

namespace {

void prepareSettings(bool analytics)
{
    PreferencesStore preferences(paths::settingsFile());
    NotificationCenter center;
    AppSettings settings(preferences, center);
    settings.setHasCompletedOnboarding(true);
    settings.setClaudePath(test::FakeModel::claudePath());
    settings.setShareUsageAnalytics(analytics);
    auto store = Store::open(paths::storeFile());
    QVERIFY(store.ok());
    profiles::ensureDefaultProfile((*store)->mainContext());
    for (const auto &profile : (*store)->mainContext().fetchOrEmpty<Profile>())
        profile->lastLoginAt = QDateTime::currentDateTime();
    QVERIFY((*store)->mainContext().save().ok());
}

// "signal {params}" per line of the log, the time checked and left out.
QStringList loggedEvents()
{
    QFile file(Analytics::logFile());
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QStringList events;
    for (const QByteArray &line : file.readAll().split('\n')) {
        if (line.isEmpty())
            continue;
        const QJsonObject event = QJsonDocument::fromJson(line).object();
        const bool timed = QDateTime::fromString(event.value("time").toString(), Qt::ISODateWithMs).isValid();
        events << (timed ? QString() : QStringLiteral("(no time) ")) + event.value("signal").toString() + ' '
                      + QString::fromUtf8(QJsonDocument(event.value("params").toObject()).toJson(QJsonDocument::Compact));
    }
    return events;
}

} // namespace

class AnalyticsTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        if (test::FakeModel::claudePath().isEmpty())
            QSKIP("the pinned claude is not installed: run scripts/setup.sh");
    }

    void cleanup()
    {
        QTest::qWait(1000); // agent processes ended at quit are reaped from the event loop
    }

    void eventsOfAJourney_data()
    {
        QTest::addColumn<bool>("on");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("off writes nothing") << false << QStringList();
        QTest::newRow("on") << true
                            << QStringList{
                                   R"(app.launched {"projectCount":0})",
                                   R"(project.created {"totalProjects":1})",
                                   R"(chat.created {"agentType":"claude_code"})",
                                   R"(chat.created {"agentType":"claude_code"})",
                                   R"(chat.messageSent {"agentType":"claude_code"})",
                                   R"(chat.messageSent {"agentType":"claude_code","slashCommand":"compact"})",
                               };
    }

    void eventsOfAJourney()
    {
        QFETCH(bool, on);
        QFETCH(QStringList, expected);
        test::TestEnvironment env;
        test::FakeModel model("two_turns.json");
        QVERIFY2(model.isRunning(), qPrintable(model.error()));
        model.exportToThisProcess();
        prepareSettings(on);
        const QString repo = env.path("repo");
        QDir().mkpath(repo);
        QCOMPARE(QProcess::execute("git", {"-C", repo, "init", "-q", "-b", "main"}), 0);

        NotificationCenter center;
        Application app(center);
        QVERIFY(app.start());
        MainWindow &window = *app.windows().first();
        QVERIFY(window.addProjectFolder(repo).ok()); // a project with its first workspace and chat
        window.runCommand(KeyboardShortcutAction::newChatInWorkspace);
        auto shown = [&window] { return qobject_cast<ChatView *>(window.content()->chatView()); };
        QTRY_VERIFY_WITH_TIMEOUT(shown() && shown()->session(), 10000);
        ChatView &view = *shown();
        QSignalSpy turnEnded(view.session(), &ChatSession::turnCompleted);
        for (const QString &text : {QStringLiteral("Please answer the first question"), QStringLiteral("/compact the secret plans")}) {
            view.input()->textEdit()->setPlainText(text);
            QTest::keyClick(view.input()->textEdit(), Qt::Key_Return);
            QVERIFY(turnEnded.wait(90000));
        }

        QCOMPARE(loggedEvents(), expected);
        QCOMPARE(QFile::exists(Analytics::logFile()), on);
        QFile log(Analytics::logFile());
        if (log.open(QIODevice::ReadOnly)) {
            const QByteArray written = log.readAll();
            QVERIFY(!written.contains("first question") && !written.contains("secret"));
        }
    }

    // The switch in Preferences → General starts and stops the recording at once.
    void theSwitchTurnsRecordingOnAndOff()
    {
        test::TestEnvironment env;
        PreferencesStore preferences(paths::settingsFile());
        NotificationCenter center;
        AppSettings settings(preferences, center);
        QWidget window;
        auto *page = new GeneralPage(settings, &window);
        QVERIFY(!page->analyticsBox()->isChecked());
        Analytics::shared().record("git.commit");
        QVERIFY(!QFile::exists(Analytics::logFile()));

        page->analyticsBox()->click();
        QVERIFY(settings.shareUsageAnalytics());
        Analytics::shared().record("git.commit");
        page->analyticsBox()->click();
        QVERIFY(!settings.shareUsageAnalytics());
        Analytics::shared().record("git.prCreated");
        QCOMPARE(loggedEvents(), QStringList{"git.commit {}"});
        QVERIFY(window.findChild<QPushButton *>("showAnalyticsLog"));
    }
};

QTEST_MAIN(AnalyticsTest)
#include "tst_analytics.moc"
