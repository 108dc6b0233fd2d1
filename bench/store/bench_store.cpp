// Our record layer against hand-written SQLite statements doing the same work on the same
// schema, in one run: 100,000 messages inserted into one chat in save batches of the size a
// chat session writes, the newest 10,000 fetched in order, and counted. Prints the ratios last.
#include "core/records/Chat.h"
#include "core/records/Message.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QMap>
#include <QTemporaryDir>

#include <sqlite3.h>

using namespace corvane;

namespace {

constexpr int kMessages = 100000;
constexpr int kBatch = 20; // a turn's worth of rows per save
constexpr int kNewest = 10000;

struct Fixture
{
    QTemporaryDir dir;
    std::shared_ptr<Store> store;
    QUuid chatId;

    Fixture()
    {
        store = Store::open(dir.filePath("bench.store")).value();
        Chat chat;
        chatId = store->mainContext().insert(chat)->id;
        (void)store->mainContext().save();
    }
};

Message makeMessage(const QUuid &chatId, int i, const QDateTime &base)
{
    Message m;
    m.chatId = chatId;
    m.role = i % 2 ? MessageRole::assistant : MessageRole::user;
    m.content = QStringLiteral("Message number %1 with a little text of the usual length for a chat row.").arg(i);
    m.timestamp = base.addMSecs(i);
    return m;
}

void insertWithStore(Fixture &f)
{
    StoreContext &ctx = f.store->mainContext();
    const QDateTime base = QDateTime::currentDateTime();
    for (int i = 0; i < kMessages; ++i) {
        ctx.insert(makeMessage(f.chatId, i, base));
        if ((i + 1) % kBatch == 0)
            (void)ctx.save();
    }
    (void)ctx.save();
}

void insertBare(sqlite3 *db, const QUuid &chatId)
{
    sqlite3_stmt *insert = nullptr;
    sqlite3_prepare_v2(db,
        "INSERT INTO Message (id, role, content, contentType, toolName, timestamp, metadata, isComplete, chatId) "
        "VALUES (?,?,?,?,?,?,?,?,?)", -1, &insert, nullptr);
    const QByteArray chat = chatId.toString(QUuid::WithoutBraces).toUtf8();
    const QDateTime base = QDateTime::currentDateTime();
    for (int i = 0; i < kMessages; ++i) {
        if (i % kBatch == 0)
            sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
        const Message m = makeMessage(chatId, i, base);
        const QByteArray id = m.id.toString(QUuid::WithoutBraces).toUtf8();
        const QByteArray content = m.content.toUtf8();
        sqlite3_reset(insert);
        sqlite3_bind_text(insert, 1, id.constData(), int(id.size()), SQLITE_TRANSIENT);
        sqlite3_bind_text(insert, 2, i % 2 ? "assistant" : "user", -1, SQLITE_STATIC);
        sqlite3_bind_text(insert, 3, content.constData(), int(content.size()), SQLITE_TRANSIENT);
        sqlite3_bind_text(insert, 4, "text", -1, SQLITE_STATIC);
        sqlite3_bind_null(insert, 5);
        sqlite3_bind_int64(insert, 6, m.timestamp.toMSecsSinceEpoch());
        sqlite3_bind_null(insert, 7);
        sqlite3_bind_int(insert, 8, 1);
        sqlite3_bind_text(insert, 9, chat.constData(), int(chat.size()), SQLITE_TRANSIENT);
        sqlite3_step(insert);
        if ((i + 1) % kBatch == 0)
            sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    }
    sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    sqlite3_finalize(insert);
}

sqlite3 *openBare(const QString &path)
{
    sqlite3 *db = nullptr;
    sqlite3_open(path.toUtf8().constData(), &db);
    sqlite3_exec(db, "PRAGMA foreign_keys = ON; PRAGMA synchronous = NORMAL; PRAGMA journal_mode = WAL;",
                 nullptr, nullptr, nullptr);
    return db;
}

Fixture &filled()
{
    static Fixture fixture = [] {
        Fixture f;
        insertWithStore(f);
        return f;
    }();
    return fixture;
}

void BM_Insert100kMessages_Store(benchmark::State &state)
{
    for (auto _ : state) {
        Fixture f;
        insertWithStore(f);
    }
}

void BM_Insert100kMessages_BareSQLite(benchmark::State &state)
{
    for (auto _ : state) {
        Fixture f; // same schema and file layout, written by hand
        sqlite3 *db = openBare(f.store->path());
        insertBare(db, f.chatId);
        sqlite3_close(db);
    }
}

void BM_FetchNewest10k_Store(benchmark::State &state)
{
    Fixture &f = filled();
    for (auto _ : state) {
        auto ctx = f.store->newContext();
        auto rows = ctx->fetch<Message>(Query(where::eq("chatId", f.chatId)).orderBy("timestamp", false).limitTo(kNewest));
        std::reverse(rows->begin(), rows->end());
        benchmark::DoNotOptimize(rows->size());
    }
}

void BM_FetchNewest10k_BareSQLite(benchmark::State &state)
{
    Fixture &f = filled();
    sqlite3 *db = openBare(f.store->path());
    sqlite3_stmt *select = nullptr;
    sqlite3_prepare_v2(db,
        "SELECT id, role, content, contentType, toolName, timestamp, metadata, isComplete, chatId FROM Message "
        "WHERE chatId = ? ORDER BY timestamp DESC, rowid LIMIT ?", -1, &select, nullptr);
    const QByteArray chat = f.chatId.toString(QUuid::WithoutBraces).toUtf8();
    for (auto _ : state) {
        QList<std::shared_ptr<Message>> rows;
        sqlite3_reset(select);
        sqlite3_bind_text(select, 1, chat.constData(), int(chat.size()), SQLITE_STATIC);
        sqlite3_bind_int(select, 2, kNewest);
        while (sqlite3_step(select) == SQLITE_ROW) {
            auto m = std::make_shared<Message>();
            m->id = QUuid::fromString(QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(select, 0))));
            m->role = QByteArray(reinterpret_cast<const char *>(sqlite3_column_text(select, 1))) == "assistant"
                          ? MessageRole::assistant : MessageRole::user;
            m->content = QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(select, 2)),
                                           sqlite3_column_bytes(select, 2));
            m->timestamp = QDateTime::fromMSecsSinceEpoch(sqlite3_column_int64(select, 5), Qt::UTC).toLocalTime();
            m->isComplete = sqlite3_column_int(select, 7) != 0;
            m->chatId = f.chatId;
            rows.append(m);
        }
        std::reverse(rows.begin(), rows.end());
        benchmark::DoNotOptimize(rows.size());
    }
    sqlite3_finalize(select);
    sqlite3_close(db);
}

