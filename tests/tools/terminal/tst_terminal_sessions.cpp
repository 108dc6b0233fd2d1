// Real shells on real pseudo-terminals: what they print lands in the cells, a resize reaches
// them, Ctrl+C reaches their children, an exited shell comes back, and closing a tab or
// stopping a terminal ends everything the shell started, the stubborn and the backgrounded too.
#include "support/TerminalWaits.h"
#include "support/TestEnvironment.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "support/StoreFixture.h"
#include "tools/terminal/ProcessTable.h"
#include "tools/terminal/TerminalPanelModel.h"
#include "tools/terminal/TerminalService.h"
#include "tools/terminal/TerminalSession.h"

#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include <csignal>

using namespace corvane;
using namespace corvane::test;

namespace {

bool alive(pid_t pid)
{
    return ::kill(pid, 0) == 0 && processtable::parents().contains(pid);
}

int freePort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

bool listening(int port)
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, quint16(port));
    return socket.waitForConnected(500);
}

// A plain, quick shell for most tests: no profile files, a known prompt.
void startPlainShell(TerminalSession &session)
{
    session.startShell(QStringLiteral("/bin/bash"), {QStringLiteral("--noprofile"), QStringLiteral("--norc"), QStringLiteral("-i")});
    session.sendCommand(QStringLiteral("PS1='$ '"));
}

} // namespace

class TestTerminalSessions : public QObject
{
    Q_OBJECT

    TestEnvironment m_env;

private slots:
    void aLoginShellInTheFolder()
    {
        qputenv("SHELL", "/bin/bash");
        TerminalSession session(QStringLiteral("Terminal 1"), m_env.root());
        session.startShell();
        QVERIFY(session.shellPid() > 0);
        session.sendCommand(QStringLiteral("echo \"[$PWD|$TERM|$COLORTERM|$(shopt -q login_shell && echo login)]\""));
        QVERIFY2(screenShows(session, QStringLiteral("[%1|xterm-256color|truecolor|login]").arg(m_env.root())),
                 qPrintable(session.screen().lineText(0) + " / " + session.screen().lineText(1)));
        session.sendCommand(QStringLiteral("printf '\\033[32mgreen\\033[0m done\\n'"));
        QVERIFY(screenShows(session, QStringLiteral("green done")));
        for (int row = 0; row < session.screen().rows(); ++row) {
            if (session.screen().lineText(row) == QStringLiteral("green done"))
                QCOMPARE(session.screen().line(row).first().style.fg, session.screen().paletteColor(2));
        }
    }

    void resizeCtrlCAndRestart()
    {
        TerminalSession session(QStringLiteral("t"), m_env.root());
        startPlainShell(session);
        session.resize(30, 100);
        session.sendCommand(QStringLiteral("echo cols=$(tput cols) lines=$(tput lines)"));
        QVERIFY(screenShows(session, QStringLiteral("cols=100 lines=30")));

        session.sendCommand(QStringLiteral("sleep 30"));
        QTRY_VERIFY(session.hasRunningChild());
        session.screen().sendText(QStringLiteral("c"), Qt::ControlModifier);
        QTRY_VERIFY(!session.hasRunningChild());

        session.sendCommand(QStringLiteral("less /etc/passwd"));
        QTRY_VERIFY(session.screen().isAltScreen());
        session.send("q");
        QTRY_VERIFY(!session.screen().isAltScreen());

        const pid_t first = session.shellPid();
        QSignalSpy started(&session, &TerminalSession::shellStarted);
        session.sendCommand(QStringLiteral("exit"));
        QVERIFY(started.wait(5000));
        QVERIFY(session.shellPid() > 0);
        QVERIFY(session.shellPid() != first);
        QVERIFY(!alive(first));
    }

