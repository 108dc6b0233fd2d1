#include "core/Log.h"
#include "core/process/ChildProcess.h"
#include "shell/notifications/BackgroundNotificationService.h"

#include <QDBusConnection>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTemporaryFile>
#include <QtTest>

#include <cstdio>

using namespace corvane;

namespace {

bool underDunst()
{
    return qgetenv("CORVANE_NOTIFICATION_SERVICE") == "dunst";
}

QByteArray dunstctl(const QStringList &args)
{
    ProcessCommand command;
    command.program = QStringLiteral("dunstctl");
    command.arguments = args;
    auto ran = ChildProcess::runSync(command, {}, 10000);
    if (!ran || ran->exitCode != 0)
        qWarning("dunstctl %s failed", qPrintable(args.join(' ')));
    return ran ? ran->output : QByteArray();
}

// What dunst kept of each notification, newest first, by the field names of its history.
QList<QVariantMap> dunstHistory()
{
    QList<QVariantMap> out;
    const QJsonArray lists = QJsonDocument::fromJson(dunstctl({"history"})).object().value("data").toArray();
    for (const QJsonValue &list : lists) {
        for (const QJsonValue &entry : list.toArray()) {
            QVariantMap fields;
            const QJsonObject object = entry.toObject();
            for (auto it = object.begin(); it != object.end(); ++it)
                fields.insert(it.key(), it.value().toObject().value("data").toVariant());
            out << fields;
        }
    }
    return out;
}

QList<QVariantMap> historyWithNumber(uint number)
{
    QList<QVariantMap> out;
    for (const QVariantMap &entry : dunstHistory())
        if (entry.value("id").toUInt() == number)
            out << entry;
    return out;
}

// Log lines of the component, captured from the log stream while the object lives.
class LogCapture
{
public:
    LogCapture()
    {
        m_file.open();
        m_stream = std::fopen(QFile::encodeName(m_file.fileName()).constData(), "w");
        setLogStream(m_stream);
    }
    ~LogCapture()
    {
        setLogStream(stdout);
        std::fclose(m_stream);
    }
    QStringList lines(const QString &tag)
    {
        std::fflush(m_stream);
        QFile file(m_file.fileName());
        file.open(QIODevice::ReadOnly);
        QStringList out;
        for (const QString &line : QString::fromUtf8(file.readAll()).split('\n'))
            if (line.startsWith('[' + tag + ']'))
                out << line;
        return out;
    }

private:
    QTemporaryFile m_file;
    std::FILE *m_stream = nullptr;
};

} // namespace

class BackgroundNotificationsTest : public QObject
{
    Q_OBJECT

private:
    bool m_active = false;
    QDateTime m_now = QDateTime::fromSecsSinceEpoch(1795400000, Qt::UTC);

    std::unique_ptr<BackgroundNotificationService> makeService()
    {
        auto service = std::make_unique<BackgroundNotificationService>(QDBusConnection::sessionBus(), [this] { return m_active; });
        service->setClock([this] { return m_now; });
        if (!QTest::qWaitFor([&] { return service->hasAnswer(); }, 15000))
            qWarning("the notification service did not answer");
        return service;
    }

    // Sends one notification and waits for the service's number.
    uint sendAndWait(BackgroundNotificationService &service, const std::function<void()> &send)
    {
        QSignalSpy sent(&service, &BackgroundNotificationService::notificationSent);
        send();
        if (!sent.wait(10000))
            return 0;
        return sent.last().at(1).toUInt();
    }

private slots:
    void init()
    {
        m_active = false;
        if (QTest::currentTestFunction() != QLatin1String("withoutServiceOneLogLine")
            && QTest::currentTestFunction() != QLatin1String("withoutBusOneLogLine") && !underDunst())
            QSKIP("needs dunst on a private session bus (run through ctest)");
        if (underDunst())
            dunstctl({"close-all"});
    }

