#pragma once

#include "core/Result.h"

#include <QString>

#include <memory>

class QObject;

namespace corvane {

class NotificationCenter;
class Store;

// The order in which stored data is brought up to date as the application starts. Kept apart
// from the windows so a test can run a whole start on a real store.
namespace startup {

// Opens the store (moving an unreadable one aside), then runs the repairs that must precede any
// window: orphaned chats get workspaces, a default profile exists, projects have a profile and
// profiles a codex home.
Result<std::shared_ptr<Store>> openStore(const QString &path);

// The migrations that run once the services are up: run commands become actions, chats that
// lost their workspace get one.
void runMigrations(Store &store);

// Fills in activity days on a background thread with a context of its own; when it added any,
// posts "chatActivityDaysDidBackfill" on the thread of `receiver`.
void startActivityBackfill(const std::shared_ptr<Store> &store, QObject *receiver, NotificationCenter &center);

} // namespace startup
} // namespace corvane
