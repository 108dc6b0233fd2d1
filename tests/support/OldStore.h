#pragma once

// A store as version 1 wrote it (before the message index), made with plain SQL so that tests can
// migrate it, with `messages` text messages in three chats (every fifth one a tool row search
// never finds). Each message carries a token of its own, "k<number>q", and the word "zebra".
#include "core/store/Connection.h"
#include "core/store/Migrations.h"

#include <QString>
#include <QUuid>

#include <memory>

#include <sqlite3.h>

namespace corvane::test {

inline QString oldMessageToken(int n)
{
    return QStringLiteral("k%1q").arg(n, 6, 10, QLatin1Char('0'));
}

inline bool makeVersionOneStore(const QString &path, int messages)
{
    sqlite3 *db = nullptr;
    if (sqlite3_open(path.toUtf8().constData(), &db) != SQLITE_OK)
        return false;
    bool ok = sqlite3_exec(db, store::migrations().at(0).sql, nullptr, nullptr, nullptr) == SQLITE_OK
        && sqlite3_exec(db, "PRAGMA user_version = 1; BEGIN", nullptr, nullptr, nullptr) == SQLITE_OK;
    for (int c = 0; ok && c < 3; ++c) {
        const QByteArray sql = QStringLiteral("INSERT INTO Chat (id, name, createdAt, sortOrder, pendingProfileMigration, "
                                              "usesWorktree) VALUES ('00000000-0000-0000-0000-00000000000%1', 'Chat %1', 0, %1, 0, 0)")
                                   .arg(c).toUtf8();
        ok = sqlite3_exec(db, sql.constData(), nullptr, nullptr, nullptr) == SQLITE_OK;
    }
    sqlite3_stmt *insert = nullptr;
    ok = ok && sqlite3_prepare_v2(db, "INSERT INTO Message (id, role, content, contentType, timestamp, isComplete, chatId) "
                                      "VALUES (?, ?, ?, ?, ?, 1, ?)", -1, &insert, nullptr) == SQLITE_OK;
    for (int n = 0; ok && n < messages; ++n) {
        const bool tool = n % 5 == 4;
        const QByteArray id = QUuid::createUuid().toString(QUuid::WithoutBraces).toUtf8();
        const QByteArray content = QStringLiteral("message %1 about a zebra").arg(oldMessageToken(n)).toUtf8();
        const QByteArray chat = QStringLiteral("00000000-0000-0000-0000-00000000000%1").arg(n % 3).toUtf8();
        sqlite3_bind_text(insert, 1, id.constData(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(insert, 2, tool ? "tool" : (n % 2 ? "assistant" : "user"), -1, SQLITE_STATIC);
        sqlite3_bind_text(insert, 3, content.constData(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(insert, 4, tool ? "toolOutput" : "text", -1, SQLITE_STATIC);
        sqlite3_bind_int64(insert, 5, 1'700'000'000'000 + n * 1000);
        sqlite3_bind_text(insert, 6, chat.constData(), -1, SQLITE_TRANSIENT);
        ok = sqlite3_step(insert) == SQLITE_DONE;
        sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);
    ok = ok && sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr) == SQLITE_OK;
    sqlite3_close(db);
    return ok;
}

// An empty store as the schema's `version` left it, made with the released steps up to it.
inline bool makeStoreAtVersion(const QString &path, int version)
{
    auto opened = store::Connection::open(path, true);
    if (!opened)
        return false;
    std::unique_ptr<store::Connection> connection(opened.value());
    for (const store::Migration &step : store::migrations()) {
        if (step.version > version)
            break;
        if (!(step.apply ? step.apply(*connection) : connection->exec(step.sql)))
            return false;
    }
    return bool(connection->exec(QByteArray("PRAGMA user_version = " + QByteArray::number(version)).constData()));
}

} // namespace corvane::test
