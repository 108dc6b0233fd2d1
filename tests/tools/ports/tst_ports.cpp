// The ports tool: lsof's output parsed from canned text, attribution to projects by folder, the
// shared poll, and a real listener found in its project and stopped.
#include "support/PortListener.h"
#include "support/TestEnvironment.h"
#include "tools/ports/PortListing.h"
#include "tools/ports/PortService.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

using namespace corvane;

namespace {

const QByteArray kHeader = "COMMAND   PID USER   FD   TYPE DEVICE SIZE/OFF NODE NAME\n";

// "pid:port name address" for each entry, joined by "; ".
QString describe(const QList<PortInfo> &ports)
{
    QStringList parts;
    for (const PortInfo &p : ports) {
        QString part = QStringLiteral("%1 %2 %3").arg(p.id, p.processName, p.address);
        if (p.projectName)
            part += QStringLiteral(" @") + *p.projectName;
        parts.append(part);
    }
    return parts.join(QStringLiteral("; "));
}

PortInfo port(qint64 pid, int number)
{
    PortInfo info;
    info.pid = pid;
    info.port = number;
    info.id = QStringLiteral("%1:%2").arg(pid).arg(number);
    info.processName = QStringLiteral("node");
    info.address = QStringLiteral("127.0.0.1");
    return info;
}

QString identity(const QString &path)
{
    return path;
}

bool scan(PortService &service)
{
    service.refresh();
    return QTest::qWaitFor([&] { return !service.isLoading(); }, 30000);
}

const PortInfo *find(const QList<PortInfo> &ports, int number)
{
    for (const PortInfo &p : ports)
        if (p.port == number)
            return &p;
    return nullptr;
}

} // namespace

class PortsTest : public QObject
{
    Q_OBJECT

    test::TestEnvironment m_env;

private slots:
    void parsesListening_data()
    {
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<QString>("expected");
        QTest::newRow("empty output") << QByteArray() << "";
        QTest::newRow("header only") << kHeader << "";
        QTest::newRow("IPv4") << kHeader + "node    4242 me   21u  IPv4 0x1 0t0  TCP 127.0.0.1:3000 (LISTEN)\n"
                              << "4242:3000 node 127.0.0.1";
        QTest::newRow("IPv6 in brackets") << kHeader + "node 123 u 21u IPv6 0x0 0t0 TCP [::1]:3000 (LISTEN)\n"
                                          << "123:3000 node ::1";
        QTest::newRow("wildcard") << kHeader + "python3 77 me 3u IPv4 1 0t0 TCP *:8080 (LISTEN)\n" << "77:8080 python3 *";
        QTest::newRow("IPv4 and IPv6 of one process merge")
            << kHeader + "node 9 me 21u IPv4 1 0t0 TCP 127.0.0.1:3000 (LISTEN)\n"
                         "node 9 me 22u IPv6 2 0t0 TCP [::1]:3000 (LISTEN)\n"
            << "9:3000 node 127.0.0.1";
        QTest::newRow("two processes on one port stay two")
            << kHeader + "nginx 1 root 6u IPv4 1 0t0 TCP *:80 (LISTEN)\nnginx 2 www 6u IPv4 1 0t0 TCP *:80 (LISTEN)\n"
            << "1:80 nginx *; 2:80 nginx *";
        QTest::newRow("IPv6 wildcard") << kHeader + "sshd 5 root 4u IPv6 1 0t0 TCP [::]:22 (LISTEN)\n" << "5:22 sshd ::";
        QTest::newRow("first line is always the header")
            << QByteArray("node 1 me 3u IPv4 1 0t0 TCP *:1 (LISTEN)\nnode 2 me 3u IPv4 1 0t0 TCP *:2 (LISTEN)\n")
            << "2:2 node *";
        QTest::newRow("malformed lines skipped")
            << kHeader + "too few columns here\n"
                         "node abc me 3u IPv4 1 0t0 TCP *:1 (LISTEN)\n"
                         "node 3 me 3u IPv4 1 0t0 TCP *:http (LISTEN)\n"
                         "node 4 me 3u IPv6 1 0t0 TCP [::1:5 (LISTEN)\n"
                         "node 5 me 3u IPv6 1 0t0 TCP [::1]5 (LISTEN)\n"
                         "node 6 me 3u IPv4 1 0t0 TCP noport (LISTEN)\n"
                         "\n"
                         "ok 7 me 3u IPv4 1 0t0 TCP 0.0.0.0:5432 (LISTEN)\n"
            << "7:5432 ok 0.0.0.0";
        QTest::newRow("runs of spaces") << kHeader + "node    12    me   3u   IPv4   1   0t0   TCP   10.0.0.2:9000   (LISTEN)"
                                        << "12:9000 node 10.0.0.2";
    }
    void parsesListening()
    {
        QFETCH(QByteArray, output);
        QFETCH(QString, expected);
        QCOMPARE(describe(portlisting::parseListening(output)), expected);
    }

