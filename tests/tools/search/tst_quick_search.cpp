// Quick search on a real store: the lists, the limits, the debounce, the selection, and the
// message index against the plain scan (the same results, always), its triggers and its migration.
#include "support/SearchSeeds.h"
#include "support/TestEnvironment.h"

#include "core/store/Connection.h"
#include "core/store/MessageSearchIndex.h"
#include "core/store/Migrations.h"
#include "core/store/Store.h"
#include "tools/search/QuickSearch.h"
#include "tools/search/QuickSearchViewModel.h"

#include <QSignalSpy>
#include <QTest>

#include <sqlite3.h>

using namespace corvane;
using search::MessageScan;

namespace {

QStringList contentsOf(Store &store, const QList<MessageSearchResult> &results)
{
    QStringList out;
    auto context = store.newContext();
    for (const MessageSearchResult &result : results)
        out << context->get<Message>(result.id)->content;
    return out;
}

QList<QUuid> idsOf(const QList<MessageSearchResult> &results)
{
    QList<QUuid> ids;
    for (const auto &result : results)
        ids << result.id;
    return ids;
}

QStringList namesOf(const QList<SearchResult> &results)
{
    QStringList out;
    for (const SearchResult &result : results)
        out << (result.workspace() ? "W:" + result.workspace()->workspaceName : "M:" + result.message()->snippet);
    return out;
}

qint64 scalar(Store &store, const char *sql)
{
    return (*store.connection())->queryInteger(sql).valueOr(-1);
}

} // namespace

class QuickSearchTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<test::TestEnvironment> m_env;
    std::shared_ptr<Store> m_store;

    test::SearchSeeds seeds() { return test::SearchSeeds(m_store->mainContext()); }