    // Closing the tab of a running server frees its port; a child that ignores SIGTERM and
    // background jobs in process groups of their own end too.
    void closingATabEndsEverything()
    {
        TerminalPanelModel panel(QUuid::createUuid(), m_env.root());
        TerminalSession *first = panel.newSession(std::nullopt, QStringLiteral("/bin/bash"), {QStringLiteral("--norc"), QStringLiteral("-i")});
        TerminalSession *second = panel.newSession(std::nullopt, QStringLiteral("/bin/bash"), {QStringLiteral("--norc"), QStringLiteral("-i")});
        QCOMPARE(first->name(), QStringLiteral("Terminal 1"));
        QCOMPARE(second->name(), QStringLiteral("Terminal 2"));
        QCOMPARE(panel.activeSession(), second);

        const int port = freePort();
        second->sendCommand(QStringLiteral("python3 -m http.server %1 --bind 127.0.0.1").arg(port));
        QVERIFY(QTest::qWaitFor([&] { return listening(port); }, 15000));
        second->sendCommand({}); // nothing: the server holds the terminal
        // Background jobs get process groups of their own: only the walk of the tree finds them.
        first->sendCommand(QStringLiteral("sh -c \"trap '' TERM; sleep 60\" & sleep 61 & echo started"));
        QVERIFY(screenShows(*first, QStringLiteral("started")));
        QList<pid_t> stubborn;
        QTRY_VERIFY((stubborn = processtable::descendants(processtable::parents(), first->shellPid())).size() >= 3);

        QSignalSpy emptied(&panel, &TerminalPanelModel::emptied);
        panel.closeSession(second->id());
        QCOMPARE(panel.activeSession(), first);
        QTRY_VERIFY_WITH_TIMEOUT(!listening(port), 5000);

        panel.closeSession(first->id());
        QCOMPARE(emptied.size(), 1);
        for (pid_t pid : stubborn)
            QTRY_VERIFY2_WITH_TIMEOUT(!alive(pid), qPrintable(QString::number(pid)), 5000);

        // After closing the first of two, the next new one is again "Terminal 2".
        panel.newSession(std::nullopt, QStringLiteral("/bin/sh"));
        panel.closeSession(panel.newSession(std::nullopt, QStringLiteral("/bin/sh"))->id());
        QCOMPARE(panel.newSession(std::nullopt, QStringLiteral("/bin/sh"))->name(), QStringLiteral("Terminal 2"));
    }

    void theOverview()
    {
        auto store = Store::open(m_env.path("terminals.store")).value();
        TerminalService service(store->mainContext());
        const InsertedPlace place = insertPlace(store->mainContext(), m_env.root());
        QCOMPARE(service.terminals().size(), 0);
        const QUuid workspace = QUuid::createUuid();
        TerminalPanelModel *panel = service.ensurePanel(workspace, m_env.root());
        QCOMPARE(service.ensurePanel(workspace, m_env.root()), panel);
        QCOMPARE(service.terminals().size(), 1);
        QCOMPARE(service.terminals().first().chatName, QStringLiteral("Workspace")); // no such record
        service.ensurePanel(place.workspaceId, m_env.root());
        QCOMPARE(service.terminals().last().workspaceName, std::optional(m_env.root().section('/', -1)));
        service.closePanel(place.workspaceId);
        TerminalSession *session = panel->sessions().first();
        QTRY_VERIFY(session->shellPid() > 0);
        session->sendCommand(QStringLiteral("sleep 30"));
        QTRY_VERIFY((service.refresh(), service.terminals().first().isRunning));

        service.stopTerminal(QUuid::createUuid()); // unknown: nothing changes
        QVERIFY(alive(session->shellPid()));
        const pid_t shell = session->shellPid();
        service.stopTerminal(session->id());
        QTRY_VERIFY(!alive(shell));
        QCOMPARE(service.terminals().size(), 1); // stopped, the tab stays

        service.closePanel(workspace);
        QCOMPARE(service.terminals().size(), 0);
        QVERIFY(!service.panel(workspace));
    }
};

QTEST_GUILESS_MAIN(TestTerminalSessions)
#include "tst_terminal_sessions.moc"
