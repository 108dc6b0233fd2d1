// A first start as a person meets it: the checklist instead of a main window, Continue once an
// agent is ready, and the checklist again from the Help menu.
#include "app/Application.h"
#include "core/NotificationCenter.h"
#include "core/Paths.h"
#include "core/settings/AppSettings.h"
#include "core/settings/PreferencesStore.h"
#include "shell/OnboardingWindow.h"
#include "shell/window/MainWindow.h"
#include "support/OnboardingMachine.h"
#include "support/TestEnvironment.h"

#include <QAction>
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
};

QTEST_MAIN(OnboardingStartTest)
#include "tst_onboarding_start.moc"
