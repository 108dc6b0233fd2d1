// What the sign-in sheet runs for each agent and profile: the login shell, the folder, and an
// environment in which one profile's keys never reach another's login.
#include "accounts/SignInCommand.h"
#include "core/records/Profile.h"

#include <QTemporaryDir>
#include <QtTest>

using namespace corvane;

namespace {

QString valueOf(const QStringList &environment, const QString &name)
{
    QString found; // the last entry wins, as for the child
    for (const QString &entry : environment)
        if (entry.startsWith(name + QLatin1Char('=')))
            found = entry.mid(name.size() + 1);
    return found;
}

} // namespace

class SignInCommandTest : public QObject
{
    Q_OBJECT

private slots:
    void command_data()
    {
        QTest::addColumn<bool>("claude");
        QTest::addColumn<bool>("named"); // a profile other than the default
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("folder"); // relative to the temporary home; "" is the home itself
        QTest::addColumn<QStringList>("present"); // NAME=value entries the child must get
        QTest::addColumn<QStringList>("absent");  // names it must not get

        QTest::newRow("claude, default profile")
            << true << false << "Sign in to Claude using the terminal below." << ".claude"
            << QStringList{"ANTHROPIC_API_KEY=sk-ours", "CLAUDE_CODE_X=1"} << QStringList{"CLAUDE_CONFIG_DIR", "OPENAI_API_KEY"};
        QTest::newRow("claude, named profile")
            << true << true << "Sign in to Claude for the \"Work\" profile." << "work"
            << QStringList{"CLAUDE_CONFIG_DIR=<home>/work", "CLAUDE_CODE_X=1"} << QStringList{"ANTHROPIC_API_KEY", "CODEX_HOME"};
        QTest::newRow("chatgpt, default profile")
            << false << false << "Sign in to ChatGPT using the terminal below." << ".codex"
            << QStringList{"OPENAI_API_KEY=sk-openai"} << QStringList{"CODEX_HOME", "ANTHROPIC_API_KEY", "CLAUDE_CODE_X"};
        QTest::newRow("chatgpt, named profile")
            << false << true << "Sign in to ChatGPT for the \"Work\" profile." << "work/codex"
            << QStringList{"CODEX_HOME=<home>/work/codex", "OPENAI_ORG=acme"} << QStringList{"OPENAI_API_KEY", "ANTHROPIC_API_KEY"};
    }

    void command()
    {
        QFETCH(bool, claude);
        QFETCH(bool, named);
        QFETCH(QString, text);
        QFETCH(QString, folder);
        QFETCH(QStringList, present);
        QFETCH(QStringList, absent);
        QTemporaryDir home;
        for (const char *dir : {".claude", ".codex", "work/codex"})
            QVERIFY(QDir(home.path()).mkpath(QLatin1String(dir)));
        Profile profile;
        profile.name = QStringLiteral("Work");
        profile.isDefault = !named;
        profile.configDirPath = named ? home.filePath("work") : home.filePath(".claude");
        profile.codexHomeDir = named ? home.filePath("work/codex") : home.filePath(".codex");
        QProcessEnvironment ours;
        ours.insert("PATH", "/opt/tools/bin");
        ours.insert("ANTHROPIC_API_KEY", "sk-ours");
        ours.insert("CLAUDE_CODE_X", "1");
        ours.insert("OPENAI_API_KEY", "sk-openai");
        ours.insert("OPENAI_ORG", "acme");
        ours.insert("DISPLAY", ":5");
        ours.insert("SECRET_OF_OURS", "x");

        const SignInCommand c = signin::command(claude ? SignInAgent::claude : SignInAgent::chatGpt, &profile,
                                                "/opt/it's/" + QString(claude ? "claude" : "codex"), ours, home.path());
        QCOMPARE(c.text, text);
        QCOMPARE(c.title, claude ? QStringLiteral("Sign in to Claude") : QStringLiteral("Sign in with ChatGPT"));
        QCOMPARE(c.program, QStringLiteral("/bin/bash")); // no SHELL of ours
        QCOMPARE(c.arguments.mid(0, 2), (QStringList{"-l", "-c"}));
        QCOMPARE(c.arguments.at(2), claude ? QStringLiteral("'/opt/it'\\''s/claude' auth login")
                                           : QStringLiteral("'/opt/it'\\''s/codex' login"));
        QCOMPARE(c.workingDirectory, folder.isEmpty() ? home.path() : home.filePath(folder));
        for (QString entry : present) {
            entry.replace("<home>", home.path());
            QCOMPARE(valueOf(c.environment, entry.section('=', 0, 0)), entry.section('=', 1));
        }
        for (const QString &name : absent)
            QVERIFY2(valueOf(c.environment, name).isEmpty(), qPrintable(name));
        QVERIFY(valueOf(c.environment, "SECRET_OF_OURS").isEmpty()); // a new environment, not ours
        QCOMPARE(valueOf(c.environment, "DISPLAY"), QStringLiteral(":5")); // the browser can open
        QCOMPARE(valueOf(c.environment, "PATH"), home.path() + "/.local/bin:" + home.path() +
                                                     "/.npm-global/bin:/opt/tools/bin:/usr/local/bin:/usr/bin:/bin");
    }

    void aMissingFolderFallsBackToHome()
    {
        QTemporaryDir home;
        Profile profile;
        profile.name = QStringLiteral("Gone");
        profile.configDirPath = home.filePath("removed");
        const SignInCommand c = signin::command(SignInAgent::claude, &profile, {}, {}, home.path());
        QCOMPARE(c.workingDirectory, home.path());
        QCOMPARE(c.arguments.at(2), QStringLiteral("claude auth login")); // left to the shell's PATH
    }
};

QTEST_GUILESS_MAIN(SignInCommandTest)
#include "tst_sign_in_command.moc"
