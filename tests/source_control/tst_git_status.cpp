// GitService against real repositories: status and its summary, counts, line statistics, the
// commit-message diff, and what happens outside a repository.
#include "Describe.h"
#include "GitSandbox.h"

#include "source_control/GitService.h"

#include <QDir>
#include <QTest>

using namespace corvane;
using corvane::test::await;
using corvane::test::describe;
using corvane::test::describeHeader;

class GitStatusTest : public QObject
{
    Q_OBJECT

private:
    test::GitSandbox m_sandbox;

    // Files that each hold their own text, so git's rename detection pairs only what we renamed.
    void writeDistinct(const QString &repository, const QStringList &names)
    {
        for (const QString &name : names)
            m_sandbox.write(repository + u'/' + name, ("This is " + name + ".\nIt has lines of its own.\n").toUtf8());
    }

private slots:
    void statusOfEveryKindOfChange()
    {
        const QString repository = m_sandbox.makeRepository("kinds");
        writeDistinct(repository, {"keep.txt", "staged change.txt", "unstaged.txt", "to delete.txt", "old name.txt",
                                   "gone.txt", "\u00fcber.txt"});
        m_sandbox.commitAll(repository, "files");
        m_sandbox.write(repository + "/staged change.txt", "changed and staged\n");
        m_sandbox.git(repository, {"add", "staged change.txt"});
        m_sandbox.write(repository + "/unstaged.txt", "changed, not staged\n");
        m_sandbox.write(repository + "/\u00fcber.txt", "changed unicode\n");
        QFile::remove(repository + "/to delete.txt");
        m_sandbox.git(repository, {"rm", "-q", "gone.txt"});
        QDir().mkpath(repository + "/sub dir");
        m_sandbox.git(repository, {"mv", "old name.txt", "sub dir/new name.txt"});
        writeDistinct(repository, {"new file.txt", "new\nline.txt", "\u65e5\u672c.txt", ".DS_Store", "sub dir/.DS_Store"});

        const GitResult<StatusSummary> status = await(GitService(repository).status());
        QVERIFY(status);
        QCOMPARE(describeHeader(*status), QString("repository, branch main, +0 -0, commits"));
        QCOMPARE(describe(status->files),
                 QString("D gone.txt; M staged change.txt; R sub dir/new name.txt <- old name.txt; D* to delete.txt; "
                         "M* unstaged.txt; M* \u00fcber.txt; ?* new\nline.txt; ?* new file.txt; ?* \u65e5\u672c.txt"));

        // The short form: every entry counts as unstaged, and a rename brings its old path.
        const GitResult<QList<GitFileStatus>> files = await(GitService(repository).fileStatuses());
        QVERIFY(files);
        QCOMPARE(describe(*files),
                 QString("D* gone.txt; M* staged change.txt; R* sub dir/new name.txt <- old name.txt; D* to delete.txt; "
                         "M* unstaged.txt; M* \u00fcber.txt; ?* new\nline.txt; ?* new file.txt; ?* \u65e5\u672c.txt"));
        QCOMPARE(await(GitService(repository).hasUncommittedChanges()).valueOr(false), true);
    }

    void statusOfAConflict()
    {
        const QString repository = m_sandbox.makeRepository("conflict");
        writeDistinct(repository, {"conflict file.txt"});
        m_sandbox.commitAll(repository, "base");
        m_sandbox.git(repository, {"switch", "-q", "-c", "theirs"});
        m_sandbox.write(repository + "/conflict file.txt", "theirs\n");
        m_sandbox.commitAll(repository, "theirs");
        m_sandbox.git(repository, {"switch", "-q", "main"});
        m_sandbox.write(repository + "/conflict file.txt", "ours\n");
        m_sandbox.commitAll(repository, "ours");
        m_sandbox.git(repository, {"merge", "-q", "theirs"}, true);
        const GitResult<StatusSummary> status = await(GitService(repository).status());
        QVERIFY(status);
        QCOMPARE(describe(status->files), QString("U* conflict file.txt"));
        QCOMPARE(status->branch, std::optional<QString>("main"));
    }

    void statusHeaders_data()
    {
        QTest::addColumn<QString>("setup");
        QTest::addColumn<QString>("expected");
        QTest::newRow("no commit yet") << "empty" << "repository, branch main, +0 -0, no commits";
        QTest::newRow("clean, no upstream") << "plain" << "repository, branch main, +0 -0, commits";
        QTest::newRow("detached head") << "detached" << "repository, detached, +0 -0, commits";
        QTest::newRow("ahead 2, behind 1") << "diverged" << "repository, branch main, upstream origin/main, +2 -1, commits";
        QTest::newRow("not a repository") << "folder" << "not a repository, detached, +0 -0, no commits";
    }