    void titleAndBody_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("body");
        QTest::newRow("completion") << "completion" << "Claude Finished" << "Response complete in \"Fix the build\"";
        QTest::newRow("question") << "question" << "Claude Needs Your Input" << "\"Fix the build\": Which branch?";
        QTest::newRow("permission") << "permission" << "Permission Needed" << "\"Fix the build\" needs permission for Bash";
    }

    void titleAndBody()
    {
        QFETCH(QString, kind);
        QFETCH(QString, title);
        QFETCH(QString, body);
        auto service = makeService();
        QVERIFY(service->isAuthorized());
        const QUuid chat = QUuid::createUuid();
        const uint number = sendAndWait(*service, [&] {
            if (kind == "completion")
                service->notifyCompletion("Fix the build", chat);
            else if (kind == "question")
                service->notifyQuestion("Fix the build", chat, "Which branch?");
            else
                service->notifyPermission("Fix the build", chat, "Bash");
        });
        QVERIFY(number > 0);
        QCOMPARE(service->notificationNumber(BackgroundNotificationService::identifier(kind, chat, m_now)), number);

        dunstctl({"close-all"});
        const auto shown = historyWithNumber(number);
        QCOMPARE(shown.size(), 1);
        QCOMPARE(shown.first().value("summary").toString(), title);
        QCOMPARE(shown.first().value("body").toString(), body);
        QCOMPARE(shown.first().value("appname").toString(), QStringLiteral("Corvane"));
    }

    void sameIdentifierReplaces_data()
    {
        QTest::addColumn<bool>("waitForFirst");
        QTest::newRow("after the first was shown") << true;
        QTest::newRow("while the first is still on its way") << false;
    }

    void sameIdentifierReplaces()
    {
        QFETCH(bool, waitForFirst);
        auto service = makeService();
        const QUuid chat = QUuid::createUuid();
        QSignalSpy sent(service.get(), &BackgroundNotificationService::notificationSent);
        service->notifyCompletion("First", chat);
        if (waitForFirst)
            QVERIFY(sent.wait(10000));
        service->notifyCompletion("Second", chat);
        QTRY_COMPARE_WITH_TIMEOUT(sent.size(), 2, 10000);
        const uint first = sent.at(0).at(1).toUInt();
        QVERIFY(first > 0);
        QCOMPARE(sent.at(1).at(1).toUInt(), first);
        QCOMPARE(dunstctl({"count", "displayed"}).trimmed(), QByteArray("1"));

        // A second later the identifier differs: a notification of its own.
        m_now = m_now.addSecs(1);
        const uint later = sendAndWait(*service, [&] { service->notifyCompletion("Third", chat); });
        QVERIFY(later > 0 && later != first);

        dunstctl({"close-all"});
        const auto replaced = historyWithNumber(first);
        QCOMPARE(replaced.size(), 1);
        QCOMPARE(replaced.first().value("body").toString(), QStringLiteral("Response complete in \"Second\""));
        QCOMPARE(historyWithNumber(later).size(), 1);
    }

    void noneWhileTheApplicationIsActive()
    {
        auto service = makeService();
        const int before = int(dunstHistory().size());
        m_active = true;
        QSignalSpy sent(service.get(), &BackgroundNotificationService::notificationSent);
        service->notifyCompletion("Seen", QUuid::createUuid());
        service->notifyQuestion("Seen", QUuid::createUuid(), "Header");
        service->notifyPermission("Seen", QUuid::createUuid(), "Edit");
        m_active = false;
        const uint shown = sendAndWait(*service, [&] { service->notifyCompletion("Unseen", QUuid::createUuid()); });
        QVERIFY(shown > 0);
        QCOMPARE(sent.size(), 1);
        dunstctl({"close-all"});
        const auto history = dunstHistory();
        QCOMPARE(int(history.size()), before + 1);
        QCOMPARE(history.first().value("body").toString(), QStringLiteral("Response complete in \"Unseen\""));
    }

    void clickAsksForTheChat()
    {
        auto service = makeService();
        const QUuid chat = QUuid::createUuid();
        const QString identifier = BackgroundNotificationService::identifier("question", chat, m_now);
        const uint number = sendAndWait(*service, [&] { service->notifyQuestion("Deploy", chat, "Go ahead?"); });
        QVERIFY(number > 0);
        QSignalSpy activation(service.get(), &BackgroundNotificationService::chatActivationRequested);
        dunstctl({"action", "0"}); // the signal may arrive while dunstctl runs
        QTRY_COMPARE_WITH_TIMEOUT(activation.size(), 1, 10000);
        QCOMPARE(activation.first().at(0).value<QUuid>(), chat);
        // Once closed, the number is forgotten: a later notification can't replace a stale one.
        QCOMPARE(service->notificationNumber(identifier), number);
        dunstctl({"close-all"});
        QTRY_COMPARE_WITH_TIMEOUT(service->notificationNumber(identifier), 0u, 10000);
    }

    void withoutServiceOneLogLine()
    {
        if (underDunst())
            QSKIP("a notification service is running on this bus");
        LogCapture log;
        auto service = makeService();
        QVERIFY(service->hasAnswer());
        QVERIFY(!service->isAuthorized());
        service->notifyCompletion("Chat", QUuid::createUuid());
        service->notifyQuestion("Chat", QUuid::createUuid(), "Header");
        service->notifyPermission("Chat", QUuid::createUuid(), "Bash");
        QTest::qWait(200); // anything sent would have failed by now and logged
        const QStringList lines = log.lines("Notifications");
        QCOMPARE(lines.size(), 1);
        QVERIFY2(lines.first().contains("notifications are off"), qPrintable(lines.first()));
    }

    void withoutBusOneLogLine()
    {
        LogCapture log;
        const QDBusConnection none = QDBusConnection::connectToBus(QStringLiteral("unix:path=/nonexistent/bus"), "nowhere");
        BackgroundNotificationService service(none, [] { return false; });
        QVERIFY(service.hasAnswer());
        QVERIFY(!service.isAuthorized());
        service.notifyCompletion("Chat", QUuid::createUuid());
        QCOMPARE(log.lines("Notifications").size(), 1);
    }
};

QTEST_GUILESS_MAIN(BackgroundNotificationsTest)
#include "tst_background_notifications.moc"
