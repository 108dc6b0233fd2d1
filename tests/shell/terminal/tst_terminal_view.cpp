// The terminal widget on a real shell, driven with keys and the mouse: colours of `ls --color`,
// typing, selecting and copying, pasting, searching the scrollback; and the main window's
// terminal panel toggled on a workspace, its last tab closed.
#include "support/TerminalWaits.h"
#include "support/ToolWindowFixture.h"
#include "support/StoreFixture.h"

#include "core/window/WindowStateModel.h"
#include "core/records/Profile.h"
#include "shell/terminal/SignInSheet.h"
#include "shell/terminal/TerminalPanel.h"
#include "shell/terminal/TerminalView.h"
#include "shell/window/SidebarView.h"
#include "tools/terminal/TerminalPanelModel.h"
#include "tools/terminal/TerminalService.h"
#include "tools/terminal/TerminalSession.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QProcessEnvironment>
#include <QSignalSpy>
#include <QLineEdit>
#include <QScrollBar>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QTest>
#include <QToolButton>

using namespace corvane;
using namespace corvane::test;

namespace {

int rowOf(TerminalSession &session, const QString &text)
{
    for (int row = session.screen().rows() - 1; row >= -session.screen().scrollbackSize(); --row)
        if (session.screen().lineText(row).startsWith(text))
            return row;
    return -1000;
}

} // namespace

class TestTerminalView : public QObject
{
    Q_OBJECT

