// The Ports page offscreen over a real listener: scanning, the row in its project's group, Stop
// with its question, and the empty state; one screenshot for the docs.
#include "support/PortListener.h"
#include "support/TestEnvironment.h"

#include "shell/tools/PortsToolPage.h"
#include "tools/ports/PortService.h"

#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QPushButton>
#include <QTest>

using namespace corvane;

class PortsToolPageTest : public QObject
{
    Q_OBJECT

    test::TestEnvironment m_env;

    static QString text(QWidget *page, const char *name)
    {
        auto *shown = page->findChild<QLabel *>(QString::fromLatin1(name));
        return shown && shown->isVisibleTo(page) ? shown->text() : QString();
    }

    static QWidget *rowOf(QWidget *page, int port)
    {
        for (QWidget *row : page->findChildren<QWidget *>(QStringLiteral("portRow")))
            if (row->property("portId").toString().endsWith(QStringLiteral(":%1").arg(port)))
                return row;
        return nullptr;
    }

private slots:
    void listsAndStopsAListener()
    {
        if (QStandardPaths::findExecutable(QStringLiteral("lsof")).isEmpty())
            QSKIP("lsof is not installed (Debian package lsof)");
        QVERIFY(QDir(m_env.root()).mkpath("shop"));
        const QString folder = QFileInfo(m_env.path("shop")).canonicalFilePath();
        test::PortListener listener;
        if (!listener.start(folder))
            QSKIP("python3 could not start a listener");

        PortService service;
        PortsToolPage page(service, [&] { return QList<ProjectScope>{{"shop", {folder}, QStringLiteral("#34C759")}}; });
        QStringList asked;
        page.setConfirm([&](const QString &question) {
            asked.append(question);
            return true;
        });
        QCOMPARE(text(&page, "portsScanning"), QStringLiteral("Scanning ports..."));
        page.resize(720, 420);
        page.show();
        QCOMPARE(service.viewerCount(), 1);
        QVERIFY(service.isPolling());
        QTRY_VERIFY_WITH_TIMEOUT(rowOf(&page, listener.port), 30000);
        QCOMPARE(text(&page, "portsGroupTitle"), QStringLiteral("shop"));
        QWidget *row = rowOf(&page, listener.port);
        QCOMPARE(row->findChild<QLabel *>("portAddress")->text(), QStringLiteral("127.0.0.1"));
        QCOMPARE(row->findChild<QLabel *>("portPid")->text(), QStringLiteral("PID %1").arg(listener.process.processId()));
        auto *stop = row->findChild<QPushButton *>("stopButton");
        QCOMPARE(stop->toolTip(), QStringLiteral("Stop this process"));
#ifdef CORVANE_SCREENSHOT_DIR
        QDir().mkpath(QStringLiteral(CORVANE_SCREENSHOT_DIR));
        QVERIFY(page.grab().save(QStringLiteral(CORVANE_SCREENSHOT_DIR "/ports-tool.png")));
#endif

        const QString process = row->findChild<QLabel *>("portProcess")->text();
        stop->click();
        QCOMPARE(asked, QStringList{QStringLiteral("This will stop the %1 process that is running on port %2. Any active "
                                                   "connections will be closed.").arg(process).arg(listener.port)});
        QVERIFY(listener.process.waitForFinished(20000));
        QTRY_VERIFY_WITH_TIMEOUT(!rowOf(&page, listener.port), 30000);
        QCOMPARE(text(&page, "portsEmptyTitle"), QStringLiteral("No Listening Ports"));
        QCOMPARE(text(&page, "portsEmptyText"), QStringLiteral("No TCP ports are currently listening from your projects."));

        page.hide();
        QCOMPARE(service.viewerCount(), 0);
        QVERIFY(!service.isPolling());
    }

    void showsLsofsError()
    {
        PortService service;
        service.setProgram(QStringLiteral("corvane-no-such-lsof"));
        PortsToolPage page(service, {});
        page.show();
        QTRY_VERIFY(!text(&page, "portsError").isEmpty());
        QVERIFY(text(&page, "portsError").contains(QLatin1String("lsof")));
    }
};

QTEST_MAIN(PortsToolPageTest)
#include "tst_ports_tool_page.moc"
