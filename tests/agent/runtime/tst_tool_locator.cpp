#include "agent/runtime/ToolLocator.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace corvane;

namespace {

void makeExecutable(const QString &path)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("#!/bin/sh\n");
    file.close();
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

} // namespace

class ToolLocatorTest : public QObject
{
    Q_OBJECT

private slots:
    void findsTheFirstExistingCandidate_data()
    {
        QTest::addColumn<QStringList>("installed"); // relative to home
        QTest::addColumn<QStringList>("environment");
        QTest::addColumn<QString>("npmrc");
        QTest::addColumn<QString>("expected");
        QTest::newRow("~/.local/bin") << QStringList{".local/bin/claude"} << QStringList() << QString() << ".local/bin/claude";
        QTest::newRow("local bin wins over npm-global")
            << QStringList{".npm-global/bin/claude", ".local/bin/claude"} << QStringList() << QString() << ".local/bin/claude";
        QTest::newRow("npm prefix from the environment")
            << QStringList{"npmroot/bin/claude"} << QStringList{"npm_config_prefix=HOME/npmroot"} << QString() << "npmroot/bin/claude";
        QTest::newRow("npm prefix from ~/.npmrc")
            << QStringList{"fromrc/bin/claude"} << QStringList() << "prefix = ~/fromrc\n" << "fromrc/bin/claude";
        QTest::newRow("newest nvm node first")
            << QStringList{".nvm/versions/node/v9.11.2/bin/claude", ".nvm/versions/node/v20.1.0/bin/claude"}
            << QStringList() << QString() << ".nvm/versions/node/v20.1.0/bin/claude";
    }

    void findsTheFirstExistingCandidate()
    {
        QFETCH(QStringList, installed);
        QFETCH(QStringList, environment);
        QFETCH(QString, npmrc);
        QFETCH(QString, expected);
        QTemporaryDir home;
        for (const QString &relative : installed)
            makeExecutable(home.filePath(relative));
        if (!npmrc.isEmpty()) {
            QFile rc(home.filePath(".npmrc"));
            QVERIFY(rc.open(QIODevice::WriteOnly));
            rc.write(npmrc.toUtf8());
        }
        environment.replaceInStrings("HOME", home.path());
        // /usr/local/bin and /usr/bin come first; on a machine where claude lives there, the
        // home folder candidates are never reached, which is what this test checks around.
        const ToolLocation location = locateTool(AgentTool::claude, {}, home.path(), environment);
        QVERIFY(location.found());
        if (location.path->startsWith("/usr/"))
            QSKIP("claude is installed system-wide on this machine, ahead of the home folder candidates");
        QCOMPARE(*location.path, home.filePath(expected));
    }

    void anExplicitPathWinsAndIsNotReplaced()
    {
        QTemporaryDir home;
        makeExecutable(home.filePath(".local/bin/codex"));
        makeExecutable(home.filePath("tools/my-codex"));
        const ToolLocation chosen = locateTool(AgentTool::codex, home.filePath("tools/my-codex"), home.path(), {});
        QCOMPARE(chosen.program(), home.filePath("tools/my-codex"));
        const ToolLocation wrong = locateTool(AgentTool::codex, "  " + home.filePath("tools/missing") + "\n", home.path(), {});
        QVERIFY(!wrong.found());
        QCOMPARE(wrong.searched, QStringList{home.filePath("tools/missing")});
    }

    void notFoundNamesWhereWeLookedAndHowToFixIt()
    {
        QTemporaryDir home;
        ToolLocation location = locateTool(AgentTool::claude, {}, home.path(), {});
        if (location.found())
            QSKIP("claude is installed system-wide on this machine");
        QCOMPARE(location.program(), QString("claude"));
        const QString message = location.notFoundMessage();
        QVERIFY(message.contains("/usr/local/bin/claude"));
        QVERIFY(message.contains(home.filePath(".local/bin/claude")));
        QVERIFY(message.contains("npm install -g @anthropic-ai/claude-code"));
        QVERIFY(message.contains("settings"));
    }
};

QTEST_GUILESS_MAIN(ToolLocatorTest)
#include "tst_tool_locator.moc"
