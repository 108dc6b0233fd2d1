// The list parsers on canned output: branches, stale branches, worktrees, stashes, remotes,
// line counts, GitHub remotes and credentials.
#include "Describe.h"

#include "source_control/BranchListParser.h"
#include "source_control/GitHubParsers.h"
#include "source_control/ListParsers.h"
#include "source_control/NumstatParser.h"
#include "source_control/ParserSupport.h"

#include <QTest>

using namespace corvane;
using corvane::test::describe;

class ListParsersTest : public QObject
{
    Q_OBJECT

private slots:
    void branches_data()
    {
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<QString>("expected");
        QTest::newRow("current with upstream") << QByteArray("main|*|origin/main\n") << "*main -> origin/main";
        QTest::newRow("not current, no upstream") << QByteArray("feature| |\n") << "feature";
        QTest::newRow("slashes and unicode")
            << QByteArray("feature/\xc3\xbc\x62\x65r|*|\nfix/a/b| |origin/fix/a/b\n") << "*feature/\u00fcber; fix/a/b -> origin/fix/a/b";
        QTest::newRow("line without a bar") << QByteArray("lonely\nmain|*|\n") << "*main";
        QTest::newRow("empty lines") << QByteArray("\n\nmain| |\n\n") << "main";
    }

    void branches()
    {
        QFETCH(QByteArray, output);
        QFETCH(QString, expected);
        QCOMPARE(describe(parseBranchList(output)), expected);
    }

    void remoteBranches_data()
    {
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<QString>("expected");
        QTest::newRow("HEAD left out")
            << QByteArray("origin/HEAD\norigin/main\norigin/feature/x\n") << "origin/main (remote); origin/feature/x (remote)";
        QTest::newRow("trimmed, empty skipped") << QByteArray("  upstream/dev\t\n \n") << "upstream/dev (remote)";
    }

    void remoteBranches()
    {
        QFETCH(QByteArray, output);
        QFETCH(QString, expected);
        QCOMPARE(describe(parseRemoteBranchList(output)), expected);
    }

    void staleBranches_data()
    {
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<QString>("expected");
        // "now" is 2024-06-30 12:00 UTC; the cut-off for 90 days is 2024-04-01 12:00 UTC.
        QTest::newRow("older than the cut-off")
            << QByteArray("old|2024-01-01 12:00:00 +0000\n") << "old 181d";
        QTest::newRow("exactly at the cut-off is kept out")
            << QByteArray("edge|2024-04-01 12:00:00 +0000\n") << "";
        QTest::newRow("one second before the cut-off")
            << QByteArray("edge|2024-04-01 11:59:59 +0000\n") << "edge 90d";
        QTest::newRow("time zone taken into account")
            << QByteArray("east|2024-04-01 13:30:00 +0200\nwest|2024-04-01 11:30:00 -0200\n") << "east 90d";
        QTest::newRow("recent branch") << QByteArray("new|2024-06-29 12:00:00 +0000\n") << "";
        QTest::newRow("unreadable lines skipped")
            << QByteArray("nodate|\n|2024-01-01 12:00:00 +0000\nbad|yesterday\nold|2024-01-01 12:00:00 +0000\n") << "old 181d";
        QTest::newRow("git's order kept")
            << QByteArray("a|2023-01-01 00:00:00 +0000\nb|2023-06-01 00:00:00 +0000\n") << "a 546d; b 395d";
    }

    void staleBranches()
    {
        QFETCH(QByteArray, output);
        QFETCH(QString, expected);
        const QDateTime now(QDate(2024, 6, 30), QTime(12, 0), Qt::UTC);
        QCOMPARE(describe(parseStaleBranches(output, now, 90)), expected);
    }

    void worktrees_data()
    {
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<QString>("expected");
        QTest::newRow("main checkout and a linked one")
            << QByteArray("worktree /r\nHEAD abc\nbranch refs/heads/main\n\nworktree /w/one\nHEAD abc\nbranch refs/heads/feature/x\n\n")
            << "/r [main]; /w/one [feature/x]";
        QTest::newRow("detached") << QByteArray("worktree /w\nHEAD abc\ndetached\n\n") << "/w [detached]";
        QTest::newRow("bare") << QByteArray("worktree /r.git\nbare\n\n") << "/r.git [detached]";
        QTest::newRow("locked") << QByteArray("worktree /w\nHEAD abc\nbranch refs/heads/x\nlocked\n") << "/w [x] locked";
        QTest::newRow("locked with a reason is not locked")
            << QByteArray("worktree /w\nHEAD abc\nlocked because of a mount\n") << "/w [detached]";
        QTest::newRow("path with spaces") << QByteArray("worktree /my work/tree\nbranch refs/heads/a\n") << "/my work/tree [a]";
        QTest::newRow("nothing before the first worktree line ignored")
            << QByteArray("branch refs/heads/x\nlocked\nworktree /w\n") << "/w [detached]";
    }

    void worktrees()
    {
        QFETCH(QByteArray, output);
        QFETCH(QString, expected);
        QCOMPARE(describe(parseWorktreeList(output)), expected);
    }

    void stashes_data()
    {
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<QString>("expected");
        QTest::newRow("message after the first colon")
            << QByteArray("stash@{0}: WIP on main: abc fix\nstash@{1}: On main: second\n") << "0: WIP on main: abc fix; 1: On main: second";
        QTest::newRow("line without a colon") << QByteArray("odd line\n") << "0: odd line";
        QTest::newRow("none") << QByteArray("") << "";
    }

    void stashes()
    {
        QFETCH(QByteArray, output);
        QFETCH(QString, expected);
        QCOMPARE(describe(parseStashList(output)), expected);
    }

