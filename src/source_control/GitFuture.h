#pragma once

#include "source_control/GitResult.h"

#include <QMetaObject>
#include <QMutex>
#include <QObject>
#include <QPointer>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace corvane {

template <typename T>
class GitPromise;

// The pending result of one GitService call. Copies share the call. then() hands the result to
// a function on the thread of a context object, queued, once the call has ended; the function is
// skipped when the context was destroyed first, which is how a caller that went away cancels.
template <typename T>
class GitFuture
{
public:
    using ResultType = GitResult<T>;

    GitFuture() = default;

    // A call that ended before it started: a name git would refuse, for instance.
    static GitFuture ready(ResultType result)
    {
        GitPromise<T> promise;
        promise.resolve(std::move(result));
        return promise.future();
    }

    bool isValid() const { return bool(m_state); }
    bool isFinished() const
    {
        if (!m_state)
            return false;
        QMutexLocker lock(&m_state->mutex);
        return m_state->result.has_value();
    }
    // Only once isFinished().
    ResultType result() const
    {
        QMutexLocker lock(&m_state->mutex);
        return *m_state->result;
    }

    // `fn(GitResult<T>)` runs on `context`'s thread from its event loop, also when the call has
    // already ended. Several functions may wait on one call; each sees the same result.
    template <typename Fn>
    const GitFuture &then(QObject *context, Fn fn) const
    {
        Q_ASSERT(m_state && context);
        QPointer<QObject> guard(context);
        auto deliver = [guard, fn = std::move(fn)](const ResultType &result) mutable {
            if (!guard)
                return;
            QMetaObject::invokeMethod(guard.data(), [guard, fn, result]() mutable {
                if (guard)
                    fn(std::move(result));
            }, Qt::QueuedConnection);
        };
        QMutexLocker lock(&m_state->mutex);
        if (m_state->result) {
            const ResultType result = *m_state->result;
            lock.unlock();
            deliver(result);
        } else {
            m_state->waiting.push_back(std::move(deliver));
        }
        return *this;
    }

private:
    friend class GitPromise<T>;

    struct State
    {
        QMutex mutex;
        std::optional<ResultType> result;
        std::vector<std::function<void(const ResultType &)>> waiting;
    };

    explicit GitFuture(std::shared_ptr<State> state) : m_state(std::move(state)) {}

    std::shared_ptr<State> m_state;
};

// The side of a call that produces its result. The first resolve() wins; later ones are ignored.
template <typename T>
class GitPromise
{
public:
    GitPromise() : m_state(std::make_shared<typename GitFuture<T>::State>()) {}

    GitFuture<T> future() const { return GitFuture<T>(m_state); }

    void resolve(GitResult<T> result) const
    {
        QMutexLocker lock(&m_state->mutex);
        if (m_state->result)
            return;
        m_state->result.emplace(std::move(result));
        auto waiting = std::move(m_state->waiting);
        m_state->waiting.clear();
        const GitResult<T> stored = *m_state->result;
        lock.unlock();
        for (auto &deliver : waiting)
            deliver(stored);
    }

private:
    std::shared_ptr<typename GitFuture<T>::State> m_state;
};

} // namespace corvane
