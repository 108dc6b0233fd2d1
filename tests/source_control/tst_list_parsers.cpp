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
    // Each parser's result as one line of text (see Describe.h); a failure as its exit code and
    // message.
    void parses_data()
    {
        QTest::addColumn<QString>("parser");
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char *parser, const char *name) -> QTestData & {
            return QTest::addRow("%s: %s", parser, name) << QString::fromLatin1(parser);
        };
        row("branches", "current with upstream") << QByteArray("main|*|origin/main\n") << "*main -> origin/main";
        row("branches", "not current, no upstream") << QByteArray("feature| |\n") << "feature";
        row("branches", "slashes and unicode")
            << QByteArray("feature/\xc3\xbc\x62\x65r|*|\nfix/a/b| |origin/fix/a/b\n") << "*feature/\u00fcber; fix/a/b -> origin/fix/a/b";
        row("branches", "line without a bar") << QByteArray("lonely\nmain|*|\n") << "*main";
        row("branches", "empty lines") << QByteArray("\n\nmain| |\n\n") << "main";
        row("remote branches", "HEAD left out")
            << QByteArray("origin/HEAD\norigin/main\norigin/feature/x\n") << "origin/main (remote); origin/feature/x (remote)";
        row("remote branches", "trimmed, empty skipped") << QByteArray("  upstream/dev\t\n \n") << "upstream/dev (remote)";
        // "now" is 2024-06-30 12:00 UTC; the cut-off for 90 days is 2024-04-01 12:00 UTC.
        row("stale branches", "older than the cut-off")
            << QByteArray("old|2024-01-01 12:00:00 +0000\n") << "old 181d";
        row("stale branches", "exactly at the cut-off is kept out")
            << QByteArray("edge|2024-04-01 12:00:00 +0000\n") << "";
        row("stale branches", "one second before the cut-off")
            << QByteArray("edge|2024-04-01 11:59:59 +0000\n") << "edge 90d";
        row("stale branches", "time zone taken into account")
            << QByteArray("east|2024-04-01 13:30:00 +0200\nwest|2024-04-01 11:30:00 -0200\n") << "east 90d";
        row("stale branches", "recent branch") << QByteArray("new|2024-06-29 12:00:00 +0000\n") << "";
        row("stale branches", "unreadable lines skipped")
            << QByteArray("nodate|\n|2024-01-01 12:00:00 +0000\nbad|yesterday\nold|2024-01-01 12:00:00 +0000\n") << "old 181d";
        row("stale branches", "git's order kept")
            << QByteArray("a|2023-01-01 00:00:00 +0000\nb|2023-06-01 00:00:00 +0000\n") << "a 546d; b 395d";
        row("worktrees", "main checkout and a linked one")
            << QByteArray("worktree /r\nHEAD abc\nbranch refs/heads/main\n\nworktree /w/one\nHEAD abc\nbranch refs/heads/feature/x\n\n")
            << "/r [main]; /w/one [feature/x]";
        row("worktrees", "detached") << QByteArray("worktree /w\nHEAD abc\ndetached\n\n") << "/w [detached]";
        row("worktrees", "bare") << QByteArray("worktree /r.git\nbare\n\n") << "/r.git [detached]";
        row("worktrees", "locked") << QByteArray("worktree /w\nHEAD abc\nbranch refs/heads/x\nlocked\n") << "/w [x] locked";
        row("worktrees", "locked with a reason is not locked")
            << QByteArray("worktree /w\nHEAD abc\nlocked because of a mount\n") << "/w [detached]";
        row("worktrees", "path with spaces") << QByteArray("worktree /my work/tree\nbranch refs/heads/a\n") << "/my work/tree [a]";
        row("worktrees", "nothing before the first worktree line ignored")
            << QByteArray("branch refs/heads/x\nlocked\nworktree /w\n") << "/w [detached]";
        row("stashes", "message after the first colon")
            << QByteArray("stash@{0}: WIP on main: abc fix\nstash@{1}: On main: second\n") << "0: WIP on main: abc fix; 1: On main: second";
        row("stashes", "line without a colon") << QByteArray("odd line\n") << "0: odd line";
        row("stashes", "none") << QByteArray("") << "";
        row("remotes", "fetch and push lines fold")
            << QByteArray("origin\tgit@github.com:o/r.git (fetch)\norigin\tgit@github.com:o/r.git (push)\n")
            << "origin git@github.com:o/r.git";
        row("remotes", "first line wins, order of appearance")
            << QByteArray("up\t/a (fetch)\norigin\t/b (fetch)\nup\t/c (push)\n") << "up /a; origin /b";
        row("remotes", "line without a tab skipped") << QByteArray("broken\norigin\t/x (fetch)\n") << "origin /x";
        row("counts", "number and newline") << QByteArray("42\n") << "42";
        row("counts", "surrounding white space") << QByteArray("  7 \n") << "7";
        row("counts", "empty") << QByteArray("") << "0";
        row("counts", "not a number") << QByteArray("fatal\n") << "0";
        row("GitHub", "SSH with .git") << QByteArray("git@github.com:octo/hello.git") << "octo/hello";
        row("GitHub", "SSH without .git") << QByteArray("git@github.com:octo/hello") << "octo/hello";
        row("GitHub", "HTTPS with .git") << QByteArray("https://github.com/octo/hello.git") << "octo/hello";
        row("GitHub", "HTTPS with trailing slash") << QByteArray("https://github.com/octo/hello/") << "octo/hello";
        row("GitHub", "SSH URL form") << QByteArray("ssh://git@github.com/octo/hello.git") << "octo/hello";
        row("GitHub", "SSH without a path")
            << QByteArray("git@github.com:") << "1: Cannot parse GitHub owner/repo from SSH URL: git@github.com:";
        row("GitHub", "HTTPS with owner only")
            << QByteArray("https://github.com/octo") << "1: Cannot parse GitHub owner/repo from HTTPS URL: https://github.com/octo";
        row("GitHub", "other host")
            << QByteArray("https://gitlab.com/octo/hello.git") << "1: Remote 'origin' is not a GitHub URL: https://gitlab.com/octo/hello.git";
        row("credentials", "username and password")
            << QByteArray("protocol=https\nhost=github.com\nusername=octo\npassword=ghp_x\n") << "octo:ghp_x";
        row("credentials", "username without password") << QByteArray("username=octo\n") << "none";
        row("credentials", "empty password") << QByteArray("username=octo\npassword=\n") << "none";
        row("credentials", "password without username") << QByteArray("password=ghp_x\n") << "none";
    }

    void parses()
    {
        QFETCH(QString, parser);
        QFETCH(QByteArray, output);
        QFETCH(QString, expected);
        QString actual;
        if (parser == "branches") {
            actual = describe(parseBranchList(output));
        } else if (parser == "remote branches") {
            actual = describe(parseRemoteBranchList(output));
        } else if (parser == "stale branches") {
            actual = describe(parseStaleBranches(output, QDateTime(QDate(2024, 6, 30), QTime(12, 0), Qt::UTC), 90));
        } else if (parser == "worktrees") {
            actual = describe(parseWorktreeList(output));
        } else if (parser == "stashes") {
            actual = describe(parseStashList(output));
        } else if (parser == "remotes") {
            actual = describe(parseRemoteList(output));
        } else if (parser == "counts") {
            actual = QString::number(gitparse::parseCount(output));
        } else if (parser == "GitHub") {
            const GitResult<GitHubRepository> parsed = parseGitHubRepository(QString::fromUtf8(output), "origin");
            actual = parsed ? parsed->owner + u'/' + parsed->repo
                            : QStringLiteral("%1: %2").arg(parsed.error().exitCode).arg(parsed.error().message);
        } else {
            const std::optional<GitCredentials> parsed = parseCredentialFill(output);
            actual = parsed ? parsed->username + u':' + parsed->token : QStringLiteral("none");
        }
        QCOMPARE(actual, expected);
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

    void credentialRequest()
    {
        QCOMPARE(gitHubCredentialRequest({}), QByteArray("protocol=https\nhost=github.com\n\n"));
        QCOMPARE(gitHubCredentialRequest("octo"), QByteArray("protocol=https\nhost=github.com\nusername=octo\n\n"));
    }
};

QTEST_GUILESS_MAIN(ListParsersTest)
#include "tst_list_parsers.moc"
