#pragma once

#include "agent/session/BackgroundNotifier.h"

#include <QDBusConnection>
#include <QDateTime>
#include <QHash>
#include <QObject>
#include <QString>
#include <QUuid>

#include <functional>
#include <optional>

namespace corvane {

// Desktop notifications for chats nobody is looking at, through the freedesktop notification
// service on the session bus (org.freedesktop.Notifications). That service replaces a
// notification only by the number it handed out, so the number of each of our identifiers is
// kept until the notification closes. Nothing is shown while one of our windows is active, and
// without a notification service the application carries on with notifications off.
class BackgroundNotificationService : public QObject, public BackgroundNotifier
{
    Q_OBJECT

public:
    using ActiveProbe = std::function<bool()>;
    using Clock = std::function<QDateTime()>;

    // The session bus, and "active" from the application state.
    explicit BackgroundNotificationService(QObject *parent = nullptr);
    BackgroundNotificationService(const QDBusConnection &bus, ActiveProbe isApplicationActive, QObject *parent = nullptr);
    ~BackgroundNotificationService() override;

    // Asks the bus whether a notification service answers; until it has, nothing is sent.
    // Called by the constructor.
    void requestAuthorization();
    bool isAuthorized() const { return m_authorized; }
    // True once requestAuthorization() has an answer, either way.
    bool hasAnswer() const { return m_answered; }

    void notifyCompletion(const QString &chatName, const QUuid &chatId) override;
    void notifyQuestion(const QString &chatName, const QUuid &chatId, const QString &header) override;
    void notifyPermission(const QString &chatName, const QUuid &chatId, const QString &toolName) override;

    // "completion-<uuid>-<seconds since 1970>": repeats within a second replace each other.
    static QString identifier(const QString &kind, const QUuid &chatId, const QDateTime &at);

    // For tests: the time identifiers are made from.
    void setClock(Clock clock) { m_clock = std::move(clock); }
    // The service's number of a shown notification, 0 when it is not (or no longer) shown.
    uint notificationNumber(const QString &identifier) const { return m_numbers.value(identifier); }

signals:
    // The user clicked the notification of this chat.
    void chatActivationRequested(QUuid chatId);
    void authorizationChanged(bool authorized);
    // A Notify call was answered: with the service's number, or 0 after an error.
    void notificationSent(const QString &identifier, uint number);

private slots:
    void onActionInvoked(uint number, const QString &actionKey);
    void onNotificationClosed(uint number, uint reason);

private:
    struct Content
    {
        QString kind;
        QString identifier;
        QUuid chatId;
        QString title;
        QString body;
    };

    void send(const QString &kind, const QUuid &chatId, const QString &title, const QString &body);
    void call(const Content &content);
    void forget(uint number);

    QDBusConnection m_bus;
    ActiveProbe m_isActive;
    Clock m_clock;
    bool m_authorized = false;
    bool m_answered = false;
    QHash<QString, uint> m_numbers;          // identifier -> the service's number
    QHash<uint, QString> m_identifiers;      // and back
    QHash<uint, QUuid> m_chats;              // the service's number -> chat
    // A notification whose Notify is still under way: a second one with the same identifier
    // waits here so it can replace the first instead of appearing beside it.
    QHash<QString, std::optional<Content>> m_inFlight;
};

} // namespace corvane
