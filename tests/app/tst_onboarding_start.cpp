// A first start as a person meets it: the checklist instead of a main window, Continue once an
// agent is ready, and the checklist again from the Help menu.
#include "app/Application.h"
#include "accounts/onboarding/OnboardingChecklistViewModel.h"
#include "core/NotificationCenter.h"
#include "core/Paths.h"
#include "core/settings/AppSettings.h"
#include "core/settings/PreferencesStore.h"
#include "shell/OnboardingRow.h"
#include "shell/OnboardingWindow.h"
#include "shell/terminal/SignInSheet.h"
#include "shell/window/MainWindow.h"
#include "support/OnboardingMachine.h"
#include "support/TestEnvironment.h"

#include <QAction>
#include <QPointer>
#include <QApplication>
#include <QMenuBar>
#include <QPushButton>
#include <QtTest>

using namespace corvane;

namespace {

OnboardingWindow *shownChecklist()
{
    for (QWidget *widget : QApplication::topLevelWidgets())
        if (auto *window = qobject_cast<OnboardingWindow *>(widget); window && window->isVisible())
            return window;
    return nullptr;
}

QAction *helpItem(MainWindow &window, const QString &text)
{
    for (QAction *menu : window.menuBar()->actions())
        if (menu->menu() && menu->text().remove('&') == QLatin1String("Help"))
            for (QAction *item : menu->menu()->actions())
                if (item->text() == text)
                    return item;
    return nullptr;
}

bool completedOnboarding()
{
    PreferencesStore preferences(paths::settingsFile());
    NotificationCenter center;
    return AppSettings(preferences, center).hasCompletedOnboarding();
}

} // namespace

class OnboardingStartTest : public QObject
{
    Q_OBJECT

private slots:
    void firstStartShowsTheChecklistAndContinueOpensTheWindow()
    {
        test::TestEnvironment env;
        qunsetenv("DBUS_SESSION_BUS_ADDRESS");
        qunsetenv("CODEX_HOME");
        // Codex installed where npm puts a user's tools, and signed in with a key.
        const QString home = env.path("home");
        for (const char *tool : {"git", "node", "codex"})
            QVERIFY(test::writeExecutable(home + "/.local/bin/" + tool));
        QVERIFY(test::writeFile(home + "/.codex/auth.json", R"({"auth_mode":"apikey","OPENAI_API_KEY":"sk-1"})"));

        NotificationCenter center;
        Application app(center);
        QVERIFY(app.start());
        QCOMPARE(app.windows().size(), 0);
        OnboardingWindow *checklist = shownChecklist();
        QVERIFY(checklist);
        QTRY_VERIFY_WITH_TIMEOUT(checklist->continueButton()->isEnabled(), 30000);
        QTest::mouseClick(checklist->continueButton(), Qt::LeftButton);
        QCOMPARE(app.windows().size(), 1);
        QVERIFY(completedOnboarding());
        QTRY_VERIFY(!shownChecklist());

        // Help → Show Setup Checklist… brings it back; Continue then returns to the open window.
        MainWindow &window = *app.windows().first();
        QAction *item = helpItem(window, QStringLiteral("Show Setup Checklist…"));
        QVERIFY(item);
        item->trigger();
        checklist = shownChecklist();
        QVERIFY(checklist);
        item->trigger(); // a second time: the same checklist comes to the front
        QCOMPARE(shownChecklist(), checklist);
        QTRY_VERIFY_WITH_TIMEOUT(checklist->continueButton()->isEnabled(), 30000);
        QTest::mouseClick(checklist->continueButton(), Qt::LeftButton);
        QCOMPARE(app.windows().size(), 1);
        QTRY_VERIFY(!shownChecklist());
    }

    void signInRunsTheAgentsLoginInTheSheet()
    {
        test::TestEnvironment env;
        qunsetenv("DBUS_SESSION_BUS_ADDRESS");
        qunsetenv("CODEX_HOME");
        const QString home = env.path("home");
        for (const char *tool : {"git", "node"})
            QVERIFY(test::writeExecutable(home + "/.local/bin/" + tool));
        // A codex whose login signs in at once, as the real one does after the browser step.
        QVERIFY(test::writeExecutable(home + "/.local/bin/codex",
                                      "#!/bin/sh\n"
                                      "[ \"$1\" = login ] || exit 2\n"
                                      "mkdir -p \"$HOME/.codex\"\n"
                                      "echo '{\"auth_mode\":\"apikey\",\"OPENAI_API_KEY\":\"sk-1\"}' > \"$HOME/.codex/auth.json\"\n"
                                      "echo Successfully logged in\n"));

        NotificationCenter center;
        Application app(center);
        QVERIFY(app.start());
        OnboardingWindow *checklist = shownChecklist();
        QVERIFY(checklist);
        checklist->activateWindow();
        QPushButton *login = checklist->row("codex-login")->actionButton();
        QTRY_VERIFY_WITH_TIMEOUT(login->isVisible() && login->isEnabled(), 30000);
        QCOMPARE(login->text(), QStringLiteral("Login"));
        QVERIFY(!checklist->continueButton()->isEnabled());
        QTest::mouseClick(login, Qt::LeftButton);
        // The sheet runs the login over the checklist, closes by itself, and the row is checked again.
        QPointer<SignInSheet> sheet = checklist->findChild<SignInSheet *>();
        QVERIFY(sheet);
        QTRY_VERIFY_WITH_TIMEOUT(!sheet || !sheet->isVisible(), 30000);
        QTRY_VERIFY_WITH_TIMEOUT(checklist->model().isOk("codex-login"), 30000);
        QTRY_VERIFY_WITH_TIMEOUT(checklist->continueButton()->isEnabled(), 30000);
        delete checklist;
    }
};

QTEST_MAIN(OnboardingStartTest)
#include "tst_onboarding_start.moc"
