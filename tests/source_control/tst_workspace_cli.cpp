// corvane-cli's workspace commands end to end: the real program on a real clone with a bare
// remote, sharing the store through the XDG folders of the sandbox.
#include "GitSandbox.h"

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

    struct Run
    {
        int exitCode = -1;
        QString out;
        QString err;
    };

    Run cli(const QStringList &arguments)
    {
        QProcess process;
        process.start(QStringLiteral(CORVANE_CLI_PATH), arguments);
        if (!process.waitForFinished(60000))
            process.kill();
        return Run{process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                   QString::fromUtf8(process.readAllStandardOutput()), QString::fromUtf8(process.readAllStandardError())};
    }

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
};

QTEST_GUILESS_MAIN(WorkspaceCliTest)
#include "tst_workspace_cli.moc"
