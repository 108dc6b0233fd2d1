#include "app/StartupSequence.h"

#include "accounts/ProfileRepairs.h"
#include "core/MainThread.h"
#include "core/Broadcasts.h"
#include "core/startup/StartupRepairs.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"

namespace corvane::startup {

Result<std::shared_ptr<Store>> openStore(const QString &path)
{
    auto opened = Store::open(path);
    if (!opened)
        return opened.error();
    std::shared_ptr<Store> store = opened.value();
    auto context = store->newContext();
    repairOrphanChats(*context);
    profiles::ensureDefaultProfile(*context);
    profiles::assignOrphanProjects(*context);
    profiles::backfillCodexHomes(*context);
    return store;
}

void runMigrations(Store &store)
{
    migrateRunCommands(store.mainContext());
    migrateChatWrapping(store.mainContext());
}

void startActivityBackfill(const std::shared_ptr<Store> &store, QObject *receiver, NotificationCenter &center)
{
    runInBackground(receiver,
        [store] {
            auto context = store->newContext();
            return backfillActivityDays(*context).days;
        },
        [&center](int days) {
            if (days > 0)
                center.post(broadcast::chatActivityDaysDidBackfill);
        });
}

} // namespace corvane::startup
