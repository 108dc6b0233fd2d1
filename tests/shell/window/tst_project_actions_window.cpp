// A project's actions in the window: the workspace's toolbar shows them in order, a button runs
// its script in a new terminal tab of that workspace (a real shell on a real pty), the "Run"
// action made from an old run command at start-up works the same, and the project menu's dialog
// adds, edits, duplicates, orders and deletes them.
#include "core/records/Project.h"
#include "core/records/ProjectActions.h"
#include "core/window/WindowStateModel.h"
#include "core/startup/StartupRepairs.h"
#include "shell/terminal/TerminalPanel.h"
#include "shell/window/ProjectActionsBar.h"
#include "shell/window/ProjectActionsDialog.h"
#include "shell/window/SidebarView.h"
#include "support/StoreFixture.h"
#include "support/TerminalWaits.h"
#include "support/ToolWindowFixture.h"
#include "tools/terminal/TerminalPanelModel.h"
#include "tools/terminal/TerminalService.h"
#include "tools/terminal/TerminalSession.h"

#include <QAction>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPointer>
#include <QPushButton>
#include <QTest>
#include <QToolButton>

using namespace corvane;
using namespace corvane::test;

namespace {

QStringList buttonNames(ProjectActionsBar *bar)
{
    QStringList names;
    for (QAction *action : bar->actions())
        if (action->objectName().startsWith(QLatin1String("projectAction:")))
            names.append(action->text());
    return names;
}

QStringList storedNames(StoreContext &ctx, const QUuid &projectId)
{
    QStringList names;
    for (const auto &action : projectactions::sorted(ctx, projectId))
        names.append(QStringLiteral("%1=%2").arg(action->name, action->script));
    return names;
}

} // namespace

class ProjectActionsWindowTest : public QObject
{
    Q_OBJECT

private slots:
    void buttonsRunInTheWorkspaceTerminal()
    {
        ToolWindowFixture f;
        const InsertedPlace place = insertPlace(f.ctx(), f.f.project("app"));
        // An old project with a run command and no actions: start-up makes its "Run" action.
        const InsertedPlace old = insertPlace(f.ctx(), f.f.project("old"));
        f.ctx().get<Project>(old.projectId)->runCommand = QStringLiteral("echo run-$((40+2))");
        QVERIFY(f.ctx().save());
        QCOMPARE(startup::migrateRunCommands(f.ctx()), 1);
        projectactions::add(f.ctx(), place.projectId, QStringLiteral("Greet"), QStringLiteral("play.fill"),
                            QStringLiteral("echo hello-from-$((6*7)) in $(basename $PWD)"));
        projectactions::add(f.ctx(), place.projectId, QStringLiteral("Lint"), QStringLiteral("hammer.fill"), QStringLiteral("true"));
        TerminalService terminals(f.ctx());
        f.tools.terminals = &terminals;
        f.window = std::make_unique<MainWindow>(
            WindowServices{f.ctx(), f.preferences, f.settings, f.center, f.lifecycle, &f.tools, nullptr, &terminals}, 1);
        f.window->resize(1100, 700);
        f.window->show();
        ProjectActionsBar *bar = f.window->projectActionsBar();
        QVERIFY(bar);
        QVERIFY(!bar->isVisible()); // no workspace shown

        f.window->state().setContent(ContentState::workspace(place.workspaceId));
        QTRY_VERIFY(bar->isVisible());
        QCOMPARE(buttonNames(bar), (QStringList{"Greet", "Lint"}));
        QTest::mouseClick(bar->button(QStringLiteral("Greet")), Qt::LeftButton);
        QTRY_VERIFY(f.window->terminalPanel());
        TerminalPanelModel *panel = terminals.panel(place.workspaceId);
        QVERIFY(panel);
        TerminalSession *greet = panel->sessions().last();
        QCOMPARE(greet->name(), QStringLiteral("Greet"));
        QVERIFY(screenShows(*greet, QStringLiteral("hello-from-42 in app")));

        // The migrated run command is a button like any other, in its own project's workspaces.
        f.window->state().setContent(ContentState::workspace(old.workspaceId));
        QTRY_COMPARE(buttonNames(bar), QStringList{"Run"});
        QTest::mouseClick(bar->button(QStringLiteral("Run")), Qt::LeftButton);
        QTRY_VERIFY(terminals.panel(old.workspaceId));
        TerminalSession *run = terminals.panel(old.workspaceId)->sessions().last();
        QCOMPARE(run->name(), QStringLiteral("Run"));
        QVERIFY(screenShows(*run, QStringLiteral("run-42")));
        QCOMPARE(panel->sessions().size(), 2); // the other workspace's panel got nothing more
    }

