// The checklist's rules: which rows keep Continue closed, what the footer says, how an action
// ends, and when rows are checked again. Checks and actions are real: stand-in programs on a
// made-up machine, run through the user's login shell.
#include "accounts/onboarding/OnboardingChecklistViewModel.h"
#include "accounts/onboarding/OnboardingValidator.h"
#include "support/OnboardingMachine.h"

#include <QSignalSpy>
#include <QWindow>
#include <QtTest>

#include <signal.h>

using namespace corvane;
using Item = OnboardingChecklistItem;
using State = Item::State;

Q_DECLARE_METATYPE(corvane::OnboardingChecklistItem::State)

namespace {

bool settled(const OnboardingChecklistViewModel &model)
{
    return std::none_of(model.items().cbegin(), model.items().cend(),
                        [](const Item &row) { return row.state == State::checking || row.state == State::unknown; });
}

} // namespace

class OnboardingChecklistTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<test::OnboardingMachine> m_machine;

    std::unique_ptr<OnboardingChecklistViewModel> model(QList<Item> items = {})
    {
        auto *validator = new OnboardingValidator(nullptr);
        validator->setEnvironment(m_machine->environment(), m_machine->home());
        return std::make_unique<OnboardingChecklistViewModel>(validator, items.isEmpty() ? m_machine->items() : items);
    }

    void revalidate(OnboardingChecklistViewModel &model)
    {
        model.revalidateAll();
        QTRY_VERIFY_WITH_TIMEOUT(settled(model), 30000);
    }

    // Git and Node.js as stand-ins on the PATH, and the agents' tools where npm would put them.
    void installTools(const QStringList &tools)
    {
        for (const QString &tool : tools)
            QVERIFY(test::writeExecutable(m_machine->home() + "/.local/bin/" + tool));
    }

    void signInToCodex()
    {
        QVERIFY(test::writeFile(m_machine->home() + "/.codex/auth.json", R"({"auth_mode":"apikey","OPENAI_API_KEY":"sk-1"})"));
    }

