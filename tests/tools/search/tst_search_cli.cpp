// corvane-cli search end to end: the real program on the store of the test's XDG folders.
#include "support/CliRun.h"
#include "support/SearchSeeds.h"
#include "support/TestEnvironment.h"

#include "core/Paths.h"
#include "core/store/Store.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace corvane;

namespace {

QList<QJsonObject> linesOf(const QString &out)
{
    QList<QJsonObject> rows;
    for (const QString &line : out.split('\n', Qt::SkipEmptyParts))
        rows << QJsonDocument::fromJson(line.toUtf8()).object();
    return rows;
}

} // namespace

class SearchCliTest : public QObject
{
    Q_OBJECT

    test::TestEnvironment m_env;
    QUuid m_workspace;
    QUuid m_chat;
    QUuid m_message;

    static test::CliRun cli(const QStringList &arguments)
    {
        return test::runCli(QStringLiteral(CORVANE_CLI_PATH), arguments);
    }

private slots:
    void initTestCase()
    {
        auto store = Store::open(paths::storeFile());
        QVERIFY(store);
        test::SearchSeeds s((*store)->mainContext());
        const QUuid project = s.project("Bakery");
        m_workspace = s.workspace("Croissant work", project, 1, false, QString("feature/croissant"));
        s.workspace("Plain", std::nullopt, 2);
        m_chat = s.chat("Recipes 🥐", m_workspace);
        s.message(m_chat, "older croissant note");
        m_message = s.message(m_chat, "🥐🥐 The best CROISSANT\nrecipe", MessageRole::assistant);
        s.message(m_chat, "croissant in a tool", MessageRole::tool, MessageContentType::toolOutput);
        QVERIFY(s.save());
    }

    void allFindsWorkspacesThenMessages()
    {
        const auto run = cli({"search", "Croissant"});
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        const auto rows = linesOf(run.out);
        QCOMPARE(rows.size(), 3);
        QCOMPARE(rows[0], (QJsonObject{{"kind", "workspace"}, {"id", m_workspace.toString(QUuid::WithoutBraces)},
                                       {"name", "Croissant work"}, {"project", "Bakery"}, {"chatCount", 1},
                                       {"updatedAt", "2024-05-01T11:59:00.000Z"}, {"branch", "feature/croissant"}}));
        QCOMPARE(rows[1], (QJsonObject{{"kind", "message"}, {"id", m_message.toString(QUuid::WithoutBraces)},
                                       {"chatId", m_chat.toString(QUuid::WithoutBraces)}, {"chat", "Recipes 🥐"},
                                       {"snippet", "🥐🥐 The best CROISSANT recipe"}, {"match", QJsonArray{12, 9}},
                                       {"timestamp", "2024-05-01T12:00:02.000Z"}}));
        QCOMPARE(rows[2].value("snippet").toString(), QString("older croissant note"));
    }

    void filters()
    {
        const auto messages = cli({"search", "croissant", "--messages"});
        QCOMPARE(messages.exitCode, 0);
        QCOMPARE(linesOf(messages.out).size(), 2);
        const auto workspaces = cli({"search", "", "--workspaces"});
        QCOMPARE(workspaces.exitCode, 0);
        const auto rows = linesOf(workspaces.out);
        QCOMPARE(rows.size(), 2);
        QCOMPARE(rows[1].value("name").toString(), QString("Plain"));
        QCOMPARE(rows[1].value("project").toString(), QString("No Project"));
        QVERIFY(rows[1].value("branch").isNull());
        QCOMPARE(linesOf(cli({"search", "nothing like it"}).out).size(), 0);
    }

    void badInput_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("message");
        QTest::newRow("no text") << QStringList{"search"} << "the text to search for is empty";
        QTest::newRow("blank text") << QStringList{"search", "  "} << "the text to search for is empty";
        QTest::newRow("blank messages") << QStringList{"search", "", "--messages"} << "the text to search for is empty";
        QTest::newRow("unknown option") << QStringList{"search", "x", "--chats"} << "Unknown option 'chats'";
        QTest::newRow("both filters") << QStringList{"search", "x", "--messages", "--workspaces"} << "exclude each other";
        QTest::newRow("two words") << QStringList{"search", "two", "words"} << "one argument";
    }

    void badInput()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, message);
        const auto run = cli(arguments);
        QCOMPARE(run.exitCode, 2);
        QVERIFY(run.out.isEmpty());
        QVERIFY2(run.err.contains(message), qPrintable(run.err));
        QVERIFY2(run.err.contains("usage: corvane-cli search TEXT"), qPrintable(run.err));
    }
};

QTEST_GUILESS_MAIN(SearchCliTest)
#include "tst_search_cli.moc"
