// Quick search on a large store: 1,000,000 messages (by default; the first argument changes it)
// in 2,000 chats, written as a store of schema version 1 in one transaction, then opened: the
// migration only makes the (empty) message index, and the background filler then adds the
// messages while the main thread goes on saving. Prints the migration's time, the fill's total
// time and its longest step (the longest it held the write lock), the longest main-thread save
// during the fill, how much the file grew, then a keystroke's search ("All": workspaces, then 15
// messages) for a few queries, through the index and through the plain scan, in the same run.
#include "core/records/Chat.h"
#include "core/records/Message.h"
#include "core/store/Connection.h"
#include "core/store/MessageSearchFiller.h"
#include "core/store/MessageSearchIndex.h"
#include "core/store/Migrations.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "tools/search/IndexQuery.h"
#include "tools/search/QuickSearchViewModel.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QThread>
#include <QTemporaryDir>
#include <QUuid>

#include <sqlite3.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

using namespace corvane;

namespace {

constexpr int kChats = 2000;
constexpr int kWorkspaces = 400;

const char *const kWords[] = {
    "the", "a", "to", "of", "and", "in", "is", "it", "that", "for", "on", "with", "this", "be", "as", "we", "can",
    "file", "function", "test", "build", "error", "fix", "change", "code", "line", "return", "value", "type",
    "class", "method", "call", "add", "remove", "update", "check", "run", "make", "use", "need", "should",
    "would", "could", "there", "here", "now", "then", "when", "what", "why", "how", "which", "where", "please",
    "thanks", "sure", "let", "me", "look", "at", "into", "from", "by", "an", "or", "not", "no", "yes", "but",
    "commit", "branch", "merge", "rebase", "diff", "review", "deploy", "server", "client", "request", "response",
    "json", "parse", "string", "list", "array", "map", "index", "query", "cache", "store", "save", "load",
    "window", "view", "model", "widget", "layout", "signal", "slot", "thread", "queue", "lock", "timer",
    "café", "naïve", "résumé", "Éclair", "über", "straße", "日本語", "東京", "変更", "テスト", "🚀", "✅", "🎉", "👍"};
constexpr int kWordCount = int(sizeof(kWords) / sizeof(kWords[0]));

// Realistic enough: words drawn with a skew toward the common ones, sentences of varying length,
// some identifiers and numbers, and tool output that is longer and not searchable.
class TextMaker
{
public:
    std::string sentence(int words)
    {
        std::string out;
        for (int i = 0; i < words; ++i) {
            if (i)
                out += ' ';
            const int pick = int(std::min<double>(kWordCount - 1, std::abs(m_skew(m_rng)) * 25));
            if (m_percent(m_rng) < 4)
                out += "item_" + std::to_string(m_number(m_rng));
            else
                out += kWords[pick];
        }
        out += '.';
        return out;
    }
    int percent() { return m_percent(m_rng); }
    int between(int low, int high) { return std::uniform_int_distribution<int>(low, high)(m_rng); }

private:
    std::mt19937 m_rng{20240501};
    std::normal_distribution<double> m_skew{0, 1.2};
    std::uniform_int_distribution<int> m_percent{0, 99};
    std::uniform_int_distribution<int> m_number{0, 99999};
};

std::string uuid()
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toStdString();
}

qint64 fileSize(const QString &path)
{
    return QFileInfo(path).size() + QFileInfo(path + "-wal").size();
}

void exec(sqlite3 *db, const char *sql)
{
    char *message = nullptr;
    if (sqlite3_exec(db, sql, nullptr, nullptr, &message) != SQLITE_OK) {
        std::fprintf(stderr, "%s: %s\n", sql, message);
        std::exit(1);
    }
}