private slots:
    void init()
    {
        m_env = std::make_unique<test::TestEnvironment>();
        m_store = Store::open(m_env->path("Corvane.store")).value();
    }
    void cleanup()
    {
        m_store.reset();
        m_env.reset();
    }

    void trigramIndexIsAvailable()
    {
        auto connection = m_store->connection();
        QVERIFY(connection);
        const Status supported = store::messageSearchSupported(**connection);
        QVERIFY2(supported.ok(), qPrintable(supported ? QString() : supported.error().message));
        QVERIFY(store::hasMessageSearchIndex(**connection));
        QVERIFY(!search::messageIndexMissing(*m_store));
        QCOMPARE(scalar(*m_store, "PRAGMA user_version"), qint64(store::currentSchemaVersion()));
    }

    void emptyFieldListsFifteenNewestWorkspaces()
    {
        auto s = seeds();
        const QUuid project = s.project("Corvane");
        for (int i = 0; i < 17; ++i)
            s.workspace(QString("ws %1").arg(i), i % 2 ? std::optional(project) : std::nullopt, i);
        s.workspace("archived newest", project, -5, true);
        const QUuid chat = s.chat("chat", std::nullopt);
        s.message(chat, "ws in a message");
        QVERIFY(s.save());

        QuickSearchViewModel model(*m_store);
        model.setSearchText("   ");
        QVERIFY(!model.isSearchPending()); // an empty field is not debounced
        QStringList expected;
        for (int i = 0; i < 15; ++i)
            expected << QString("W:ws %1").arg(i);
        QCOMPARE(namesOf(model.results()), expected);
        QCOMPARE(model.results().at(0).workspace()->projectName, QString("No Project"));
        QCOMPARE(model.results().at(1).workspace()->projectName, QString("Corvane"));

        model.setFilterMode(SearchFilterMode::messages);
        QVERIFY(!model.isSearchPending());
        QVERIFY(model.results().isEmpty());
        QVERIFY(!model.selectedResult());
    }

    void workspaceMatchesNameOrProject()
    {
        auto s = seeds();
        const QUuid project = s.project("Lighthouse");
        const QUuid light = s.workspace("Fix the lamp", project, 1, false, QString("fix/lamp"));
        s.workspace("Unrelated", std::nullopt, 2);
        s.workspace("LIGHT switch", std::nullopt, 3);
        s.chat("one", light);
        s.chat("two", light);
        s.chat("old", light, true);
        QVERIFY(s.save());

        QuickSearchViewModel model(*m_store);
        model.setFilterMode(SearchFilterMode::workspaces);
        model.setSearchText("light");
        QVERIFY(!model.isSearchPending()); // workspaces alone are not debounced
        QCOMPARE(namesOf(model.results()), QStringList({"W:Fix the lamp", "W:LIGHT switch"}));
        const WorkspaceSearchResult &first = *model.results().at(0).workspace();
        QCOMPARE(first.projectName, QString("Lighthouse"));
        QCOMPARE(first.chatCount, 3);
        QCOMPARE(first.gitBranch, std::optional<QString>("fix/lamp"));
    }

    void countsPerFilter()
    {
        auto s = seeds();
        for (int i = 0; i < 7; ++i)
            s.workspace(QString("alpha %1").arg(i), std::nullopt, i);
        const QUuid chat = s.chat("Talk");
        for (int i = 0; i < 25; ++i)
            s.message(chat, QString("alpha message %1").arg(i), i % 2 ? MessageRole::assistant : MessageRole::user);
        QVERIFY(s.save());

        QuickSearchViewModel model(*m_store);
        model.setSearchText("Alpha");
        model.performSearch();
        QCOMPARE(model.results().size(), 5 + 15);
        QVERIFY(model.results().at(4).workspace());
        QCOMPARE(model.results().at(5).message()->snippet, QString("alpha message 24")); // newest first
        QCOMPARE(model.results().at(5).message()->chatName, QString("Talk"));
        model.setFilterMode(SearchFilterMode::messages);
        model.performSearch();
        QCOMPARE(model.results().size(), 20);
        model.setFilterMode(SearchFilterMode::workspaces);
        QCOMPARE(model.results().size(), 7);
    }

    void typingIsDebounced()
    {
        auto s = seeds();
        s.message(s.chat("c"), "debounced text");
        QVERIFY(s.save());
        QuickSearchViewModel model(*m_store);
        QSignalSpy spy(&model, &QuickSearchViewModel::resultsChanged);
        model.setSearchText("deb");
        model.setSearchText("debo");
        QVERIFY(model.isSearchPending());
        QCOMPARE(spy.count(), 0);
        QTRY_COMPARE(spy.count(), 1); // one search for the two keystrokes
        QCOMPARE(model.results().size(), 1);
        QCOMPARE(model.results().at(0).message()->matchRange, std::optional(search::MatchRange{0, 4}));
    }

    void selectionMovesWithoutWrapping()
    {
        QuickSearchViewModel model(*m_store);
        model.setFilterMode(SearchFilterMode::messages);
        model.moveSelectionDown(); // an empty list: nothing happens
        QCOMPARE(model.selectedIndex(), 0);
        model.moveSelectionUp();
        QCOMPARE(model.selectedIndex(), 0);
        QVERIFY(!model.selectedResult());

        auto s = seeds();
        s.workspace("a", std::nullopt, 1);
        s.workspace("b", std::nullopt, 2);
        QVERIFY(s.save());
        model.setFilterMode(SearchFilterMode::all);
        model.moveSelectionDown();
        model.moveSelectionDown();
        QCOMPARE(model.selectedIndex(), 1);
        QCOMPARE(model.selectedResult()->workspace()->workspaceName, QString("b"));
        model.moveSelectionUp();
        model.moveSelectionUp();
        QCOMPARE(model.selectedIndex(), 0);
    }

    // Only text of users and assistants in live chats is found.
    void onlyTextOfLiveChatsIsFound_data()
    {
        QTest::addColumn<int>("scan");
        QTest::newRow("plain") << int(MessageScan::plain);
        QTest::newRow("indexed") << int(MessageScan::indexed);
        QTest::newRow("automatic") << int(MessageScan::automatic);
    }

    void onlyTextOfLiveChatsIsFound()
    {
        QFETCH(int, scan);
        auto s = seeds();
        const QUuid chat = s.chat("live");
        const QUuid archived = s.chat("archived", std::nullopt, true);
        s.message(chat, "quasar in tool output", MessageRole::tool, MessageContentType::toolOutput);
        s.message(chat, "quasar while thinking", MessageRole::thinking, MessageContentType::thinking);
        s.message(chat, "quasar as thinking text", MessageRole::assistant, MessageContentType::thinking);
        s.message(chat, "quasar from the system", MessageRole::system, MessageContentType::text);
        s.message(chat, "quasar tool started", MessageRole::assistant, MessageContentType::toolStart);
        s.message(archived, "quasar in an archived chat");
        s.message(std::nullopt, "quasar with no chat");
        const QUuid kept = s.message(chat, "a Quasar said by the assistant", MessageRole::assistant);
        QVERIFY(s.save());
        const auto found = search::searchMessages(*m_store, "quasar", 20, MessageScan(scan), 1);
        QCOMPARE(idsOf(found), QList<QUuid>{kept});
        QCOMPARE(found.at(0).snippet, QString("a Quasar said by the assistant"));
        QCOMPARE(found.at(0).matchRange, std::optional(search::MatchRange{2, 6}));
    }

    // The index only picks candidates: every query gives exactly what the scan gives.
    void indexGivesWhatTheScanGives_data()
    {
        QTest::addColumn<QString>("query");
        QTest::addColumn<int>("atLeast");
        QTest::newRow("accented") << "éclair" << 3;
        QTest::newRow("upper-cased accent typed") << "ÉCLAIR" << 3;
        QTest::newRow("cjk") << "東京で" << 2;
        QTest::newRow("emoji") << "🚀 la" << 2;
        QTest::newRow("quote inside") << "foo\"bar" << 2;
        QTest::newRow("FTS OR") << "a OR b" << 1;
        QTest::newRow("FTS NEAR") << "NEAR(" << 1;
        QTest::newRow("FTS star") << "*" << 1;
        QTest::newRow("star word") << "abc*" << 1;
        QTest::newRow("two letters fall back") << "ub" << 2;
        QTest::newRow("Georgian capitals") << "საქართველო" << 2;
        QTest::newRow("sharp s") << "straße" << 1;
        QTest::newRow("common word past the limit") << "the" << 20;
        QTest::newRow("line end") << "one\ntwo" << 1;
        QTest::newRow("nothing") << "zyzzyva" << 0;
    }

    void indexGivesWhatTheScanGives()
    {
        QFETCH(QString, query);
        QFETCH(int, atLeast);
        auto s = seeds();
        const QUuid a = s.chat("Pâtisserie");
        const QUuid b = s.chat("旅行");
        const QUuid gone = s.chat("Old", std::nullopt, true);
        const QStringList texts{
            "Un Éclair au chocolat", "ÉCLAIR à la vanille", "the éclair recipe", "東京で会いましょう",
            "明日東京で会議", "🚀 launch 🚀 la la", "🚀 La fusée", "say foo\"bar now", "FOO\"BAR loud",
            "choose a or b", "NEAR(x y)", "glob * star", "abc* pattern", "ᲡᲐᲥᲐᲠᲗᲕᲔᲚᲝ trip", "საქართველო again",
            "Die STRASSE und die Straße", "pub club", "one\ntwo lines", "the end", "The start"};
        for (int round = 0; round < 3; ++round)
            for (int i = 0; i < texts.size(); ++i) {
                const QUuid chat = i % 3 == 0 ? a : i % 3 == 1 ? b : (round == 1 ? gone : a);
                s.message(chat, texts[i], i % 2 ? MessageRole::assistant : MessageRole::user);
                s.message(chat, "tool says " + texts[i], MessageRole::tool, MessageContentType::toolOutput);
                s.message(chat, QString("filler %1 with the word the in it").arg(i));
            }
        QVERIFY(s.save());
        const QString q = QString::fromUcs4(search::foldedCodePoints(query).data(), search::foldedCodePoints(query).size());
        const auto plain = search::searchMessages(*m_store, q, 20, MessageScan::plain);
        QVERIFY2(plain.size() >= atLeast, qPrintable(contentsOf(*m_store, plain).join(" | ")));
        for (const auto &[scan, budget] : {std::pair{MessageScan::indexed, 0}, std::pair{MessageScan::automatic, 1},
                                           std::pair{MessageScan::automatic, 7}, std::pair{MessageScan::automatic, 2000}}) {
            const auto other = search::searchMessages(*m_store, q, 20, scan, budget);
            QCOMPARE(contentsOf(*m_store, other), contentsOf(*m_store, plain));
            QCOMPARE(idsOf(other), idsOf(plain));
        }
    }

    // The index follows the messages: new text, edits, a change of kind, deletes and the
    // cascade of a deleted chat.
    void triggersKeepTheIndexInStep()
    {
        auto s = seeds();
        const QUuid chat = s.chat("fruit");
        const QUuid other = s.chat("other");
        const QUuid id = s.message(chat, "a kumquat please");
        s.message(chat, "kumquat tool", MessageRole::tool, MessageContentType::toolOutput);
        s.message(other, "another kumquat");
        QVERIFY(s.save());
        auto indexed = [&](const QString &q) {
            return contentsOf(*m_store, search::searchMessages(*m_store, q, 20, MessageScan::indexed));
        };
        QCOMPARE(indexed("kumquat"), QStringList({"another kumquat", "a kumquat please"}));
        QCOMPARE(scalar(*m_store, "SELECT count(*) FROM MessageSearchKey"), qint64(2));

        StoreContext &context = m_store->mainContext();
        context.get<Message>(id)->content = "a papaya please";
        QVERIFY(context.save());
        QCOMPARE(indexed("kumquat"), QStringList({"another kumquat"}));
        QCOMPARE(indexed("papaya"), QStringList({"a papaya please"}));

        context.get<Message>(id)->contentType = MessageContentType::toolOutput;
        QVERIFY(context.save());
        QCOMPARE(indexed("papaya"), QStringList());
        context.get<Message>(id)->contentType = MessageContentType::text;
        QVERIFY(context.save());
        QCOMPARE(indexed("papaya"), QStringList({"a papaya please"}));

        // A deleted message's text stays in the index, unreachable, until the index is rebuilt.
        const char *liveKeys = "SELECT count(*) FROM MessageSearchKey k JOIN Message m ON m.id = k.messageId";
        context.remove(context.get<Message>(id));
        QVERIFY(context.save());
        QCOMPARE(indexed("papaya"), QStringList());
        QCOMPARE(scalar(*m_store, liveKeys), qint64(1));

        // The same id saved again with other words: only the new ones find it.
        Message again;
        again.id = id;
        again.chatId = chat;
        again.role = MessageRole::user;
        again.content = "a guava please";
        context.insert(again);
        QVERIFY(context.save());
        QCOMPARE(indexed("papaya"), QStringList());
        QCOMPARE(indexed("guava"), QStringList({"a guava please"}));
        // ... and saved again as a tool row, which search never shows, with the old words.
        context.remove(context.get<Message>(id));
        QVERIFY(context.save());
        again.role = MessageRole::tool;
        again.contentType = MessageContentType::toolOutput;
        context.insert(again);
        QVERIFY(context.save());
        QCOMPARE(indexed("guava"), QStringList());
        auto connection = m_store->connection();
        QCOMPARE(store::finishMessageSearchFill(**connection).valueOr(false), true);
        context.remove(context.get<Message>(id));

        context.remove(context.get<Chat>(other));
        QVERIFY(context.save());
        QCOMPARE(indexed("kumquat"), QStringList());
        QCOMPARE(scalar(*m_store, liveKeys), qint64(0));
        QCOMPARE(scalar(*m_store, "SELECT count(*) FROM Message"), qint64(1)); // the tool row

        // Leftovers that outnumber the live keys empty the index; its fill starts over.
        QCOMPARE(store::collectMessageSearchLeftovers(**connection, 100).valueOr(true), false);
        QCOMPARE(store::collectMessageSearchLeftovers(**connection, 1).valueOr(false), true);
        QCOMPARE(scalar(*m_store, "SELECT count(*) FROM MessageSearchKey"), qint64(0));
        QCOMPARE(scalar(*m_store, "SELECT count(*) FROM MessageSearch WHERE MessageSearch MATCH '\"kumquat\"'"), qint64(0));
        QVERIFY(!store::isMessageSearchIndexReady(**connection));
        QCOMPARE(store::fillMessageSearchStep(**connection, 100, 1000).value().walkEnded, true);
        QCOMPARE(store::finishMessageSearchFill(**connection).valueOr(false), true);
        QCOMPARE(indexed("kumquat"), QStringList());
    }

    // A store written before the index existed gets one at once, empty; the messages it holds
    // are added in the background (here in steps) and found through it after.
    void versionOneStoreIsIndexedOnOpen()
    {
        const QString path = m_env->path("old.store");
        sqlite3 *db = nullptr;
        QCOMPARE(sqlite3_open(path.toUtf8().constData(), &db), SQLITE_OK);
        QCOMPARE(sqlite3_exec(db, store::migrations().at(0).sql, nullptr, nullptr, nullptr), SQLITE_OK);
        const char *rows = R"sql(
            PRAGMA user_version = 1;
            INSERT INTO Chat (id, name, createdAt, sortOrder, pendingProfileMigration, usesWorktree)
                VALUES ('11111111-1111-1111-1111-111111111111', 'Old chat', 0, 0, 0, 0);
            INSERT INTO Message (id, role, content, contentType, timestamp, isComplete, chatId) VALUES
                ('22222222-2222-2222-2222-222222222222', 'user', 'Where is the Éclair shop?', 'text', 1000, 1, '11111111-1111-1111-1111-111111111111'),
                ('33333333-3333-3333-3333-333333333333', 'assistant', 'The éclair shop is closed.', 'text', 2000, 1, '11111111-1111-1111-1111-111111111111'),
                ('44444444-4444-4444-4444-444444444444', 'tool', 'éclair in a tool', 'toolOutput', 3000, 1, '11111111-1111-1111-1111-111111111111');
        )sql";
        QCOMPARE(sqlite3_exec(db, rows, nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_close(db);

        m_store.reset();
        auto opened = Store::open(path);
        QVERIFY(opened);
        m_store = *opened;
        QVERIFY(!m_store->openReport().setAsidePath);
        QCOMPARE(scalar(*m_store, "PRAGMA user_version"), qint64(store::currentSchemaVersion()));
        QCOMPARE(scalar(*m_store, "SELECT count(*) FROM MessageSearchKey"), qint64(0));
        auto connection = m_store->connection();
        for (bool ended = false; !ended;) {
            auto step = store::fillMessageSearchStep(**connection, 1, 1000);
            QVERIFY(step);
            ended = step->walkEnded;
        }
        QCOMPARE(store::finishMessageSearchFill(**connection).valueOr(false), true);
        QVERIFY(store::isMessageSearchIndexReady(**connection));
        QCOMPARE(scalar(*m_store, "SELECT count(*) FROM MessageSearchKey"), qint64(2));
        const auto found = search::searchMessages(*m_store, "éclair shop", 20, MessageScan::indexed);
        QCOMPARE(idsOf(found), (QList<QUuid>{QUuid("33333333-3333-3333-3333-333333333333"),
                                             QUuid("22222222-2222-2222-2222-222222222222")}));
        QCOMPARE(found.at(0).chatName, QString("Old chat"));
        QCOMPARE(found.at(1).matchRange, std::optional(search::MatchRange{13, 11}));
        QCOMPARE(idsOf(search::searchMessages(*m_store, "éclair shop", 20, MessageScan::plain)), idsOf(found));
    }
};

QTEST_GUILESS_MAIN(QuickSearchTest)
#include "tst_quick_search.moc"
