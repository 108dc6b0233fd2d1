// A second writer for the tests, as small as one can be: takes the store's write lock, says
// "locked" on standard output, keeps the lock for the given milliseconds, and commits.
#include <sqlite3.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

int main(int argc, char *argv[])
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: store_lock_holder STORE MILLISECONDS\n");
        return 2;
    }
    sqlite3 *db = nullptr;
    if (sqlite3_open_v2(argv[1], &db, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
        std::fprintf(stderr, "cannot open %s: %s\n", argv[1], sqlite3_errmsg(db));
        return 1;
    }
    sqlite3_busy_timeout(db, 5000);
    // A write in the transaction, so that the lock is a real writer's and not only a reservation.
    if (sqlite3_exec(db, "BEGIN IMMEDIATE; UPDATE Project SET sortOrder = sortOrder + 1", nullptr, nullptr, nullptr) != SQLITE_OK) {
        std::fprintf(stderr, "cannot take the lock: %s\n", sqlite3_errmsg(db));
        return 1;
    }
    std::printf("locked\n");
    std::fflush(stdout);
    std::this_thread::sleep_for(std::chrono::milliseconds(std::atoi(argv[2])));
    const int rc = sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    sqlite3_close(db);
    return rc == SQLITE_OK ? 0 : 1;
}
