#pragma once

#include <QHash>
#include <QMutex>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariantMap>

#include <functional>

namespace corvane {

// A posted notification: its name is its identity; the sender and payload are optional.
struct Notification
{
    QString name;
    const void *sender = nullptr;
    QVariantMap payload;
};

// The process-wide broadcast centre. Posting calls every observer of the name synchronously on
// the poster's thread; an observer that must touch the interface hops to the main thread itself
// (see MainThread.h). Observers may be added or removed at any time, also from inside a post:
// one removed while a post runs is not called any more by that post.
class NotificationCenter
{
public:
    using Handler = std::function<void(const Notification &)>;
    using Token = quint64;

    // The one instance of the application. Tests may create their own centres.
    static NotificationCenter &instance();

    // Observe `name`; with a non-null `sender`, only posts from that sender. Returns a token for
    // removeObserver(). With a `context`, the observer also goes away with that object.
    Token addObserver(const QString &name, Handler handler, const void *sender = nullptr,
                      QObject *context = nullptr);
    void removeObserver(Token token);

    void post(const QString &name, const void *sender = nullptr, const QVariantMap &payload = {});
    void post(const Notification &notification);

    int observerCount(const QString &name) const;

private:
    struct Observer
    {
        Token token = 0;
        QString name;
        const void *sender = nullptr;
        bool hasContext = false;
        QPointer<QObject> context;
        std::shared_ptr<Handler> handler;
    };

    mutable QMutex m_mutex;
    QHash<Token, Observer> m_observers;
    QMultiHash<QString, Token> m_byName;
    Token m_nextToken = 1;
};

// Removes its observer when it goes out of scope: the usual way for an object to observe for
// as long as it lives.
class ObserverGuard
{
public:
    ObserverGuard() = default;
    ObserverGuard(NotificationCenter &center, NotificationCenter::Token token)
        : m_center(&center), m_token(token) {}
    ObserverGuard(ObserverGuard &&other) noexcept { *this = std::move(other); }
    ObserverGuard &operator=(ObserverGuard &&other) noexcept
    {
        reset();
        m_center = std::exchange(other.m_center, nullptr);
        m_token = std::exchange(other.m_token, 0);
        return *this;
    }
    ObserverGuard(const ObserverGuard &) = delete;
    ObserverGuard &operator=(const ObserverGuard &) = delete;
    ~ObserverGuard() { reset(); }

    void reset()
    {
        if (m_center && m_token)
            m_center->removeObserver(m_token);
        m_center = nullptr;
        m_token = 0;
    }

private:
    NotificationCenter *m_center = nullptr;
    NotificationCenter::Token m_token = 0;
};

} // namespace corvane
