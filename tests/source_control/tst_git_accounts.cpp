// The Source Control preferences' logic against real git configuration files, real credential
// helpers (git's "store" one, and the libsecret one over gnome-keyring when the test runs inside
// its own session bus) and the stand-in for GitHub's /user.
#include "GitSandbox.h"
#include "support/FakeGitHub.h"

#include "source_control/accounts/GitGlobalConfig.h"
#include "source_control/accounts/GitSettingsModel.h"
#include "source_control/accounts/GlobalIgnoreFile.h"
#include "source_control/accounts/SourceControlAccounts.h"

#include <QDirIterator>
#include <QSignalSpy>
#include <QTest>

using namespace corvane;
using namespace corvane::test;

namespace {

QString readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QStringLiteral("<missing>");
}

QString config(const GitSandbox &sandbox, const QString &key)
{
    return QString::fromUtf8(sandbox.git(sandbox.root(), {"config", "--global", key}, true)).trimmed();
}

// One opening of the page, waited for to the end.
struct Page
{
    explicit Page(const QString &apiBase, int timeoutMs = 60000, const QString &helper = {})
        : accounts(SourceControlAccounts::Options{apiBase, helper, {}, timeoutMs})
    {
        accounts.load();
        QTRY_VERIFY_WITH_TIMEOUT(!accounts.isLoadingAccounts(), 20000);
    }
    std::optional<QString> add(const QString &name, const QString &token)
    {
        std::optional<std::optional<QString>> answer;
        accounts.addAccount(name, token, [&](std::optional<QString> error) { answer = error; });
        if (!QTest::qWaitFor([&] { return answer.has_value(); }, 20000))
            return QStringLiteral("<no answer>");
        return *answer;
    }
    QStringList listed() const
    {
        QStringList rows;
        for (const SCAccount &account : accounts.accounts())
            rows << QStringLiteral("%1 %2 %3 %4").arg(title(account.provider), account.host, account.username,
                                                     account.displayName.value_or(QStringLiteral("-")));
        return rows;
    }
    SourceControlAccounts accounts;
};

} // namespace

class TestGitAccounts : public QObject
{
    Q_OBJECT

private slots:
    void ignoreFile_data()
    {
        QTest::addColumn<QByteArray>("original");
        QTest::addColumn<QStringList>("patterns");
        QTest::addColumn<QStringList>("edited");
        QTest::addColumn<QByteArray>("written");
        QTest::newRow("comments and blanks are not patterns")
            << QByteArray("# editors\n\n  *.swp  \n.idea/\n#.env\n") << QStringList{"*.swp", ".idea/"}
            << QStringList{"*.swp", ".idea/", "*.log"} << QByteArray("# editors\n\n  *.swp  \n.idea/\n#.env\n*.log\n");
        QTest::newRow("a removed pattern goes, comments stay")
            << QByteArray("# a\n*.swp\n# b\n.idea/") << QStringList{"*.swp", ".idea/"}
            << QStringList{".idea/"} << QByteArray("# a\n# b\n.idea/\n");
        QTest::newRow("a duplicate line is written once")
            << QByteArray("*.o\n*.o\n") << QStringList{"*.o", "*.o"} << QStringList{"*.o"} << QByteArray("*.o\n");
        QTest::newRow("first pattern of a new file")
            << QByteArray() << QStringList{} << QStringList{"*.log"} << QByteArray("*.log\n");
        QTest::newRow("last pattern removed") << QByteArray("*.log\n") << QStringList{"*.log"} << QStringList{}
                                              << QByteArray();
    }
    void ignoreFile()
    {
        QFETCH(QByteArray, original);
        QFETCH(QStringList, patterns);
        QFETCH(QStringList, edited);
        QFETCH(QByteArray, written);
        QCOMPARE(globalignore::parsePatterns(original).value_or(QStringList{"<not utf-8>"}), patterns);
        QCOMPARE(globalignore::rewrite(original, edited), written);
    }

    void ignoreFileEdges()
    {
        QVERIFY(!globalignore::parsePatterns("ok\n\xff\xfe\n"));
        QCOMPARE(globalignore::expandTilde("~/.gitignore", "/home/ada"), QStringLiteral("/home/ada/.gitignore"));
        QCOMPARE(globalignore::expandTilde("~other/x", "/home/ada"), QStringLiteral("~other/x"));
        QCOMPARE(GitGlobalConfig::approveRequest("github.com", "ada", "t0k"),
                 QByteArray("protocol=https\nhost=github.com\nusername=ada\npassword=t0k\n\n"));
        QCOMPARE(GitGlobalConfig::rejectRequest("github.com", "ada"),
                 QByteArray("protocol=https\nhost=github.com\nusername=ada\n\n"));
    }