// Writes a store of schema version 1 (no index) with `messages` messages.
void writeVersionOneStore(const QString &path, int messages)
{
    sqlite3 *db = nullptr;
    sqlite3_open(path.toUtf8().constData(), &db);
    exec(db, "PRAGMA journal_mode = WAL");
    exec(db, store::migrations().at(0).sql);
    exec(db, "PRAGMA user_version = 1");
    exec(db, "BEGIN");
    TextMaker text;
    std::vector<std::string> workspaces;
    sqlite3_stmt *stmt = nullptr;
    sqlite3_prepare_v2(db, "INSERT INTO Workspace (id, name, createdAt, updatedAtStorage, sortOrder, usesWorktree, "
                           "isTerminalVisible) VALUES (?, ?, 0, ?, 0, 0, 0)", -1, &stmt, nullptr);
    for (int i = 0; i < kWorkspaces; ++i) {
        workspaces.push_back(uuid());
        const std::string name = "Workspace " + std::to_string(i) + " " + kWords[i % kWordCount];
        sqlite3_bind_text(stmt, 1, workspaces.back().c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(stmt, 2, name.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_int64(stmt, 3, 1'700'000'000'000 + i * 1000LL);
        sqlite3_step(stmt);
        sqlite3_reset(stmt);
    }
    sqlite3_finalize(stmt);
    std::vector<std::string> chats;
    sqlite3_prepare_v2(db, "INSERT INTO Chat (id, name, createdAt, sortOrder, pendingProfileMigration, usesWorktree, "
                           "statusRaw, workspaceId) VALUES (?, ?, 0, 0, 0, 0, ?, ?)", -1, &stmt, nullptr);
    for (int i = 0; i < kChats; ++i) {
        chats.push_back(uuid());
        const std::string name = "Chat " + std::to_string(i);
        sqlite3_bind_text(stmt, 1, chats.back().c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(stmt, 2, name.c_str(), -1, SQLITE_TRANSIENT);
        if (i % 20 == 0)
            sqlite3_bind_text(stmt, 3, "archived", -1, SQLITE_STATIC);
        else
            sqlite3_bind_null(stmt, 3);
        sqlite3_bind_text(stmt, 4, workspaces[size_t(i % kWorkspaces)].c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_step(stmt);
        sqlite3_reset(stmt);
    }
    sqlite3_finalize(stmt);
    sqlite3_prepare_v2(db, "INSERT INTO Message (id, role, content, contentType, timestamp, isComplete, chatId) "
                           "VALUES (?, ?, ?, ?, ?, 1, ?)", -1, &stmt, nullptr);
    for (int i = 0; i < messages; ++i) {
        const std::string id = uuid();
        // A chat is a run of messages: chats take turns in blocks, as people move between them.
        const std::string &chat = chats[size_t((i / 50) % kChats)];
        // A rare word, in one user message of 100,000.
        const bool rare = i % 100000 == 4242;
        const int kind = rare ? 0 : text.percent();
        std::string content;
        const char *role = "user";
        const char *type = "text";
        if (kind < 35) {
            content = text.sentence(text.between(4, 30));
        } else if (kind < 70) {
            role = "assistant";
            for (int s = text.between(1, 5); s > 0; --s)
                content += text.sentence(text.between(6, 25)) + (s > 1 ? "\n" : "");
        } else {
            role = "tool";
            type = "toolOutput";
            for (int s = text.between(2, 8); s > 0; --s)
                content += text.sentence(text.between(5, 15)) + "\n";
        }
        if (rare)
            content += " zanzibarite";
        sqlite3_bind_text(stmt, 1, id.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(stmt, 2, role, -1, SQLITE_STATIC);
        sqlite3_bind_text(stmt, 3, content.c_str(), int(content.size()), SQLITE_TRANSIENT);
        sqlite3_bind_text(stmt, 4, type, -1, SQLITE_STATIC);
        sqlite3_bind_int64(stmt, 5, 1'700'000'000'000 + qint64(i) * 1000);
        sqlite3_bind_text(stmt, 6, chat.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_step(stmt);
        sqlite3_reset(stmt);
    }
    sqlite3_finalize(stmt);
    exec(db, "COMMIT");
    exec(db, "PRAGMA wal_checkpoint(TRUNCATE)");
    sqlite3_close(db);
}

double medianMs(QuickSearchViewModel &model, const QString &text, int runs)
{
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer timer;
        timer.start();
        model.setSearchText(text);
        model.performSearch();
        times.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const int messages = argc > 1 ? std::max(1000, std::atoi(argv[1])) : 1'000'000;
    QTemporaryDir dir;
    const QString path = dir.filePath("Corvane.store");

    QElapsedTimer timer;
    timer.start();
    writeVersionOneStore(path, messages);
    const double writeSeconds = double(timer.elapsed()) / 1000;
    const qint64 before = fileSize(path);
    std::printf("store of %d messages in %d chats written in %.1f s: %.1f MB\n", messages, kChats, writeSeconds,
                double(before) / 1e6);

    timer.restart();
    auto opened = Store::open(path);
    if (!opened) {
        std::fprintf(stderr, "%s\n", qPrintable(opened.error().message));
        return 1;
    }
    const double migrateSeconds = double(timer.elapsed()) / 1000;
    std::shared_ptr<Store> store = *opened;
    std::printf("migration to version 2 (the empty index and its triggers): %.1f ms\n", migrateSeconds * 1000);

    // The fill, as the app runs it, while the main thread saves a small message every 50 ms.
    timer.restart();
    store::MessageSearchFiller filler(path);
    bool complete = false;
    QObject::connect(&filler, &store::MessageSearchFiller::completed, &app, [&] { complete = true; }, Qt::QueuedConnection);
    filler.start();
    StoreContext &context = store->mainContext();
    const auto chat = context.fetchFirst<Chat>().value();
    std::vector<double> saves;
    while (!complete) {
        Message message;
        message.chatId = chat->id;
        message.content = QStringLiteral("a message saved during the fill");
        message.timestamp = QDateTime::currentDateTimeUtc();
        auto inserted = context.insert(message);
        QElapsedTimer save;
        save.start();
        if (Status s = context.save(); !s)
            std::printf("a save failed during the fill: %s\n", qPrintable(s.error().message));
        saves.push_back(double(save.nsecsElapsed()) / 1e6);
        context.settle(inserted);
        QThread::msleep(50);
        QCoreApplication::processEvents();
    }
    const double fillSeconds = double(timer.elapsed()) / 1000;
    std::sort(saves.begin(), saves.end());
    std::printf("background fill: %.1f s; longest step (write lock held) %.1f ms\n", fillSeconds, filler.longestStepMs());
    std::printf("main-thread saves during the fill: %zu, median %.2f ms, 99th percentile %.1f ms, longest %.1f ms\n",
                saves.size(), saves[saves.size() / 2], saves[std::min(saves.size() - 1, saves.size() * 99 / 100)],
                saves.back());

    (void)(*store->connection())->exec("PRAGMA wal_checkpoint(TRUNCATE)");
    const qint64 after = fileSize(path);
    const qint64 indexed = (*store->connection())->queryInteger("SELECT count(*) FROM MessageSearchKey").valueOr(-1);
    std::printf("index of %lld text messages: store %.1f MB -> %.1f MB (+%.0f%%)\n", indexed, double(before) / 1e6,
                double(after) / 1e6, 100.0 * double(after - before) / double(before));

    timer.restart();
    (void)search::foldMismatches();
    std::printf("first search only: comparing SQLite's case folding with ours: %.1f ms\n", double(timer.nsecsElapsed()) / 1e6);

    QuickSearchViewModel model(*store);
    struct Case { const char *label; QString text; };
    const Case cases[] = {
        {"rare word", QStringLiteral("zanzibarite")},
        {"common word", QStringLiteral("the")},
        {"medium word", QStringLiteral("rebase")},
        {"two words", QStringLiteral("merge the branch")},
        {"accented", QStringLiteral("éclair")},
        {"no match", QStringLiteral("qqqxqqq")},
        {"2 letters, common (scan)", QStringLiteral("th")},
        {"2 letters, rare (scan)", QStringLiteral("qz")},
    };
    std::printf("\n%-28s %12s %12s %12s %8s\n", "query (All: workspaces + 15 messages)", "automatic", "index only",
                "plain scan", "hits");
    for (const Case &c : cases) {
        model.setMessageScan(search::MessageScan::automatic);
        const double automatic = medianMs(model, c.text, 5);
        const int hits = int(model.results().size());
        model.setMessageScan(search::MessageScan::indexed);
        const double index = medianMs(model, c.text, 5);
        model.setMessageScan(search::MessageScan::plain);
        const double plain = medianMs(model, c.text, 3);
        std::printf("%-38s %9.1f ms %9.1f ms %9.1f ms %8d\n", qPrintable(QStringLiteral("%1 \"%2\"").arg(c.label, c.text)),
                    automatic, index, plain, hits);
    }
    return 0;
}
