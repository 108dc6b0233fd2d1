// corvane-cli's workspace commands end to end: the real program on a real clone with a bare
// remote, sharing the store through the XDG folders of the sandbox.
#include "support/CliRun.h"
#include "GitSandbox.h"
#include "support/FakeModel.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QTest>

using namespace corvane;

class WorkspaceCliTest : public QObject
{
    Q_OBJECT

private:
    test::GitSandbox m_sandbox;

    using Run = test::CliRun;
    static Run cli(const QStringList &arguments) { return test::runCli(QStringLiteral(CORVANE_CLI_PATH), arguments); }

    static QStringList fields(const QString &line) { return line.trimmed().split(u'\t'); }

private slots:
    void newArchiveRestoreDelete()
    {
        const QString repo = m_sandbox.makeClone("cli");
        const Run made = cli({"workspace", "new", "--project", repo, "--branch", QString::fromUtf8("feature/größe")});
        QVERIFY2(made.exitCode == 0, qPrintable(made.err));
        const QStringList row = fields(made.out);
        QCOMPARE(row.size(), 6);
        QCOMPARE(row.mid(1, 3), QStringList({QString::fromUtf8("feature/größe"), QString::fromUtf8("feature/größe"), "worktree"}));
        const QString id = row[0];
        const QString folder = row[4];
        QVERIFY(QFileInfo(folder + "/README.md").exists());

        const Run listed = cli({"workspaces", "--project", repo});
        QCOMPARE(listed.exitCode, 0);
        QCOMPARE(listed.out.trimmed().split(u'\n').size(), 2); // the project's first workspace, and ours
        QVERIFY(listed.out.contains(id + "\t"));

        // A clean worktree: asked about all the same, kept.
        const Run asked = cli({"workspace", "archive", "--id", id});
        QCOMPARE(asked.exitCode, 1);
        QVERIFY2(asked.err.contains("remove its worktree. Any uncommitted changes will be lost."), qPrintable(asked.err));
        QVERIFY(QFileInfo::exists(folder + "/README.md"));

        // Work that would be lost: refused without --yes, kept.
        m_sandbox.write(folder + "/notes.txt", "keep me\n");
        const Run refused = cli({"workspace", "archive", "--id", id});
        QCOMPARE(refused.exitCode, 1);
        QVERIFY2(refused.err.contains("Would be lost: 1 changed file."), qPrintable(refused.err));
        QVERIFY(QFileInfo::exists(folder + "/notes.txt"));
        QVERIFY(cli({"workspaces", "--project", repo}).out.contains("\tactive"));

        const Run archived = cli({"workspace", "archive", "--id", id, "--yes"});
        QVERIFY2(archived.exitCode == 0, qPrintable(archived.err));
        QVERIFY(!QFileInfo::exists(folder));
        QVERIFY(cli({"workspaces", "--project", repo}).out.contains(folder + "\tarchived"));

        const Run restored = cli({"workspace", "restore", "--id", id});
        QCOMPARE(restored.exitCode, 0);
        QVERIFY2(restored.err.contains("its worktree folder no longer exists: " + folder), qPrintable(restored.err));

        QCOMPARE(cli({"workspace", "delete", "--id", id}).exitCode, 1);
        QCOMPARE(cli({"workspace", "delete", "--id", id, "--yes"}).exitCode, 0);
        QVERIFY(!cli({"workspaces", "--project", repo}).out.contains(id));

        // Refused before git runs; nothing made.
        const Run bad = cli({"workspace", "new", "--project", repo, "--mode", "branch", "--branch", "-f"});
        QCOMPARE(bad.exitCode, 1);
        QVERIFY(bad.err.contains("Invalid branch name"));
        QCOMPARE(cli({"workspace", "archive", "--id", "not-a-uuid"}).exitCode, 1);
    }