    void displayAddress_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QString>("shown");
        QTest::newRow("star") << "*" << "localhost";
        QTest::newRow("IPv4 any") << "0.0.0.0" << "localhost";
        QTest::newRow("IPv6 any") << "::" << "localhost";
        QTest::newRow("loopback kept") << "127.0.0.1" << "127.0.0.1";
        QTest::newRow("IPv6 loopback kept") << "::1" << "::1";
    }
    void displayAddress()
    {
        QFETCH(QString, address);
        QFETCH(QString, shown);
        PortInfo info;
        info.address = address;
        QCOMPARE(info.displayAddress(), shown);
    }

    void wildcardFromListingReadsLocalhost()
    {
        const auto ports = portlisting::parseListening(kHeader + "node 1 me 3u IPv4 1 0t0 TCP *:8080 (LISTEN)\n");
        QCOMPARE(ports.size(), 1);
        QCOMPARE(ports[0].displayAddress(), QStringLiteral("localhost"));
    }

    void parsesCwdFields()
    {
        const QByteArray fields = "p1\nn/proc/1/cwd (readlink: Permission denied)\n"
                                  "p4242\nfcwd\nn/home/me/app\n"
                                  "p77\nn/srv/with space\n"
                                  "pxyz\nn/ignored\n"
                                  "n/orphan\n";
        const auto dirs = portlisting::parseCwdFields(fields);
        QCOMPARE(dirs.size(), 2);
        QCOMPARE(dirs.value(4242), QStringLiteral("/home/me/app"));
        QCOMPARE(dirs.value(77), QStringLiteral("/srv/with space"));
    }

    void cwdArguments()
    {
        QCOMPARE(portlisting::cwdArguments({12, 5, 900}),
                 QStringList({"-a", "-d", "cwd", "-p", "12,5,900", "-Fn"}));
    }

    void attributes_data()
    {
        QTest::addColumn<QString>("ownDir");    // of pid 10; empty: unknown
        QTest::addColumn<qint64>("parent");
        QTest::addColumn<QString>("parentDir"); // of the parent
        QTest::addColumn<QStringList>("scopePaths"); // one scope each, named "s<index>"
        QTest::addColumn<QString>("expected");       // the scope's name, or empty when left out
        QTest::newRow("exact folder") << "/p/app" << qint64(0) << "" << QStringList{"/p/app"} << "s0";
        QTest::newRow("below the folder") << "/p/app/web" << qint64(0) << "" << QStringList{"/p/app"} << "s0";
        QTest::newRow("a longer name is not below") << "/p/application" << qint64(0) << "" << QStringList{"/p/app"} << "";
        QTest::newRow("trailing slash on the scope") << "/p/app/web" << qint64(0) << "" << QStringList{"/p/app/"} << "s0";
        QTest::newRow("first scope wins") << "/p/app/web" << qint64(0) << "" << QStringList{"/p", "/p/app"} << "s0";
        QTest::newRow("unmatched") << "/elsewhere" << qint64(0) << "" << QStringList{"/p/app"} << "";
        QTest::newRow("parent's folder when its own is outside")
            << "/" << qint64(20) << "/p/app" << QStringList{"/p/app"} << "s0";
        QTest::newRow("parent's folder when its own is unknown")
            << "" << qint64(20) << "/p/app/sub" << QStringList{"/p/app"} << "s0";
        QTest::newRow("init is no parent to go by") << "/" << qint64(1) << "/p/app" << QStringList{"/p/app"} << "";
        QTest::newRow("no scopes") << "/p/app" << qint64(20) << "/p/app" << QStringList{} << "";
    }
    void attributes()
    {
        QFETCH(QString, ownDir);
        QFETCH(qint64, parent);
        QFETCH(QString, parentDir);
        QFETCH(QStringList, scopePaths);
        QFETCH(QString, expected);
        QHash<qint64, QString> dirs;
        if (!ownDir.isEmpty())
            dirs.insert(10, ownDir);
        if (!parentDir.isEmpty())
            dirs.insert(parent, parentDir);
        QList<ProjectScope> scopes;
        for (const QString &path : scopePaths)
            scopes.append({QStringLiteral("s%1").arg(scopes.size()), {path}, QStringLiteral("#FF0000")});
        const auto ports = portlisting::attribute({port(10, 3000)}, dirs, {{10, parent}}, scopes, identity);
        if (expected.isEmpty()) {
            QVERIFY2(ports.isEmpty(), qPrintable(describe(ports)));
            return;
        }
        QCOMPARE(ports.size(), 1);
        QCOMPARE(ports[0].projectName, std::optional<QString>(expected));
        QCOMPARE(ports[0].profileColorHex, std::optional<QString>(QStringLiteral("#FF0000")));
    }

    void attributionSortsByPort()
    {
        const QList<ProjectScope> scopes{{"a", {"/a"}, std::nullopt}, {"b", {"/b"}, std::nullopt}};
        const auto ports = portlisting::attribute({port(1, 8080), port(2, 22), port(3, 3000)},
                                                  {{1, "/a"}, {2, "/nowhere"}, {3, "/b/x"}}, {}, scopes, identity);
        QCOMPARE(describe(ports), QStringLiteral("3:3000 node 127.0.0.1 @b; 1:8080 node 127.0.0.1 @a"));
        QCOMPARE(ports[0].workingDirectory, std::optional<QString>(QStringLiteral("/b/x")));
    }

    void attributionResolvesSymbolicLinks()
    {
        QTemporaryDir dir;
        QVERIFY(QDir(dir.path()).mkpath("real/web"));
        QVERIFY(QFile::link(dir.filePath("real"), dir.filePath("link")));
        const QString real = QFileInfo(dir.filePath("real")).canonicalFilePath();
        const auto ports = portlisting::attribute({port(1, 5000)}, {{1, dir.filePath("link/web")}}, {},
                                                  {{"app", {real}, std::nullopt}});
        QCOMPARE(ports.size(), 1);
        QCOMPARE(ports[0].workingDirectory, std::optional<QString>(real + "/web"));
    }

    // Every open view is a viewer of the one service: one poll for all of them.
    void viewersShareOnePoll()
    {
        PortService service;
        service.setProgram(QStringLiteral("corvane-no-such-lsof"));
        QObject first, second;
        service.addViewer(&first);
        service.addViewer(&second);
        service.addViewer(&second);
        QCOMPARE(service.viewerCount(), 2);
        QVERIFY(service.isPolling());
        service.removeViewer(&first);
        QVERIFY(service.isPolling());
        {
            QObject third;
            service.addViewer(&third);
            QCOMPARE(service.viewerCount(), 2);
        } // a viewer destroyed without a word leaves too
        QCOMPARE(service.viewerCount(), 1);
        service.removeViewer(&second);
        QVERIFY(!service.isPolling());
        QCOMPARE(&PortService::shared(), &PortService::shared());
    }

    void missingLsofIsAClearError()
    {
        PortService service;
        service.setProgram(QStringLiteral("corvane-no-such-lsof"));
        service.setProjectScopes({{"p", {m_env.root()}, std::nullopt}});
        QVERIFY(scan(service));
        QVERIFY(service.lastError().has_value());
        QVERIFY2(service.lastError()->contains(QLatin1String("lsof")), qPrintable(*service.lastError()));
        QVERIFY(service.ports().isEmpty());
    }

    // A real listener in a project folder is found, attributed, and stopped.
    void findsAndStopsARealListener()
    {
        if (QStandardPaths::findExecutable(QStringLiteral("lsof")).isEmpty())
            QSKIP("lsof is not installed (Debian package lsof)");
        QVERIFY(QDir(m_env.root()).mkpath("projects/shop/web"));
        const QString project = QFileInfo(m_env.path("projects/shop")).canonicalFilePath();
        test::PortListener listener;
        if (!listener.start(project + "/web", false))
            QSKIP("python3 could not start a listener");

        PortService service;
        service.setProjectScopes({{"other", {m_env.path("projects/sho")}, std::nullopt},
                                  {"shop", {project}, QStringLiteral("#34C759")}});
        QVERIFY(scan(service));
        QVERIFY2(!service.lastError(), qPrintable(service.lastError().value_or(QString())));
        const PortInfo *found = find(service.ports(), listener.port);
        QVERIFY2(found, qPrintable(describe(service.ports())));
        QCOMPARE(found->pid, listener.process.processId());
        QCOMPARE(found->projectName, std::optional<QString>("shop"));
        QCOMPARE(found->profileColorHex, std::optional<QString>("#34C759"));
        QCOMPARE(found->address, QStringLiteral("127.0.0.1"));
        QCOMPARE(found->workingDirectory, std::optional<QString>(project + "/web"));
        for (const PortInfo &p : service.ports())
            QCOMPARE(p.projectName, std::optional<QString>("shop")); // nothing outside the scopes

        // A failing lsof later on leaves what was found in place.
        const QList<PortInfo> before = service.ports();
        service.setProgram(QStringLiteral("corvane-no-such-lsof"));
        QVERIFY(scan(service));
        QVERIFY(service.lastError());
        QCOMPARE(service.ports(), before);
        service.setProgram(QStringLiteral("lsof"));

        QVERIFY(service.stop(found->pid).ok());
        QVERIFY(listener.process.waitForFinished(20000));
        QVERIFY(QTest::qWaitFor([&] { return scan(service) && !find(service.ports(), listener.port); }, 30000));
        QTcpSocket probe;
        probe.connectToHost(QStringLiteral("127.0.0.1"), quint16(listener.port));
        QVERIFY(!probe.waitForConnected(5000));
        QVERIFY(!service.lastError());
    }

    void findsAWorkerByItsParentsFolder()
    {
        if (QStandardPaths::findExecutable(QStringLiteral("lsof")).isEmpty())
            QSKIP("lsof is not installed (Debian package lsof)");
        QVERIFY(QDir(m_env.root()).mkpath("projects/api"));
        const QString project = QFileInfo(m_env.path("projects/api")).canonicalFilePath();
        test::PortListener listener;
        if (!listener.start(project, true))
            QSKIP("python3 could not start a listener");
        PortService service;
        service.setProjectScopes({{"api", {project}, std::nullopt}});
        QVERIFY(scan(service));
        const PortInfo *found = find(service.ports(), listener.port);
        QVERIFY2(found, qPrintable(describe(service.ports())));
        QVERIFY(found->pid != listener.process.processId()); // the worker, not the shell
        QCOMPARE(found->workingDirectory, std::optional<QString>(project));
        QCOMPARE(found->projectName, std::optional<QString>("api"));
    }

    void stoppingNothingIsAnError()
    {
        PortService service;
        QVERIFY(!service.stop(1).ok());
        QVERIFY(!service.stop(0).ok());
    }
};

QTEST_GUILESS_MAIN(PortsTest)
#include "tst_ports.moc"