    void managedFromTheProjectMenu()
    {
        ToolWindowFixture f;
        const QString folder = f.f.project("web");
        QFile package(folder + "/package.json");
        QVERIFY(package.open(QIODevice::WriteOnly));
        package.write(R"({"scripts": {"dev": "vite"}})");
        package.close();
        const InsertedPlace place = insertPlace(f.ctx(), folder);
        TerminalService terminals(f.ctx());
        f.window = std::make_unique<MainWindow>(
            WindowServices{f.ctx(), f.preferences, f.settings, f.center, f.lifecycle, &f.tools, nullptr, &terminals}, 1);
        f.window->show();
        f.window->state().setContent(ContentState::workspace(place.workspaceId));
        ProjectActionsBar *bar = f.window->projectActionsBar();
        QTRY_VERIFY(bar->isVisible());
        QCOMPARE(buttonNames(bar), QStringList());

        QObject owner;
        for (QAction *action : f.window->sidebar()->rowActions(place.projectId, &owner))
            if (action->text() == QStringLiteral("Project Actions…"))
                action->trigger();
        QPointer<ProjectActionsDialog> dialog = f.window->findChild<ProjectActionsDialog *>();
        QVERIFY(dialog && dialog->isVisible());
        QVERIFY(!dialog->messageLabel()->text().isEmpty()); // says what actions are

        dialog->button("addAction")->click();
        QCOMPARE(dialog->list()->count(), 1);
        dialog->nameField()->selectAll();
        QTest::keyClicks(dialog->nameField(), "Test");
        QTest::keyClicks(dialog->scriptField(), "make test");
        // A blank name is refused with the reason, and the last good one kept.
        dialog->nameField()->clear();
        QTest::keyClicks(dialog->nameField(), " ");
        QCOMPARE(dialog->messageLabel()->text(), QStringLiteral("An action needs a name; it is the button's label."));
        QCOMPARE(storedNames(f.ctx(), place.projectId), QStringList{"Test=make test"});
        dialog->nameField()->selectAll();
        QTest::keyClicks(dialog->nameField(), "Check");

        QComboBox *suggestions = dialog->suggestionBox();
        QCOMPARE(suggestions->itemText(1), QStringLiteral("npm run dev (from package.json)"));
        suggestions->activated(1);
        dialog->button("duplicateAction")->click();
        QCOMPARE(storedNames(f.ctx(), place.projectId),
                 (QStringList{"Check=make test", "npm run dev=npm run dev", "npm run dev Copy=npm run dev"}));
        dialog->button("moveActionUp")->click();
        dialog->button("moveActionUp")->click();
        QCOMPARE(dialog->list()->currentItem()->text(), QStringLiteral("npm run dev Copy"));
        dialog->list()->setCurrentRow(2);
        dialog->button("deleteAction")->click();
        QCOMPARE(storedNames(f.ctx(), place.projectId), (QStringList{"npm run dev Copy=npm run dev", "Check=make test"}));
        QTRY_COMPARE(buttonNames(bar), (QStringList{"npm run dev Copy", "Check"}));

        dialog->reject();
        QTRY_VERIFY(!dialog); // closed and gone
        QCOMPARE(buttonNames(bar), (QStringList{"npm run dev Copy", "Check"}));
    }
};

QTEST_MAIN(ProjectActionsWindowTest)
#include "tst_project_actions_window.moc"