    void remotes_data()
    {
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<QString>("expected");
        QTest::newRow("fetch and push lines fold")
            << QByteArray("origin\tgit@github.com:o/r.git (fetch)\norigin\tgit@github.com:o/r.git (push)\n")
            << "origin git@github.com:o/r.git";
        QTest::newRow("first line wins, order of appearance")
            << QByteArray("up\t/a (fetch)\norigin\t/b (fetch)\nup\t/c (push)\n") << "up /a; origin /b";
        QTest::newRow("line without a tab skipped") << QByteArray("broken\norigin\t/x (fetch)\n") << "origin /x";
    }

    void remotes()
    {
        QFETCH(QByteArray, output);
        QFETCH(QString, expected);
        QCOMPARE(describe(parseRemoteList(output)), expected);
    }

    void numstat_data()
    {
        QTest::addColumn<QByteArray>("unstaged");
        QTest::addColumn<QByteArray>("staged");
        QTest::addColumn<QString>("expected");
        QTest::newRow("staged and unstaged add up")
            << QByteArray("3\t1\ta.txt\n") << QByteArray("2\t2\ta.txt\n1\t0\tb.txt\n") << "a.txt +5 -3; b.txt +1 -0";
        QTest::newRow("binary file gives nothing") << QByteArray("-\t-\timage.png\n4\t0\tc.txt\n") << QByteArray() << "c.txt +4 -0";
        QTest::newRow("short line skipped") << QByteArray("3\t1\n") << QByteArray() << "";
        QTest::newRow("-z: path with tab and newline")
            << QByteArray("1\t2\ttab\there\0" "3\t0\tnew\nline\0", 26) << QByteArray() << "new\nline +3 -0; tab\there +1 -2";
        QTest::newRow("-z: rename under its new path")
            << QByteArray("1\t1\t\0old name\0new name\0", 23) << QByteArray() << "new name +1 -1";
        QTest::newRow("-z: binary") << QByteArray("-\t-\tbin.dat\0", 12) << QByteArray() << "";
    }

    void numstat()
    {
        QFETCH(QByteArray, unstaged);
        QFETCH(QByteArray, staged);
        QFETCH(QString, expected);
        DiffStats stats = parseNumstat(unstaged);
        addNumstat(staged, stats);
        QCOMPARE(describe(stats), expected);
    }

    void counts_data()
    {
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<int>("expected");
        QTest::newRow("number and newline") << QByteArray("42\n") << 42;
        QTest::newRow("surrounding white space") << QByteArray("  7 \n") << 7;
        QTest::newRow("empty") << QByteArray("") << 0;
        QTest::newRow("not a number") << QByteArray("fatal\n") << 0;
    }

    void counts()
    {
        QFETCH(QByteArray, output);
        QFETCH(int, expected);
        QCOMPARE(gitparse::parseCount(output), expected);
    }

    void gitHubRepository_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("expected");
        QTest::newRow("SSH with .git") << "git@github.com:octo/hello.git" << "octo/hello";
        QTest::newRow("SSH without .git") << "git@github.com:octo/hello" << "octo/hello";
        QTest::newRow("HTTPS with .git") << "https://github.com/octo/hello.git" << "octo/hello";
        QTest::newRow("HTTPS with trailing slash") << "https://github.com/octo/hello/" << "octo/hello";
        QTest::newRow("SSH URL form") << "ssh://git@github.com/octo/hello.git" << "octo/hello";
        QTest::newRow("SSH without a path")
            << "git@github.com:" << "1: Cannot parse GitHub owner/repo from SSH URL: git@github.com:";
        QTest::newRow("HTTPS with owner only")
            << "https://github.com/octo" << "1: Cannot parse GitHub owner/repo from HTTPS URL: https://github.com/octo";
        QTest::newRow("other host")
            << "https://gitlab.com/octo/hello.git" << "1: Remote 'origin' is not a GitHub URL: https://gitlab.com/octo/hello.git";
    }

    void gitHubRepository()
    {
        QFETCH(QString, url);
        QFETCH(QString, expected);
        const GitResult<GitHubRepository> parsed = parseGitHubRepository(url, "origin");
        const QString actual = parsed ? parsed->owner + u'/' + parsed->repo
                                      : QStringLiteral("%1: %2").arg(parsed.error().exitCode).arg(parsed.error().message);
        QCOMPARE(actual, expected);
    }

    void credentials_data()
    {
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<QString>("expected");
        QTest::newRow("username and password")
            << QByteArray("protocol=https\nhost=github.com\nusername=octo\npassword=ghp_x\n") << "octo:ghp_x";
        QTest::newRow("username without password") << QByteArray("username=octo\n") << "none";
        QTest::newRow("empty password") << QByteArray("username=octo\npassword=\n") << "none";
        QTest::newRow("password without username") << QByteArray("password=ghp_x\n") << "none";
    }

    void credentials()
    {
        QFETCH(QByteArray, output);
        QFETCH(QString, expected);
        const std::optional<GitCredentials> parsed = parseCredentialFill(output);
        QCOMPARE(parsed ? parsed->username + u':' + parsed->token : QStringLiteral("none"), expected);
    }

    void credentialRequest()
    {
        QCOMPARE(gitHubCredentialRequest({}), QByteArray("protocol=https\nhost=github.com\n\n"));
        QCOMPARE(gitHubCredentialRequest("octo"), QByteArray("protocol=https\nhost=github.com\nusername=octo\n\n"));
    }
};

QTEST_GUILESS_MAIN(ListParsersTest)
#include "tst_list_parsers.moc"
