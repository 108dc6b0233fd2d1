// The checklist's checks and actions on a made-up machine: tools placed where a user's
// installer would put them, a real login shell, real claude and codex sign-in files.
#include "accounts/ProfileService.h"
#include "accounts/onboarding/DesktopServices.h"
#include "accounts/onboarding/OnboardingShell.h"
#include "accounts/onboarding/OnboardingValidator.h"
#include "core/NotificationCenter.h"
#include "core/Paths.h"
#include "core/store/Store.h"
#include "support/OnboardingWaits.h"
#include "support/FakeModel.h"
#include "support/OnboardingMachine.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include <signal.h>

using namespace corvane;
using State = OnboardingChecklistItem::State;

namespace {

bool processExists(qint64 pid)
{
    return ::kill(pid_t(pid), 0) == 0;
}

OnboardingChecklistItem rowOf(const QList<OnboardingChecklistItem> &items, const QString &id)
{
    for (const auto &item : items)
        if (item.id == id)
            return item;
    qFatal("no row %s", qPrintable(id));
}

} // namespace

class OnboardingValidatorTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<test::OnboardingMachine> m_machine;
    std::unique_ptr<OnboardingValidator> m_validator;

    OnboardingChecklistItem probeRow() const
    {
        // A name no machine has, first looked for in a fixed place of the made-up machine.
        return test::dependencyRow("probe", {m_machine->path("fixed/corvane-probe-tool")});
    }