    void statusHeaders()
    {
        QFETCH(QString, setup);
        QFETCH(QString, expected);
        const QString name = "headers-" + setup;
        QString repository = m_sandbox.path(name);
        if (setup == "empty") {
            QDir().mkpath(repository);
            m_sandbox.git(repository, {"init", "-q"});
        } else if (setup == "plain") {
            m_sandbox.makeRepository(name);
        } else if (setup == "detached") {
            m_sandbox.makeRepository(name);
            m_sandbox.git(repository, {"switch", "-q", "--detach"});
        } else if (setup == "diverged") {
            repository = divergedClone(name);
        } else {
            QDir().mkpath(repository);
        }
        const GitResult<StatusSummary> status = await(GitService(repository).status());
        QVERIFY(status);
        QCOMPARE(describeHeader(*status), expected);
        if (setup == "folder")
            QVERIFY(status->files.isEmpty());
    }

    void counts()
    {
        const QString repository = divergedClone("counts");
        GitService git(repository);
        QCOMPARE(await(git.commitCount()).valueOr(-1), 3);
        QCOMPARE(await(git.commitsAheadOfUpstream()).valueOr(-1), 2);
        QCOMPARE(await(git.commitsAheadOfDefaultBranch()).valueOr(-1), 2);
        QCOMPARE(await(git.defaultBranch()).valueOr("?"), QString("origin/main"));
    }

    void countsWithoutARemote()
    {
        const QString repository = m_sandbox.makeRepository("no-remote");
        m_sandbox.write(repository + "/b.txt", "b\n");
        m_sandbox.commitAll(repository, "second");
        GitService git(repository);
        const GitResult<int> ahead = await(git.commitsAheadOfUpstream());
        QVERIFY(!ahead);
        QVERIFY2(ahead.error().message.contains("no upstream"), qPrintable(ahead.error().message));
        // Neither origin/main nor origin/master: every commit of HEAD counts.
        QCOMPARE(await(git.commitsAheadOfDefaultBranch()).valueOr(-1), 2);
        const GitResult<QString> defaultBranch = await(git.defaultBranch());
        QVERIFY(!defaultBranch);
        QCOMPARE(defaultBranch.error(), GitError::commandFailed(1, "Could not determine default branch"));
        QCOMPARE(await(GitService(m_sandbox.path("no-remote-missing")).commitCount()).valueOr(-1), 0);
    }

    void diffStats()
    {
        const QString repository = m_sandbox.makeRepository("numstat");
        m_sandbox.write(repository + "/both.txt", "1\n2\n3\n");
        m_sandbox.write(repository + "/with space \u00e9.txt", "a\n");
        m_sandbox.write(repository + "/image.bin", QByteArray("\x00\x01\x02", 3));
        m_sandbox.commitAll(repository, "files");
        m_sandbox.write(repository + "/both.txt", "1\n2\n3\nstaged\n");
        m_sandbox.git(repository, {"add", "both.txt"});
        m_sandbox.write(repository + "/both.txt", "1\n3\nstaged\nunstaged\nmore\n");
        m_sandbox.write(repository + "/with space \u00e9.txt", "b\n");
        m_sandbox.write(repository + "/image.bin", QByteArray("\x00\x03\x04\x05", 4));
        const GitResult<DiffStats> stats = await(GitService(repository).diffStats());
        QVERIFY(stats);
        QCOMPARE(describe(*stats), QString("both.txt +3 -1; with space \u00e9.txt +1 -1"));
    }

    void diffForCommitMessage_data()
    {
        QTest::addColumn<QString>("setup");
        QTest::addColumn<QString>("expectedStart");
        QTest::newRow("staged and unstaged diff") << "changes" << "diff --git a/README.md b/README.md";
        QTest::newRow("untracked files only") << "untracked" << "git status:\n?? notes.txt";
        QTest::newRow("clean tree") << "clean" << "";
    }

    void diffForCommitMessage()
    {
        QFETCH(QString, setup);
        QFETCH(QString, expectedStart);
        const QString repository = m_sandbox.makeRepository("message-" + setup);
        if (setup == "changes")
            m_sandbox.write(repository + "/README.md", "# Changed\n");
        else if (setup == "untracked")
            m_sandbox.write(repository + "/notes.txt", "n\n");
        const GitResult<QString> text = await(GitService(repository).diffForCommitMessage());
        QVERIFY(text);
        QVERIFY2(text->startsWith(expectedStart), qPrintable(*text));
        if (expectedStart.isEmpty())
            QVERIFY(text->trimmed().isEmpty());
    }