    // The whole life of an account in git's plain "store" helper: none, added, listed again by a
    // fresh page (a restart), its token expired, removed.
    void accountLifecycle()
    {
        GitSandbox sandbox;
        FakeGitHub github(QStringLiteral("user.json"));
        QVERIFY2(github.isRunning(), qPrintable(github.error()));
        sandbox.git(sandbox.root(), {"config", "--global", "credential.helper", "store"});
        {
            Page page(github.url());
            QVERIFY(page.listed().isEmpty());
            QVERIFY(page.accounts.hasCredentialHelper());
            QVERIFY(github.requests().isEmpty()); // nothing stored: nothing asked
            QCOMPARE(page.add("ada", "ghp_nope"), QStringLiteral("Authentication failed. Check your token and try again."));
            QVERIFY(page.listed().isEmpty());
            QCOMPARE(page.add("ada", "  ghp_good\n"), std::nullopt);
            QCOMPARE(page.listed(), QStringList{"GitHub github.com ada octocat"});
        }
        const QList<QVariantMap> requests = github.requests();
        QCOMPARE(requests.size(), 2);
        const QVariantMap headers = requests.last().value("headers").toMap();
        QCOMPARE(headers.value("Authorization").toString(), QStringLiteral("Bearer ghp_good"));
        QCOMPARE(headers.value("X-GitHub-Api-Version").toString(), QStringLiteral("2022-11-28"));
        QCOMPARE(headers.value("Accept").toString(), QStringLiteral("application/vnd.github+json"));

        Page reopened(github.url());
        QCOMPARE(reopened.listed(), QStringList{"GitHub github.com ada octocat"});

        // Another token under the same name: GitHub refuses it, the account is still listed.
        sandbox.gitRun(sandbox.root(), {"credential", "approve"},
                       GitGlobalConfig::approveRequest("github.com", "ada", "ghp_expired"));
        Page expired(github.url());
        QCOMPARE(expired.listed(), QStringList{"GitHub github.com ada -"});

        expired.accounts.removeAccount(expired.accounts.accounts().constFirst().id);
        QVERIFY(expired.listed().isEmpty());
        QTRY_VERIFY(sandbox.gitRun(sandbox.root(), {"credential", "fill"}, GitGlobalConfig::fillRequest("github.com"))
                        .exitCode != 0);
        QVERIFY(Page(github.url()).listed().isEmpty());
    }

    void signInWithoutAnAnswer_data()
    {
        QTest::addColumn<bool>("serverUp");
        QTest::addColumn<QString>("error");
        QTest::newRow("refused") << false << QStringLiteral("Connection refused");
        QTest::newRow("timed out") << true << QStringLiteral("GitHub did not answer within 1 seconds.");
    }
    void signInWithoutAnAnswer()
    {
        QFETCH(bool, serverUp);
        QFETCH(QString, error);
        GitSandbox sandbox;
        sandbox.git(sandbox.root(), {"config", "--global", "credential.helper", "store"});
        FakeGitHub github(QStringLiteral("user.json"));
        const QString base = serverUp ? github.url() : QStringLiteral("http://127.0.0.1:9");
        Page page(base, 1000);
        const std::optional<QString> answer = page.add("ada", "ghp_slow");
        QVERIFY2(answer && answer->contains(error), qPrintable(answer.value_or("<added>")));
        QVERIFY(!page.accounts.isValidating());
        QVERIFY(!QFile::exists(sandbox.path("home/.git-credentials"))); // nothing reached the store
    }