private slots:
    void init()
    {
        m_machine = std::make_unique<test::OnboardingMachine>();
        m_validator = std::make_unique<OnboardingValidator>(nullptr);
        m_validator->setEnvironment(m_machine->environment(), m_machine->home());
    }

    void cleanup()
    {
        m_validator.reset();
        m_machine.reset();
    }

    void dependencyIsFoundWhereInstallersPutIt_data()
    {
        QTest::addColumn<QString>("placed"); // relative to the machine's folder; empty: nowhere
        QTest::addColumn<bool>("executable");
        QTest::addColumn<bool>("found");
        QTest::newRow("fixed place") << "fixed/corvane-probe-tool" << true << true;
        QTest::newRow("fixed place, any file") << "fixed/corvane-probe-tool" << false << true;
        QTest::newRow("folder on PATH") << "path/corvane-probe-tool" << true << true;
        QTest::newRow("on PATH but not executable") << "path/corvane-probe-tool" << false << false;
        QTest::newRow("nvm version") << "home/.nvm/versions/node/v20.0.0/bin/corvane-probe-tool" << true << true;
        QTest::newRow("nvm folder not named v...") << "home/.nvm/versions/node/system/bin/corvane-probe-tool" << true << false;
        QTest::newRow("~/.local/bin") << "home/.local/bin/corvane-probe-tool" << true << true;
        QTest::newRow("~/.npm-global/bin") << "home/.npm-global/bin/corvane-probe-tool" << true << true;
        QTest::newRow("nowhere") << QString() << true << false;
    }

    void dependencyIsFoundWhereInstallersPutIt()
    {
        QFETCH(QString, placed);
        QFETCH(bool, executable);
        QFETCH(bool, found);
        if (!placed.isEmpty()) {
            QVERIFY(executable ? test::writeExecutable(m_machine->path(placed))
                               : test::writeFile(m_machine->path(placed), "data"));
        }
        const auto answer = test::checkNow(*m_validator, probeRow());
        QVERIFY(answer);
        QCOMPARE(onboarding::stateName(answer->state), onboarding::stateName(found ? State::ok : State::missing));
    }

    void claudeUnderNvmCountsAsInstalled()
    {
        const auto items = m_machine->items();
        const auto claude = rowOf(items, "claude");
        for (const QString &path : claude.checkPaths)
            if (!path.startsWith(m_machine->home()) && QFileInfo::exists(path))
                QSKIP("this machine has a claude of its own outside the test's home");
        QCOMPARE(test::checkNow(*m_validator, claude)->state, State::missing);
        QVERIFY(test::writeExecutable(m_machine->home() + "/.nvm/versions/node/v20.0.0/bin/claude"));
        QCOMPARE(test::checkNow(*m_validator, claude)->state, State::ok);
    }

    void claudeChosenInTheSettingsCountsAsInstalled()
    {
        const auto claude = rowOf(m_machine->items(), "claude");
        for (const QString &path : claude.checkPaths)
            if (!path.startsWith(m_machine->home()) && QFileInfo::exists(path))
                QSKIP("this machine has a claude of its own outside the test's home");
        const QString chosen = m_machine->path("tools/my-claude");
        m_validator->setToolPaths(chosen, QString());
        QCOMPARE(test::checkNow(*m_validator, claude)->state, State::missing); // chosen but not there
        QVERIFY(test::writeExecutable(chosen));
        QCOMPARE(test::checkNow(*m_validator, claude)->state, State::ok);
        // The choice is claude's alone.
        const auto codex = rowOf(m_machine->items(), "codex");
        m_validator->setToolPaths(QString(), chosen);
        QCOMPARE(test::checkNow(*m_validator, claude)->state, State::missing);
        QCOMPARE(test::checkNow(*m_validator, codex)->state, State::ok);
    }

    void shellMergesOutputAndReportsTheExit_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("output");
        QTest::addColumn<bool>("succeeded");
        QTest::newRow("both streams, in order") << "echo one; echo two >&2; echo three" << "one\ntwo\nthree\n" << true;
        QTest::newRow("non-zero exit") << "echo nope; exit 3" << "nope\n" << false;
        QTest::newRow("UTF-8 split across writes") << "printf 'caf\\303'; sleep 0.1; printf '\\251\\n'" << "café\n" << true;
        QTest::newRow("killed by a signal") << "kill -TERM $$" << "" << false;
    }

    void shellMergesOutputAndReportsTheExit()
    {
        QFETCH(QString, command);
        QFETCH(QString, output);
        QFETCH(bool, succeeded);
        const auto run = test::runNow(*m_validator, command);
        QVERIFY(run.finished);
        QCOMPARE(run.output, output);
        QCOMPARE(run.succeeded, succeeded);
    }

    void shellFindsTheUsersToolsAndLoadsNvm()
    {
        QVERIFY(test::writeExecutable(m_machine->home() + "/.nvm/versions/node/v18.2.0/bin/node"));
        QVERIFY(test::writeExecutable(m_machine->home() + "/.nvm/versions/node/v20.11.1/bin/node"));
        QVERIFY(test::writeFile(m_machine->home() + "/.nvm/nvm.sh", "export CORVANE_NVM_LOADED=yes\n"));
        const auto run = test::runNow(*m_validator, "echo \"$CORVANE_NVM_LOADED\"; echo \"$PATH\"");
        QVERIFY(run.succeeded);
        const QStringList lines = run.output.split('\n');
        QCOMPARE(lines.value(0), QStringLiteral("yes"));
        const QStringList path = lines.value(1).split(':');
        const QString home = m_machine->home();
        // Newest node first, then the user's folders, then the system's, then ours.
        QCOMPARE(path.mid(0, 4), QStringList({home + "/.nvm/versions/node/v20.11.1/bin", home + "/.nvm/versions/node/v18.2.0/bin",
                                              home + "/.local/bin", home + "/.npm-global/bin"}));
        QVERIFY(path.contains("/usr/bin"));
        QVERIFY(path.indexOf(m_machine->pathFolder()) > path.indexOf("/usr/bin"));
    }

    void shellThatCannotStartSaysWhy()
    {
        // A "bash" that is no program at all.
        const QString shell = m_machine->path("shells/bash");
        QVERIFY(test::writeExecutable(shell, QByteArray("\x7f" "ELF not really", 15)));
        QProcessEnvironment env = m_machine->environment();
        env.insert("SHELL", shell);
        m_validator->setEnvironment(env, m_machine->home());
        const auto run = test::runNow(*m_validator, "echo never");
        QVERIFY(run.finished);
        QVERIFY(!run.succeeded);
        QVERIFY2(run.output.startsWith("Failed to start: "), qPrintable(run.output));
        QVERIFY(run.output.endsWith('\n'));
    }

    void goingAwayEndsEverythingTheShellStarted()
    {
        QString output;
        bool done = false;
        m_validator->runShell("sleep 30 & echo $!; echo $$; wait", [&](const QString &text) { output += text; },
                              [&](bool) { done = true; });
        QTRY_COMPARE_WITH_TIMEOUT(output.count('\n'), 2, 10000);
        QCOMPARE(m_validator->runningShells(), 1);
        const QStringList pids = output.trimmed().split('\n');
        const qint64 sleeper = pids.value(0).toLongLong();
        const qint64 shell = pids.value(1).toLongLong();
        QVERIFY(processExists(sleeper) && processExists(shell));
        m_validator.reset();
        QTRY_VERIFY_WITH_TIMEOUT(!processExists(sleeper) && !processExists(shell), 5000);
        QVERIFY(!done);
    }

    void installOfGitWithoutPkexecSaysWhatToDo()
    {
        for (const QString &folder : onboarding::toolFolders(m_machine->home(), m_machine->pathFolder()))
            if (QFileInfo::exists(folder + "/pkexec"))
                QSKIP("pkexec is installed here; installing git would ask for a password");
        const auto run = test::performNow(*m_validator, rowOf(m_machine->items(), "git"));
        QVERIFY(run.finished);
        QVERIFY(!run.succeeded);
        QVERIFY2(run.output.contains("Install git with your package manager, e.g. sudo apt install git"), qPrintable(run.output));
    }

    void npmInstallFallsBackToTheUsersFolder_data()
    {
        QTest::addColumn<bool>("globalWritable");
        QTest::addColumn<QString>("row");
        QTest::addColumn<QString>("expected");
        QTest::newRow("claude, global folder writable") << true << "claude" << "i -g @anthropic-ai/claude-code";
        QTest::newRow("claude, global folder not writable") << false << "claude" << "i -g --prefix HOME/.local @anthropic-ai/claude-code";
        QTest::newRow("codex, global folder not writable") << false << "codex" << "i -g --prefix HOME/.local @openai/codex";
    }

    void npmInstallFallsBackToTheUsersFolder()
    {
        QFETCH(bool, globalWritable);
        QFETCH(QString, row);
        QFETCH(QString, expected);
        const auto item = rowOf(m_machine->items(), row);
        for (const QString &path : item.checkPaths)
            if (!path.startsWith(m_machine->home()) && QFileInfo::exists(path))
                QSKIP("this machine has the tool outside the test's home");
        // An npm of the user's own (found before the system's) that installs where it is told.
        const QString global = globalWritable ? m_machine->path("global") : QStringLiteral("/nonexistent/corvane-global");
        QDir().mkpath(m_machine->path("global"));
        const QByteArray npm = "#!/bin/sh\n"
                               "if [ \"$1\" = prefix ]; then echo '" + global.toUtf8() + "'; exit 0; fi\n"
                               "echo \"$*\" >> \"$HOME/npm-calls\"\n"
                               "bin=\"" + global.toUtf8() + "/bin\"\n"
                               "[ \"$3\" = --prefix ] && bin=\"$4/bin\"\n"
                               "mkdir -p \"$bin\" && printf '#!/bin/sh\\n' > \"$bin/" + row.toUtf8() + "\" && chmod +x \"$bin/" + row.toUtf8() + "\"\n"
                               "echo added 1 package\n";
        QVERIFY(test::writeExecutable(m_machine->home() + "/.local/bin/npm", npm));
        const auto run = test::performNow(*m_validator, item);
        QVERIFY2(run.succeeded, qPrintable(run.output));
        QCOMPARE(QString::fromUtf8(test::readFile(m_machine->home() + "/npm-calls")).trimmed(),
                 QString(expected).replace("HOME", m_machine->home()));
        QCOMPARE(run.output.contains("not writable"), !globalWritable);
        if (!globalWritable)
            QCOMPARE(test::checkNow(*m_validator, item)->state, State::ok); // ~/.local/bin is looked in
    }

    void codexSignInIsItsAuthFile_data()
    {
        QTest::addColumn<QByteArray>("authJson"); // empty: no file
        QTest::addColumn<bool>("inCodexHome");
        QTest::addColumn<bool>("signedIn");
        QTest::newRow("no auth.json") << QByteArray() << false << false;
        QTest::newRow("an API key") << QByteArray(R"({"auth_mode":"apikey","OPENAI_API_KEY":"sk-1"})") << false << true;
        QTest::newRow("empty key") << QByteArray(R"({"auth_mode":"apikey","OPENAI_API_KEY":""})") << false << false;
        QTest::newRow("not JSON") << QByteArray("garbage") << false << false;
        QTest::newRow("CODEX_HOME set") << QByteArray(R"({"auth_mode":"apikey","OPENAI_API_KEY":"sk-1"})") << true << true;
    }

    void codexSignInIsItsAuthFile()
    {
        QFETCH(QByteArray, authJson);
        QFETCH(bool, inCodexHome);
        QFETCH(bool, signedIn);
        QString folder = m_machine->home() + "/.codex";
        if (inCodexHome) {
            folder = m_machine->path("codex-home");
            QProcessEnvironment env = m_machine->environment();
            env.insert("CODEX_HOME", folder);
            m_validator->setEnvironment(env, m_machine->home());
        }
        if (!authJson.isEmpty())
            QVERIFY(test::writeFile(folder + "/auth.json", authJson));
        const auto answer = test::checkNow(*m_validator, rowOf(m_machine->items(), "codex-login"));
        QCOMPARE(answer->state, signedIn ? State::ok : State::missing);
    }

    void claudeSignInAsTheRealClaudeSeesIt()
    {
        if (test::FakeModel::claudePath().isEmpty())
            QSKIP("the pinned claude is not installed under .deps/npm (run scripts/setup.sh)");
        qunsetenv("ANTHROPIC_API_KEY");
        qunsetenv("CLAUDE_CONFIG_DIR");
        auto store = Store::open(paths::storeFile());
        QVERIFY(store.ok());
        NotificationCenter center;
        ProfileService profiles(store.value()->mainContext(), center);
        OnboardingValidator validator(&profiles);
        validator.setEnvironment(m_machine->environment(), m_machine->home());
        const auto login = rowOf(m_machine->items(), "claude-login");

        profiles.setClaudePath(m_machine->path("no/claude"));
        QCOMPARE(test::checkNow(validator, login)->state, State::missing);

        profiles.setClaudePath(test::FakeModel::claudePath());
        QCOMPARE(test::checkNow(validator, login)->state, State::missing); // a home never signed in

        // A key from a helper of the user's own settings is a sign-in as far as claude is concerned.
        const QJsonObject settings{{"apiKeyHelper", "echo sk-ant-onboarding"},
                                   {"env", QJsonObject{{"ANTHROPIC_BASE_URL", "http://127.0.0.1:9"},
                                                       {"CLAUDE_CODE_DISABLE_NONESSENTIAL_TRAFFIC", "1"}}}};
        QVERIFY(test::writeFile(m_machine->home() + "/.claude/settings.json", QJsonDocument(settings).toJson()));
        QCOMPARE(test::checkNow(validator, login)->state, State::ok);
    }

    void signInWithoutAWindowFails()
    {
        const auto run = test::performNow(*m_validator, rowOf(m_machine->items(), "claude-login"));
        QVERIFY(run.finished);
        QVERIFY(!run.succeeded);
        QVERIFY(run.output.contains("no window"));
    }

    void signInSheetTellsWhenItCloses_data()
    {
        QTest::addColumn<QString>("row");
        QTest::addColumn<int>("agent");
        QTest::newRow("Claude") << "claude-login" << int(SignInAgent::claude);
        QTest::newRow("ChatGPT") << "codex-login" << int(SignInAgent::chatGpt);
    }

    void signInSheetTellsWhenItCloses()
    {
        QFETCH(QString, row);
        QFETCH(int, agent);
        std::optional<SignInAgent> asked;
        std::function<void(bool)> close;
        m_validator->setSignInOpener([&](SignInAgent which, std::function<void(bool)> closed) {
            asked = which;
            close = std::move(closed);
            return true;
        });
        auto run = std::make_shared<test::ShellRun>();
        m_validator->perform(rowOf(m_machine->items(), row), [](const QString &) {}, [run](bool ok) {
            run->finished = true;
            run->succeeded = ok;
        });
        QCOMPARE(int(asked.value()), agent);
        QTest::qWait(20);
        QVERIFY(!run->finished); // the sheet is still open
        close(true);
        QVERIFY(run->finished && run->succeeded);
        close(false); // a second report changes nothing
        QVERIFY(run->succeeded);
    }

    void microphoneIsAnAudioInput()
    {
        const bool present = onboarding::hasAudioInput();
        const auto microphone = rowOf(m_machine->items(), "microphone");
        QCOMPARE(test::checkNow(*m_validator, microphone)->state, present ? State::ok : State::missing);
        const auto run = test::performNow(*m_validator, microphone);
        QCOMPARE(run.succeeded, present);
        QCOMPARE(run.output, present ? QString() : QStringLiteral("No microphone was found.\n"));
    }
};

QTEST_MAIN(OnboardingValidatorTest)
#include "tst_onboarding_validator.moc"