    void historyTexts()
    {
        const QString repository = m_sandbox.makeRepository("history");
        m_sandbox.git(repository, {"branch", "base"});
        m_sandbox.write(repository + "/\u00fcber.txt", "Gr\u00fc\u00dfe\n");
        m_sandbox.commitAll(repository, "Add greeting");
        GitService git(repository);
        QVERIFY(await(git.commitLog("base")).valueOr("").endsWith(" Add greeting\n"));
        QVERIFY(await(git.diffStat("base")).valueOr("").contains("1 file changed, 1 insertion(+)"));
        QCOMPARE(await(git.fileContent("\u00fcber.txt", "HEAD")).valueOr("?"), QString("Gr\u00fc\u00dfe\n"));
        QCOMPARE(await(git.fileContent("README.md", "base")).valueOr("?"), QString("# Sandbox\n"));
        // A revision that looks like an option stays a revision.
        const GitResult<QString> option = await(git.fileContent("x", "--output=" + m_sandbox.path("leak")));
        QVERIFY(!option);
        QVERIFY(!QFile::exists(m_sandbox.path("leak")));
        // Output that is not UTF-8 reads as the empty text.
        m_sandbox.write(repository + "/latin1.txt", "caf\xe9\n");
        m_sandbox.commitAll(repository, "latin1");
        QCOMPARE(await(git.fileContent("latin1.txt", "HEAD")).valueOr("?"), QString());
    }

    void outsideARepository_data()
    {
        QTest::addColumn<QString>("operation");
        QTest::addColumn<QString>("action");
        QTest::newRow("commit") << "commit" << "Commit";
        QTest::newRow("stash") << "stash" << "Stash";
        QTest::newRow("merge") << "merge" << "Merge";
        QTest::newRow("fetch") << "fetch" << "Fetch";
        QTest::newRow("list branches") << "branches" << "List branches";
        QTest::newRow("file list") << "files" << "Refresh";
        QTest::newRow("commit log") << "log" << "Refresh";
    }

    void outsideARepository()
    {
        QFETCH(QString, operation);
        QFETCH(QString, action);
        const QString folder = m_sandbox.path("plain folder");
        QDir().mkpath(folder);
        GitService git(folder);
        std::optional<GitError> error;
        const auto failureOf = [](const auto &result) { return result ? std::nullopt : std::optional(result.error()); };
        if (operation == "commit")
            error = failureOf(await(git.commit("message")));
        else if (operation == "stash")
            error = failureOf(await(git.stashPush()));
        else if (operation == "merge")
            error = failureOf(await(git.merge("main")));
        else if (operation == "fetch")
            error = failureOf(await(git.fetchAll()));
        else if (operation == "branches")
            error = failureOf(await(git.listBranches()));
        else if (operation == "files")
            error = failureOf(await(git.fileStatuses()));
        else
            error = failureOf(await(git.commitLog("main")));
        QVERIFY(error);
        // git's own words, exactly as a terminal shows them.
        const test::GitSandbox::Run direct = m_sandbox.gitRun(folder, {"status"});
        const QString gitsOwn = QString::fromUtf8(direct.errorOutput).trimmed();
        QVERIFY(gitsOwn.startsWith("fatal: not a git repository"));
        QCOMPARE(error->kind, GitError::Kind::commandFailed);
        QCOMPARE(error->exitCode, direct.exitCode);
        QCOMPARE(error->failureText(action), action + " failed: " + gitsOwn);
    }

    void folderThatIsGone()
    {
        GitService git(m_sandbox.path("never made"));
        const GitResult<QString> result = await(git.run({"status"}));
        QVERIFY(!result);
        QCOMPARE(result.error().kind, GitError::Kind::launchFailed);
        QVERIFY2(result.error().message.startsWith("Could not start"), qPrintable(result.error().message));
        QCOMPARE(await(git.status()).valueOr({}).isRepository, false);
    }

private:
    // A clone two commits ahead of origin/main and one behind it.
    QString divergedClone(const QString &name)
    {
        const QString repository = m_sandbox.makeClone(name);
        const QString other = m_sandbox.path(name + "-other");
        m_sandbox.git(m_sandbox.root(), {"clone", "-q", m_sandbox.path(name + ".git"), other});
        m_sandbox.write(other + "/theirs.txt", "theirs\n");
        m_sandbox.commitAll(other, "theirs");
        m_sandbox.git(other, {"push", "-q"});
        for (const QString file : {"one.txt", "two.txt"}) {
            m_sandbox.write(repository + u'/' + file, "mine\n");
            m_sandbox.commitAll(repository, file);
        }
        m_sandbox.git(repository, {"fetch", "-q"});
        return repository;
    }
};

QTEST_GUILESS_MAIN(GitStatusTest)
#include "tst_git_status.moc"