private slots:
    void init()
    {
        m_machine = std::make_unique<test::OnboardingMachine>();
    }

    void cleanup() { m_machine.reset(); }

    void rowsComeInTheirOrderAndStartUnknown()
    {
        const auto m = model();
        QStringList ids, titles;
        for (const Item &row : m->items()) {
            ids << row.id;
            titles << row.title;
            QCOMPARE(row.state, State::unknown);
            QVERIFY(row.failureLog.isEmpty());
        }
        QCOMPARE(ids, QStringList({"git", "node", "claude", "claude-login", "codex", "codex-login", "notifications", "microphone"}));
        QCOMPARE(titles, QStringList({"Git", "Node.js", "Claude Code", "Claude Login", "Codex CLI", "ChatGPT Login",
                                      "Notifications", "Microphone (Optional)"}));
        QCOMPARE(OnboardingChecklistViewModel::heading(), QStringLiteral("Corvane needs a few things before you can get started."));
        QVERIFY(!m->canContinue());
    }

    void continueNeedsOneAgentSignedIn_data()
    {
        QTest::addColumn<QStringList>("tools");
        QTest::addColumn<bool>("codexSignedIn");
        QTest::addColumn<bool>("canContinue");
        QTest::addColumn<QString>("footer");
        QTest::newRow("Codex alone") << QStringList{"git", "node", "codex"} << true << true
                                     << "Everything Corvane needs is in place.";
        QTest::newRow("Codex installed, not signed in") << QStringList{"git", "node", "codex"} << false << false
                                                        << "Connect Claude or ChatGPT to continue.";
        QTest::newRow("signed in, Codex gone") << QStringList{"git", "node"} << true << false
                                               << "Connect Claude or ChatGPT to continue.";
    }

    void continueNeedsOneAgentSignedIn()
    {
        QFETCH(QStringList, tools);
        QFETCH(bool, codexSignedIn);
        QFETCH(bool, canContinue);
        QFETCH(QString, footer);
        installTools(tools);
        if (codexSignedIn)
            signInToCodex();
        const auto m = model();
        revalidate(*m);
        QVERIFY(m->isOk("git") && m->isOk("node"));
        QVERIFY(!m->isOk("claude-login")); // no claude to ask
        // No session bus here: the notifications row cannot be satisfied and is not held against us.
        QCOMPARE(m->item("notifications")->state, State::missing);
        QVERIFY(!m->item("notifications")->attainable);
        QVERIFY(m->allRequiredSatisfied());
        QCOMPARE(m->canContinue(), canContinue);
        QCOMPARE(m->footerText(), footer);
    }

    void requiredRowKeepsContinueClosed()
    {
        installTools({"node", "codex"});
        signInToCodex();
        QList<Item> items = m_machine->items();
        items[0].checkPaths = {m_machine->path("nowhere/corvane-missing-git")};
        const auto m = model(items);
        revalidate(*m);
        QCOMPARE(m->item("git")->state, State::missing);
        QVERIFY(m->isOk("codex") && m->isOk("codex-login"));
        QVERIFY(!m->allRequiredSatisfied());
        QVERIFY(!m->canContinue());
        QCOMPARE(m->footerText(), QStringLiteral("Still needed: Git."));
        // The microphone never matters either way.
        QVERIFY(!m->item("microphone")->isRequired);
    }

    void actionEndsAsTheCheckAfterItSays_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<bool>("createsTool");
        QTest::addColumn<State>("state");
        QTest::addColumn<QString>("failure");
        QTest::newRow("installs it") << "echo installing" << true << State::ok << QString();
        QTest::newRow("exits 0, nothing there") << "true" << false << State::failed
                                                << "Validation did not detect Probe Tool after the action completed.";
        QTest::newRow("fails quietly") << "exit 1" << false << State::failed << "Action failed.";
        QTest::newRow("fails with output") << "echo 'E: no space left'; exit 100" << false << State::failed
                                           << "E: no space left";
        QTest::newRow("prints but installs nothing") << "echo done" << false << State::failed << "done";
    }

    void actionEndsAsTheCheckAfterItSays()
    {
        QFETCH(QString, command);
        QFETCH(bool, createsTool);
        QFETCH(State, state);
        QFETCH(QString, failure);
        const QString tool = m_machine->path("fixed/corvane-probe-tool");
        QString script = command;
        if (createsTool)
            script += QStringLiteral("; mkdir -p '%1' && touch '%2'").arg(QFileInfo(tool).path(), tool);
        Item row = test::dependencyRow("probe", {tool}, script);
        row.title = "Probe Tool";
        const auto m = model({row});
        revalidate(*m);
        QCOMPARE(m->item("probe")->state, State::missing);
        QCOMPARE(m->actionTitle("probe"), QStringLiteral("Install"));

        m->act("probe");
        QCOMPARE(m->item("probe")->state, State::installing);
        QCOMPARE(m->currentlyInstallingId().value_or(QString()), QStringLiteral("probe"));
        QCOMPARE(m->actionTitle("probe"), QStringLiteral("Installing…"));
        QVERIFY(!m->canAct("probe"));
        QTRY_VERIFY_WITH_TIMEOUT(m->item("probe")->state != State::installing, 30000);
        QCOMPARE(m->item("probe")->state, state);
        QCOMPARE(m->item("probe")->failureText, failure);
        QVERIFY(!m->currentlyInstallingId());
        if (state == State::ok) {
            QVERIFY(m->item("probe")->failureLog.isEmpty());
        } else {
            QCOMPARE(m->actionTitle("probe"), QStringLiteral("Retry"));
            QVERIFY(m->canAct("probe"));
        }
    }

    void outputReachesTheLogAsItArrives()
    {
        const QString marker = m_machine->path("go");
        Item row = test::dependencyRow("probe", {m_machine->path("nowhere/corvane-probe-tool")},
                                       QStringLiteral("echo first; while [ ! -e '%1' ]; do sleep 0.05; done; echo second; exit 2").arg(marker));
        const auto m = model({row});
        m->act("probe");
        QTRY_COMPARE_WITH_TIMEOUT(m->item("probe")->failureLog, QStringLiteral("first\n"), 10000);
        QCOMPARE(m->item("probe")->state, State::installing);
        QVERIFY(test::writeFile(marker, ""));
        QTRY_COMPARE_WITH_TIMEOUT(m->item("probe")->state, State::failed, 10000);
        QCOMPARE(m->item("probe")->failureText, QStringLiteral("first\nsecond"));
        // Checked again (a window came to the front): still missing, and what went wrong stays.
        revalidate(*m);
        QCOMPARE(m->item("probe")->state, State::missing);
        QCOMPARE(m->item("probe")->failureText, QStringLiteral("first\nsecond"));
    }

    void revalidationLeavesARowBeingActedOnAlone()
    {
        const QString tool = m_machine->path("fixed/corvane-probe-tool");
        const QString marker = m_machine->path("go");
        Item slow = test::dependencyRow("slow", {tool},
                                        QStringLiteral("while [ ! -e '%1' ]; do sleep 0.05; done; touch '%2'").arg(marker, tool));
        Item other = test::dependencyRow("other", {m_machine->path("nowhere/corvane-other-tool")});
        const auto m = model({slow, other});
        revalidate(*m);
        m->act("slow");
        QVERIFY(!m->canAct("other")); // one action at a time
        revalidate(*m);
        QCOMPARE(m->item("slow")->state, State::installing);
        QCOMPARE(m->item("other")->state, State::missing);
        QVERIFY(test::writeFile(tool, "")); // there before the action ends: a revalidation must not claim it
        QVERIFY(test::writeFile(marker, ""));
        QTRY_COMPARE_WITH_TIMEOUT(m->item("slow")->state, State::ok, 10000);
        QVERIFY(m->canAct("other"));
    }

    void aNewRevalidationDropsTheOneBefore()
    {
        const auto m = model({test::dependencyRow("probe", {m_machine->path("nowhere/corvane-probe-tool")})});
        int answers = 0;
        connect(m.get(), &OnboardingChecklistViewModel::itemChanged, this, [&] {
            if (m->item("probe")->state == State::missing)
                ++answers;
        });
        m->revalidateAll();
        m->revalidateAll();
        m->revalidateAll();
        QTRY_VERIFY_WITH_TIMEOUT(settled(*m), 10000);
        QTest::qWait(100);
        QCOMPARE(answers, 1);
    }

    void rowPresentation_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<State>("dependencyState");
        QTest::addColumn<State>("state");
        QTest::addColumn<QString>("requirement");
        QTest::addColumn<QString>("action");
        QTest::newRow("Claude Code waits for Node.js") << "claude" << State::missing << State::missing << "Requires Node.js" << "";
        QTest::newRow("Claude Code to install") << "claude" << State::ok << State::missing << "" << "Install";
        QTest::newRow("Claude sign-in waits for Claude Code") << "claude-login" << State::checking << State::missing
                                                             << "Requires Claude Code" << "";
        QTest::newRow("Claude sign-in") << "claude-login" << State::ok << State::missing << "" << "Sign In";
        QTest::newRow("ChatGPT sign-in") << "codex-login" << State::ok << State::missing << "" << "Login";
        QTest::newRow("ChatGPT sign-in failed") << "codex-login" << State::ok << State::failed << "" << "Retry";
        QTest::newRow("notifications") << "notifications" << State::ok << State::missing << "" << "Grant";
        QTest::newRow("microphone") << "microphone" << State::ok << State::missing << "" << "Grant";
        QTest::newRow("installing") << "git" << State::ok << State::installing << "" << "Installing…";
        QTest::newRow("ok offers nothing") << "git" << State::ok << State::ok << "" << "";
        QTest::newRow("checking offers nothing") << "node" << State::ok << State::checking << "" << "";
        QTest::newRow("notifications unavailable here") << "notifications-unavailable" << State::ok << State::missing << "" << "";
    }

    void rowPresentation()
    {
        QFETCH(QString, id);
        QFETCH(State, dependencyState);
        QFETCH(State, state);
        QFETCH(QString, requirement);
        QFETCH(QString, action);
        QList<Item> items = m_machine->items();
        if (id == "notifications-unavailable") {
            id = "notifications";
            items[6].attainable = false;
        }
        for (Item &row : items) {
            if (row.id == id)
                row.state = state;
            else
                row.state = dependencyState;
        }
        const auto m = model(items);
        QCOMPARE(m->requirementText(id), requirement);
        QCOMPARE(m->actionTitle(id), action);
    }

    void aWindowComingToTheFrontChecksAgain()
    {
        const QString tool = m_machine->path("fixed/corvane-probe-tool");
        const auto m = model({test::dependencyRow("probe", {tool})});
        revalidate(*m);
        QCOMPARE(m->item("probe")->state, State::missing);
        m->observeWindowActivation();
        QVERIFY(test::writeFile(tool, "")); // installed from a terminal meanwhile
        QWindow window;
        window.show();
        window.requestActivate();
        QTRY_COMPARE_WITH_TIMEOUT(m->item("probe")->state, State::ok, 10000);

        // Once onboarding is left, windows coming and going change nothing.
        m->stopObserving();
        QFile::remove(tool);
        QWindow other;
        other.show();
        other.requestActivate();
        QTRY_VERIFY(QGuiApplication::focusWindow() == &other);
        QTest::qWait(100);
        QCOMPARE(m->item("probe")->state, State::ok);
    }

    void leavingEndsARunningInstall()
    {
        QString output;
        Item row = test::dependencyRow("probe", {m_machine->path("nowhere/corvane-probe-tool")}, "sleep 30 & echo $!; wait");
        auto m = model({row});
        m->act("probe");
        QTRY_VERIFY_WITH_TIMEOUT(m->item("probe")->failureLog.endsWith('\n'), 10000);
        const pid_t sleeper = pid_t(m->item("probe")->failureLog.trimmed().toLongLong());
        QVERIFY(sleeper > 0 && ::kill(sleeper, 0) == 0);
        m.reset();
        QTRY_VERIFY_WITH_TIMEOUT(::kill(sleeper, 0) != 0, 5000);
    }
};

QTEST_MAIN(OnboardingChecklistTest)
#include "tst_onboarding_checklist.moc"