void BM_CountChatMessages_Store(benchmark::State &state)
{
    Fixture &f = filled();
    auto ctx = f.store->newContext();
    for (auto _ : state)
        benchmark::DoNotOptimize(ctx->count<Message>(where::eq("chatId", f.chatId)).valueOr(0));
}

void BM_CountChatMessages_BareSQLite(benchmark::State &state)
{
    Fixture &f = filled();
    sqlite3 *db = openBare(f.store->path());
    sqlite3_stmt *count = nullptr;
    sqlite3_prepare_v2(db, "SELECT count(*) FROM Message WHERE chatId = ?", -1, &count, nullptr);
    const QByteArray chat = f.chatId.toString(QUuid::WithoutBraces).toUtf8();
    for (auto _ : state) {
        sqlite3_reset(count);
        sqlite3_bind_text(count, 1, chat.constData(), int(chat.size()), SQLITE_STATIC);
        sqlite3_step(count);
        benchmark::DoNotOptimize(sqlite3_column_int64(count, 0));
    }
    sqlite3_finalize(count);
    sqlite3_close(db);
}

BENCHMARK(BM_Insert100kMessages_Store)->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Insert100kMessages_BareSQLite)->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FetchNewest10k_Store)->Iterations(20)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FetchNewest10k_BareSQLite)->Iterations(20)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CountChatMessages_Store)->Iterations(200)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CountChatMessages_BareSQLite)->Iterations(200)->Unit(benchmark::kMicrosecond);

// Prints each pair's ratio (ours over bare) after the usual table.
class RatioReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run> &runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run &run : runs)
            m_times[QString::fromStdString(run.benchmark_name())] = run.GetAdjustedRealTime();
    }
    void Finalize() override
    {
        ConsoleReporter::Finalize();
        for (const char *name : {"Insert100kMessages", "FetchNewest10k", "CountChatMessages"}) {
            double ours = 0, bare = 0;
            for (auto it = m_times.cbegin(); it != m_times.cend(); ++it) {
                if (it.key().startsWith(QStringLiteral("BM_%1_Store").arg(name)))
                    ours = it.value();
                if (it.key().startsWith(QStringLiteral("BM_%1_BareSQLite").arg(name)))
                    bare = it.value();
            }
            if (ours > 0 && bare > 0)
                std::printf("ratio %-20s %.2fx of bare SQLite\n", name, ours / bare);
        }
    }

private:
    QMap<QString, double> m_times;
};

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
