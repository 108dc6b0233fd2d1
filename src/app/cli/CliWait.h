#pragma once

#include "core/Result.h"
#include "source_control/GitFuture.h"

#include <QEventLoop>

#include <optional>

// The command line has nothing else to do while git or the network works: it waits in an event
// loop of its own.
namespace corvane::cli {

template <typename T>
GitResult<T> waitFor(const GitFuture<T> &future)
{
    QEventLoop loop;
    future.then(&loop, [&loop](const GitResult<T> &) { loop.quit(); });
    if (!future.isFinished())
        loop.exec();
    return future.result();
}

// Runs `start(done)` and waits for its one Result<T>, which may come before start() returns.
template <typename T, typename Start>
Result<T> waitForResult(Start start)
{
    QEventLoop loop;
    std::optional<Result<T>> result;
    start([&](Result<T> r) {
        result = std::move(r);
        loop.quit();
    });
    if (!result)
        loop.exec();
    return std::move(*result);
}

} // namespace corvane::cli