    TestEnvironment m_env;

private slots:
    void aShellInTheView()
    {
        QDir(m_env.root()).mkpath("src");
        QFile script(m_env.path("build.sh"));
        QVERIFY(script.open(QIODevice::WriteOnly));
        script.write("#!/bin/sh\n");
        script.close();
        script.setPermissions(script.permissions() | QFileDevice::ExeOwner);

        TerminalSession session(QStringLiteral("Terminal 1"), m_env.root());
        session.startShell(QStringLiteral("/bin/bash"), {"--noprofile", "--norc", "-i"});
        TerminalView view(session);
        view.resize(640, 300);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        QTRY_COMPARE(session.screen().columns(), (640 - view.verticalScrollBar()->sizeHint().width()) / view.cellSize().width());
        session.sendCommand(QStringLiteral("PS1='$ '; clear; ls --color=always"));
        QVERIFY(screenShows(session, QStringLiteral("build.sh")));
        const int row = rowOf(session, QStringLiteral("build.sh"));
        const QList<TerminalCell> cells = session.screen().line(row);
        QVERIFY(!cells.first().style.has(TerminalStyle::defaultFg)); // ls colours an executable
        QTest::qWait(50); // one frame
        QDir().mkpath(CORVANE_SCREENSHOT_DIR);
        QVERIFY(view.grab().save(CORVANE_SCREENSHOT_DIR "/terminal.png"));

        view.setFocus();
        QTest::keyClicks(&view, "echo typed-here");
        QTest::keyClick(&view, Qt::Key_Return);
        QVERIFY(screenShows(session, QStringLiteral("$ echo typed-here")));
        QTRY_VERIFY(rowOf(session, QStringLiteral("typed-here")) > -1000);

        // A drag over the output selects it; Ctrl+Shift+C copies.
        const int out = rowOf(session, QStringLiteral("typed-here"));
        const QSize cell = view.cellSize();
        const QPoint from(cell.width() / 2, out * cell.height() + cell.height() / 2);
        const QPoint to(cell.width() * 9 + cell.width() / 2, from.y());
        QTest::mousePress(view.viewport(), Qt::LeftButton, {}, from);
        QMouseEvent move(QEvent::MouseMove, to, view.viewport()->mapToGlobal(to), Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(view.viewport(), &move);
        QTest::mouseRelease(view.viewport(), Qt::LeftButton, {}, to);
        QCOMPARE(view.selectedText(), QStringLiteral("typed-here"));
        QTest::keyClick(&view, Qt::Key_C, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(QApplication::clipboard()->text(), QStringLiteral("typed-here"));

        QApplication::clipboard()->setText(QStringLiteral("echo pasted-$((40+2))"));
        QTest::keyClick(&view, Qt::Key_V, Qt::ControlModifier | Qt::ShiftModifier);
        QTest::keyClick(&view, Qt::Key_Return);
        QVERIFY(screenShows(session, QStringLiteral("pasted-42")));

        // Search: back through the scrollback to an old line, which comes into view selected.
        session.sendCommand(QStringLiteral("echo needle-line; seq 1 300"));
        QTRY_VERIFY(rowOf(session, QStringLiteral("300")) > -1000 && session.screen().lineText(rowOf(session, QStringLiteral("300"))) == QStringLiteral("300"));
        QTest::keyClick(&view, Qt::Key_F, Qt::ControlModifier | Qt::ShiftModifier);
        QVERIFY(view.searchField()->isVisible());
        QVERIFY(view.findNext(QStringLiteral("NEEDLE-LINE")));
        QVERIFY(view.scrollOffset() > 0);
        QCOMPARE(view.selectedText(), QStringLiteral("needle-line"));
        QTest::keyClick(view.searchField(), Qt::Key_Escape);
        session.terminate();
        QTRY_VERIFY(session.shellPid() == 0);
    }

    // The sign-in sheet on the real claude: its login prints where to go and waits for a code;
    // closing the sheet ends it. A login that ends well closes the sheet by itself.
    void signInInASheet()
    {
        const QString claude = qEnvironmentVariable("CORVANE_NPM_DIR") + QStringLiteral("/node_modules/.bin/claude");
        if (!QFileInfo::exists(claude))
            QSKIP("the agent tools are not installed (scripts/setup.sh)");
        // The login runs in the user's login shell, in the profile's own folder.
        Profile profile;
        profile.name = QStringLiteral("Work");
        profile.configDirPath = m_env.path("claude-config");
        QVERIFY(QDir().mkpath(profile.configDirPath));
        QProcessEnvironment ours = QProcessEnvironment::systemEnvironment();
        ours.insert(QStringLiteral("BROWSER"), QStringLiteral("true"));
        const QStringList environment = ours.toStringList();
        pid_t login = 0;
        {
            SignInSheet sheet(signin::command(SignInAgent::claude, &profile, claude, ours));
            sheet.show();
            QVERIFY(screenShows(sheet.session(), QStringLiteral("Paste code here"), 30000));
            QVERIFY(screenShows(sheet.session(), QStringLiteral("https://")));
            QStringList texts;
            for (const QLabel *label : sheet.findChildren<QLabel *>())
                texts << label->text();
            QVERIFY(texts.contains(QStringLiteral("Sign in to Claude for the \"Work\" profile.")));
            login = sheet.session().shellPid();
            QVERIFY(login > 0);
            QCOMPARE(QFileInfo(QStringLiteral("/proc/%1/cwd").arg(login)).symLinkTarget(), profile.configDirPath);
            sheet.reject();
        }
        QTRY_VERIFY_WITH_TIMEOUT(!QFile::exists(QStringLiteral("/proc/%1").arg(login)), 5000); // ended and reaped
        SignInSheet scripted(QStringLiteral("Sign in"), QStringLiteral("/bin/sh"),
                             {"-c", "printf 'code: '; read code; test \"$code\" = good"}, environment);
        QSignalSpy accepted(&scripted, &QDialog::accepted);
        scripted.show();
        QVERIFY(screenShows(scripted.session(), QStringLiteral("code:")));
        QTest::keyClicks(scripted.view(), "bad");
        QTest::keyClick(scripted.view(), Qt::Key_Return);
        QTRY_VERIFY(scripted.statusLine()->text().contains(QStringLiteral("ended with code 1")));
        QPushButton *again = nullptr;
        for (QPushButton *button : scripted.findChildren<QPushButton *>())
            if (button->text() == QStringLiteral("Start Again"))
                again = button;
        QVERIFY(again && again->isVisible());
        again->click();
        QTest::keyClicks(scripted.view(), "good");
        QTest::keyClick(scripted.view(), Qt::Key_Return);
        QTRY_COMPARE(accepted.size(), 1);
    }

    void thePanelOfAWorkspace()
    {
        ToolWindowFixture f;
        const InsertedPlace place = insertPlace(f.ctx(), m_env.root());
        TerminalService terminals(f.ctx());
        f.tools.terminals = &terminals;
        f.window = std::make_unique<MainWindow>(
            WindowServices{f.ctx(), f.preferences, f.settings, f.center, f.lifecycle, &f.tools, nullptr, &terminals}, 1);
        f.window->resize(1100, 700);
        f.window->show();
        f.window->state().setContent(ContentState::workspace(place.workspaceId));
        QTRY_VERIFY(f.window->content()->currentWidget()->objectName() == QStringLiteral("workspacePage"));
        QVERIFY(!f.window->terminalPanel());

        QAction *toggle = f.window->findChild<QAction *>(QStringLiteral("action:toggleTerminal"));
        QVERIFY(toggle);
        QCOMPARE(toggle->shortcut(), QKeySequence(QStringLiteral("Ctrl+`")));
        toggle->trigger();
        QTRY_VERIFY(f.window->terminalPanel());
        TerminalPanel *panel = f.window->terminalPanel();
        QVERIFY(f.ctx().get<Workspace>(place.workspaceId)->isTerminalVisible);
        QCOMPARE(panel->sessionList()->count(), 1);
        QCOMPARE(panel->sessionList()->item(0)->text(), QStringLiteral("Terminal 1"));
        panel->addButton()->click();
        QCOMPARE(panel->sessionList()->item(1)->text(), QStringLiteral("Terminal 2"));
        QCOMPARE(terminals.terminals().size(), 2);

        toggle->trigger(); // hidden, the shells go on
        QTRY_VERIFY(!f.window->terminalPanel());
        QCOMPARE(terminals.panel(place.workspaceId)->sessions().size(), 2);
        toggle->trigger();
        QTRY_COMPARE(f.window->terminalPanel(), panel);

        // The workspace's menu suggests what its files can run; a choice runs in a new tab.
        QFile makefile(m_env.path("Makefile"));
        QVERIFY(makefile.open(QIODevice::WriteOnly));
        makefile.write("all:\n\t@echo made-by-make\n");
        makefile.close();
        QObject owner;
        QMenu *run = nullptr;
        for (QAction *action : f.window->sidebar()->rowActions(place.workspaceId, &owner))
            if (action->menu() && action->menu()->objectName() == QStringLiteral("runMenu"))
                run = action->menu();
        QVERIFY(run);
        emit run->aboutToShow();
        QCOMPARE(run->actions().first()->text(), QStringLiteral("make"));
        run->actions().first()->trigger();
        QTRY_COMPARE(panel->sessionList()->count(), 3);
        QCOMPARE(panel->sessionList()->item(2)->text(), QStringLiteral("make"));
        TerminalSession *made = terminals.panel(place.workspaceId)->sessions().last();
        QTRY_VERIFY_WITH_TIMEOUT([&] {
            for (int row = -made->screen().scrollbackSize(); row < made->screen().rows(); ++row)
                if (made->screen().lineText(row) == QStringLiteral("made-by-make"))
                    return true;
            return false;
        }(), 10000);

        // The Terminal tool lists all three, and opens the workspace again.
        f.window->state().setContent(ContentState::tool(QStringLiteral("terminal")));
        QWidget *overview = nullptr;
        QTRY_VERIFY((overview = f.window->findChild<QWidget *>(QStringLiteral("terminalToolPage"))) && overview->isVisible());
        QTRY_VERIFY(overview->findChild<QWidget *>(QStringLiteral("terminal:make")));
        QVERIFY(overview->findChild<QWidget *>(QStringLiteral("terminal:Terminal 1")));
        for (QPushButton *button : overview->findChild<QWidget *>(QStringLiteral("terminal:make"))->findChildren<QPushButton *>())
            if (button->text() == QStringLiteral("Open"))
                button->click();
        QTRY_COMPARE(f.window->state().content(), ContentState::workspace(place.workspaceId));

        panel->closeButton()->click();
        panel->closeButton()->click();
        panel->closeButton()->click(); // the last one: the panel goes
        QTRY_VERIFY(!f.window->terminalPanel());
        QVERIFY(!terminals.panel(place.workspaceId));
        QTRY_VERIFY(!f.ctx().get<Workspace>(place.workspaceId)->isTerminalVisible);
    }
};

QTEST_MAIN(TestTerminalView)
#include "tst_terminal_view.moc"
