// corvane-cli ports and run-commands end to end: the real program, sharing the store through the
// test's XDG folders, with a real listener in a project folder.
#include "support/CliRun.h"
#include "support/PortListener.h"
#include "support/StoreFixture.h"
#include "support/TestEnvironment.h"

#include "core/Paths.h"
#include "core/records/Profile.h"
#include "core/store/Store.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace corvane;

class ToolsCliTest : public QObject
{
    Q_OBJECT

    test::TestEnvironment m_env;

    using Run = test::CliRun;
    static Run cli(const QStringList &arguments) { return test::runCli(QStringLiteral(CORVANE_CLI_PATH), arguments); }

private slots:
    void portsOfTheStoresProjects()
    {
        if (QStandardPaths::findExecutable(QStringLiteral("lsof")).isEmpty())
            QSKIP("lsof is not installed (Debian package lsof)");
        QVERIFY(QDir(m_env.root()).mkpath("site"));
        const QString folder = QFileInfo(m_env.path("site")).canonicalFilePath();
        {
            auto store = Store::open(paths::storeFile());
            QVERIFY2(store, qPrintable(store ? QString() : store.error().message));
            StoreContext &context = (*store)->mainContext();
            Profile profile;
            profile.name = QStringLiteral("Work");
            profile.colorHex = QStringLiteral("#FF9500");
            context.insert(profile);
            const auto place = test::insertPlace(context, folder, {});
            context.get<Project>(place.projectId)->profileId = profile.id;
            QVERIFY(context.save());
        }
        test::PortListener listener;
        if (!listener.start(folder))
            QSKIP("python3 could not start a listener");

        const Run json = cli({"ports", "--json"});
        QVERIFY2(json.exitCode == 0, qPrintable(json.err));
        const QJsonArray rows = QJsonDocument::fromJson(json.out.toUtf8()).array();
        QJsonObject mine;
        for (const QJsonValue &row : rows)
            if (row.toObject().value("port").toInt() == listener.port)
                mine = row.toObject();
        QVERIFY2(!mine.isEmpty(), qPrintable(json.out));
        QCOMPARE(mine.value("pid").toInteger(), listener.process.processId());
        QCOMPARE(mine.value("project").toString(), QStringLiteral("site"));
        QCOMPARE(mine.value("address").toString(), QStringLiteral("127.0.0.1"));
        QCOMPARE(mine.value("workingDirectory").toString(), folder);
        QVERIFY(mine.value("process").toString().startsWith("python"));

        const Run text = cli({"ports"});
        QCOMPARE(text.exitCode, 0);
        const QStringList lines = text.out.trimmed().split('\n');
        QCOMPARE(lines.first(), QStringLiteral("PORT\tPID\tPROCESS\tADDRESS\tPROJECT\tFOLDER"));
        const QString expected = QStringLiteral("%1\t%2\t").arg(listener.port).arg(listener.process.processId());
        bool listed = false;
        for (const QString &line : lines)
            if (line.startsWith(expected)) {
                listed = true;
                QCOMPARE(line.section('\t', 3), QStringLiteral("127.0.0.1\tsite\t") + folder);
            }
        QVERIFY2(listed, qPrintable(text.out));
    }

    void runCommandsOfAFolder()
    {
        QVERIFY(QDir(m_env.root()).mkpath("app"));
        QFile package(m_env.path("app/package.json"));
        QVERIFY(package.open(QIODevice::WriteOnly));
        package.write("{\"scripts\": {\"start\": \"node .\", \"test\": \"jest\"}}");
        package.close();
        QFile makefile(m_env.path("app/Makefile"));
        QVERIFY(makefile.open(QIODevice::WriteOnly));
        makefile.close();

        const Run text = cli({"run-commands", "--project", m_env.path("app")});
        QVERIFY2(text.exitCode == 0, qPrintable(text.err));
        QCOMPARE(text.out, QStringLiteral("npm start\tnpm start\tpackage.json\nnpm test\tnpm test\tpackage.json\n"
                                          "make\tmake\tMakefile\nmake build\tmake build\tMakefile\nmake test\tmake test\tMakefile\n"));

        const Run json = cli({"run-commands", "--project", m_env.path("app"), "--json"});
        QCOMPARE(json.exitCode, 0);
        const QJsonArray rows = QJsonDocument::fromJson(json.out.toUtf8()).array();
        QCOMPARE(rows.size(), 5);
        QCOMPARE(rows[0].toObject(), (QJsonObject{{"name", "npm start"}, {"command", "npm start"}, {"detectedBy", "package.json"}}));

        const Run empty = cli({"run-commands", "--project", m_env.root(), "--json"});
        QCOMPARE(empty.exitCode, 0);
        QCOMPARE(empty.out.trimmed(), QStringLiteral("[]"));
    }

    void runCommandsOfAMissingFolder()
    {
        const Run missing = cli({"run-commands", "--project", m_env.path("nowhere")});
        QCOMPARE(missing.exitCode, 1);
        QVERIFY(missing.out.isEmpty());
        QVERIFY2(missing.err.contains(m_env.path("nowhere") + " is not a folder"), qPrintable(missing.err));
        QCOMPARE(cli({"run-commands"}).exitCode, 2);
    }
};

QTEST_GUILESS_MAIN(ToolsCliTest)
#include "tst_tools_cli.moc"
