#include "core/NotificationCenter.h"

#include <QMutexLocker>

namespace corvane {

NotificationCenter &NotificationCenter::instance()
{
    static NotificationCenter center;
    return center;
}

NotificationCenter::Token NotificationCenter::addObserver(const QString &name, Handler handler,
                                                          const void *sender, QObject *context)
{
    QMutexLocker lock(&m_mutex);
    Observer observer;
    observer.token = m_nextToken++;
    observer.name = name;
    observer.sender = sender;
    observer.hasContext = context != nullptr;
    observer.context = context;
    observer.handler = std::make_shared<Handler>(std::move(handler));
    m_observers.insert(observer.token, observer);
    m_byName.insert(name, observer.token);
    return observer.token;
}

void NotificationCenter::removeObserver(Token token)
{
    QMutexLocker lock(&m_mutex);
    auto it = m_observers.find(token);
    if (it == m_observers.end())
        return;
    m_byName.remove(it->name, token);
    m_observers.erase(it);
}

void NotificationCenter::post(const QString &name, const void *sender, const QVariantMap &payload)
{
    post(Notification{name, sender, payload});
}

void NotificationCenter::post(const Notification &notification)
{
    // Take the list of tokens, then call each observer still registered at its turn, without the
    // lock held: handlers may post, add or remove observers.
    QList<Token> tokens;
    {
        QMutexLocker lock(&m_mutex);
        tokens = m_byName.values(notification.name);
    }
    for (Token token : std::as_const(tokens)) {
        std::shared_ptr<Handler> handler;
        {
            QMutexLocker lock(&m_mutex);
            auto it = m_observers.find(token);
            if (it == m_observers.end())
                continue;
            if (it->hasContext && !it->context) {
                m_byName.remove(it->name, token);
                m_observers.erase(it);
                continue;
            }
            if (it->sender && it->sender != notification.sender)
                continue;
            handler = it->handler;
        }
        (*handler)(notification);
    }
}

int NotificationCenter::observerCount(const QString &name) const
{
    QMutexLocker lock(&m_mutex);
    return int(m_byName.count(name));
}

} // namespace corvane
