#pragma once

#include <QString>
#include <QUuid>

namespace corvane {

// How the session registry tells the user that a chat nobody is looking at finished or needs
// an answer. The desktop implementation decides whether a notification is shown at all (not
// while our window is active, not without a notification service); the registry only says what
// happened. Calls arrive on the main thread.
class BackgroundNotifier
{
public:
    virtual ~BackgroundNotifier() = default;

    virtual void notifyCompletion(const QString &chatName, const QUuid &chatId) = 0;
    virtual void notifyQuestion(const QString &chatName, const QUuid &chatId, const QString &header) = 0;
    virtual void notifyPermission(const QString &chatName, const QUuid &chatId, const QString &toolName) = 0;
};

} // namespace corvane