    // The inspector's git actions from a script: status as JSON, commit, push (setting the
    // upstream), and git's refusals as "<Action> failed: ".
    void statusCommitAndSync()
    {
        const QString repo = m_sandbox.makeClone("sync");
        const Run made = cli({"workspace", "new", "--project", repo, "--branch", "feature/sync"});
        QVERIFY2(made.exitCode == 0, qPrintable(made.err));
        const QString id = fields(made.out)[0];
        const QString folder = fields(made.out)[4];
        m_sandbox.write(folder + "/notes.txt", "one\ntwo\n");

        const Run status = cli({"workspace", "status", "--id", id});
        QVERIFY2(status.exitCode == 0, qPrintable(status.err));
        QCOMPARE(status.out.trimmed(), QStringLiteral("{\"ahead\":0,\"behind\":0,\"branch\":\"feature/sync\",\"files\":"
                                                      "[{\"additions\":3,\"deletions\":0,\"path\":\"notes.txt\",\"status\":\"untracked\"}],"
                                                      "\"upstream\":null}"));

        const Run nothingStaged = cli({"workspace", "commit", "--id", id, "--message", "Notes"});
        QCOMPARE(nothingStaged.exitCode, 1);
        QVERIFY2(nothingStaged.err.startsWith("Commit failed: "), qPrintable(nothingStaged.err));
        const Run committed = cli({"workspace", "commit", "--id", id, "--all", "--message", "Notes"});
        QVERIFY2(committed.exitCode == 0, qPrintable(committed.err));
        QVERIFY2(committed.out.trimmed().endsWith(" Notes"), qPrintable(committed.out));
        QVERIFY(cli({"workspace", "status", "--id", id}).out.contains("\"ahead\":1"));
        // A title written by the real claude from the diff, against the scripted model service.
        if (!test::FakeModel::claudePath().isEmpty()) {
            test::FakeModel model("commit_title.json");
            QVERIFY2(model.isRunning(), qPrintable(model.error()));
            model.exportToThisProcess();
            m_sandbox.write(folder + "/notes.txt", "one\ntwo\nthree\n");
            const Run generated = cli({"workspace", "commit", "--id", id, "--all", "--generate", "--claude", test::FakeModel::claudePath()});
            QVERIFY2(generated.exitCode == 0, qPrintable(generated.err));
            QVERIFY2(generated.out.trimmed().endsWith(" feat(notes): add the notes file"), qPrintable(generated.out));
            const Run nothing = cli({"workspace", "commit", "--id", id, "--generate", "--claude", test::FakeModel::claudePath()});
            QCOMPARE(nothing.exitCode, 1);
            QVERIFY2(nothing.err.contains("No changes to generate title from"), qPrintable(nothing.err));
        }

        const Run pushed = cli({"workspace", "push", "--id", id});
        QVERIFY2(pushed.exitCode == 0, qPrintable(pushed.err));
        QCOMPARE(pushed.out.trimmed(), QStringLiteral("Pushed"));
        QVERIFY(cli({"workspace", "status", "--id", id}).out.contains("\"upstream\":\"origin/feature/sync\""));
        QCOMPARE(cli({"workspace", "fetch", "--id", id}).out.trimmed(), QStringLiteral("Fetched"));
        QCOMPARE(cli({"workspace", "pull", "--id", id}).out.trimmed(), QStringLiteral("Pulled"));

        // A remote that asks for a password fails at once instead of waiting for an answer.
        m_sandbox.git(folder, {"remote", "set-url", "origin", "http://127.0.0.1:9/nobody.git"});
        const Run refused = cli({"workspace", "fetch", "--id", id});
        QCOMPARE(refused.exitCode, 1);
        QVERIFY2(refused.err.startsWith("Fetch failed: "), qPrintable(refused.err));
        QCOMPARE(cli({"workspace", "commit", "--id", id}).exitCode, 2); // neither --message nor --generate
    }
};

QTEST_GUILESS_MAIN(WorkspaceCliTest)
#include "tst_workspace_cli.moc"