    void globalOptionsAndAuthor()
    {
        GitSandbox sandbox;
        sandbox.git(sandbox.root(), {"config", "--global", "pull.rebase", "true"});
        Page page(QStringLiteral("http://127.0.0.1:9"));
        QVERIFY(page.accounts.preferRebaseOnPull());
        QVERIFY(!page.accounts.showMergeCommitsInLog());
        QVERIFY(!page.accounts.hasCredentialHelper());
        page.accounts.setPreferRebaseOnPull(false);
        page.accounts.setShowMergeCommitsInLog(true);

        GitSettingsModel settings;
        settings.load();
        QTRY_VERIFY(settings.isLoaded());
        QCOMPARE(config(sandbox, "pull.rebase"), QStringLiteral("false"));
        QCOMPARE(config(sandbox, "log.showMerges"), QStringLiteral("true"));
        QCOMPARE(settings.authorName(), QStringLiteral("Sandbox User"));
        settings.editName(QStringLiteral("  "));
        settings.editEmail(QStringLiteral(" ada@example.org "));
        QVERIFY(settings.nameDirty());
        settings.submitName();
        QVERIFY(!settings.nameDirty());
        settings.done();
        QTRY_COMPARE(config(sandbox, "user.email"), QStringLiteral("ada@example.org"));
        QCOMPARE(sandbox.gitRun(sandbox.root(), {"config", "--global", "user.name"}).exitCode, 1); // unset, not ""
    }

    void ignoredPatterns()
    {
        GitSandbox sandbox;
        GitSettingsModel settings;
        settings.load();
        QTRY_VERIFY(settings.isLoaded());
        QVERIFY(settings.ignoredPatterns().isEmpty());
        QVERIFY(!settings.addPattern(QStringLiteral("   ")));
        QVERIFY(settings.addPattern(QStringLiteral(" *.log ")));
        QVERIFY(!settings.addPattern(QStringLiteral("*.log")));
        QTRY_COMPARE(config(sandbox, "core.excludesFile"), QStringLiteral("~/.gitignore"));
        const QString file = sandbox.path("home/.gitignore");
        QCOMPARE(readFile(file), QStringLiteral("*.log\n"));

        // The user's comments survive our edits; a link stays a link.
        QVERIFY(QFile::rename(file, sandbox.path("dotfiles-ignore")));
        QVERIFY(QFile::link(sandbox.path("dotfiles-ignore"), file));
        sandbox.write(sandbox.path("dotfiles-ignore"), "# mine\n*.log\n\n.idea/\n");
        GitSettingsModel again;
        again.load();
        QTRY_VERIFY(again.isLoaded());
        QCOMPARE(again.ignoredPatterns(), (QStringList{"*.log", ".idea/"}));
        again.removePattern(QStringLiteral("*.log"));
        QVERIFY(again.addPattern(QStringLiteral("build/")));
        QVERIFY(QFileInfo(file).isSymLink());
        QCOMPARE(readFile(file), QStringLiteral("# mine\n\n.idea/\nbuild/\n"));

        // A file that is not UTF-8 is not ours to rewrite.
        sandbox.write(sandbox.path("dotfiles-ignore"), "*.log\n\xff\n");
        GitSettingsModel broken;
        broken.load();
        QTRY_VERIFY(broken.isLoaded());
        QVERIFY(broken.isIgnoreFileReadOnly());
        QVERIFY(!broken.addPattern(QStringLiteral("x")));
        QCOMPARE(readFile(file).toUtf8(), QByteArray("*.log\n\xef\xbf\xbd\n"));
    }

    // Runs only inside a session bus with an unlocked gnome-keyring (see CMakeLists.txt).
    void secretStore()
    {
        if (qEnvironmentVariableIsEmpty("CORVANE_TEST_KEYRING"))
            QSKIP("needs a session bus with gnome-keyring");
#ifndef CORVANE_LIBSECRET_HELPER
        QSKIP("git's libsecret helper was not built");
#else
        GitSandbox sandbox;
        FakeGitHub github(QStringLiteral("user.json"));
        const QString token = QStringLiteral("ghp_good");
        {
            Page page(github.url(), 60000, QStringLiteral(CORVANE_LIBSECRET_HELPER));
            QVERIFY(page.accounts.offersSecretStore());
            page.accounts.useSecretStore();
            QTRY_VERIFY(page.accounts.hasCredentialHelper());
            QVERIFY(!page.accounts.offersSecretStore());
            QCOMPARE(page.add("ada", token), std::nullopt);
        }
        QCOMPARE(Page(github.url()).listed(), QStringList{"GitHub github.com ada octocat"});
        // Nowhere in our files or git's is the token written in the clear.
        QDirIterator files(sandbox.root(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            const QString path = files.next();
            QVERIFY2(!readFile(path).contains(token), qPrintable(path));
        }
        Page page(github.url());
        page.accounts.removeAccount(page.accounts.accounts().constFirst().id);
        QTRY_VERIFY(Page(github.url()).listed().isEmpty());
#endif
    }
};

QTEST_GUILESS_MAIN(TestGitAccounts)
#include "tst_git_accounts.moc"
