#include "shell/notifications/BackgroundNotificationService.h"

#include "core/Log.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QGuiApplication>

namespace corvane {

namespace {

const QString kService = QStringLiteral("org.freedesktop.Notifications");
const QString kPath = QStringLiteral("/org/freedesktop/Notifications");
const QString kInterface = QStringLiteral("org.freedesktop.Notifications");
const QString kDefaultAction = QStringLiteral("default");
// A notification service that does not answer this quickly is as good as none.
constexpr int kCallTimeoutMs = 10000;

bool applicationIsActive()
{
    return qGuiApp && QGuiApplication::applicationState() == Qt::ApplicationActive;
}

QString quoted(const QString &text)
{
    return QLatin1Char('"') + text + QLatin1Char('"');
}

} // namespace

BackgroundNotificationService::BackgroundNotificationService(QObject *parent)
    : BackgroundNotificationService(QDBusConnection::sessionBus(), applicationIsActive, parent)
{
}

BackgroundNotificationService::BackgroundNotificationService(const QDBusConnection &bus, ActiveProbe isApplicationActive,
                                                             QObject *parent)
    : QObject(parent), m_bus(bus), m_isActive(std::move(isApplicationActive)),
      m_clock([] { return QDateTime::currentDateTimeUtc(); })
{
    if (m_bus.isConnected()) {
        m_bus.connect(kService, kPath, kInterface, QStringLiteral("ActionInvoked"), this,
                      SLOT(onActionInvoked(uint,QString)));
        m_bus.connect(kService, kPath, kInterface, QStringLiteral("NotificationClosed"), this,
                      SLOT(onNotificationClosed(uint,uint)));
    }
    requestAuthorization();
}

BackgroundNotificationService::~BackgroundNotificationService() = default;

void BackgroundNotificationService::requestAuthorization()
{
    if (!m_bus.isConnected()) {
        logLine("Notifications", QStringLiteral("Authorization error: no session bus (%1); notifications are off")
                                     .arg(m_bus.lastError().message()));
        m_answered = true;
        emit authorizationChanged(false);
        return;
    }
    const QDBusMessage ask = QDBusMessage::createMethodCall(kService, kPath, kInterface, QStringLiteral("GetServerInformation"));
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(ask, kCallTimeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher *call) {
        call->deleteLater();
        const QDBusPendingReply<QString, QString, QString, QString> reply = *call;
        m_answered = true;
        m_authorized = !reply.isError();
        if (m_authorized)
            logLine("Notifications", QStringLiteral("Permission granted: true (%1 %2)").arg(reply.argumentAt<0>(), reply.argumentAt<2>()));
        else
            logLine("Notifications", QStringLiteral("Authorization error: no notification service on the session bus (%1); "
                                                    "notifications are off").arg(reply.error().message()));
        emit authorizationChanged(m_authorized);
    });
}

QString BackgroundNotificationService::identifier(const QString &kind, const QUuid &chatId, const QDateTime &at)
{
    return kind + QLatin1Char('-') + chatId.toString(QUuid::WithoutBraces).toUpper() + QLatin1Char('-')
        + QString::number(at.toSecsSinceEpoch());
}

void BackgroundNotificationService::notifyCompletion(const QString &chatName, const QUuid &chatId)
{
    send(QStringLiteral("completion"), chatId, QStringLiteral("Claude Finished"),
         QStringLiteral("Response complete in ") + quoted(chatName));
}

void BackgroundNotificationService::notifyQuestion(const QString &chatName, const QUuid &chatId, const QString &header)
{
    send(QStringLiteral("question"), chatId, QStringLiteral("Claude Needs Your Input"),
         quoted(chatName) + QStringLiteral(": ") + header);
}

void BackgroundNotificationService::notifyPermission(const QString &chatName, const QUuid &chatId, const QString &toolName)
{
    send(QStringLiteral("permission"), chatId, QStringLiteral("Permission Needed"),
         quoted(chatName) + QStringLiteral(" needs permission for ") + toolName);
}

void BackgroundNotificationService::send(const QString &kind, const QUuid &chatId, const QString &title, const QString &body)
{
    if (m_isActive && m_isActive())
        return; // the user is looking at the application already
    if (!m_authorized)
        return;
    Content content{kind, identifier(kind, chatId, m_clock()), chatId, title, body};
    if (m_inFlight.contains(content.identifier)) {
        m_inFlight[content.identifier] = content; // sent as a replacement once the number is known
        return;
    }
    call(content);
}

void BackgroundNotificationService::call(const Content &content)
{
    m_inFlight.insert(content.identifier, std::nullopt);
    const uint replaces = m_numbers.value(content.identifier, 0);
    QVariantMap hints{{QStringLiteral("desktop-entry"), QStringLiteral("corvane")},
                      {QStringLiteral("sound-name"), QStringLiteral("message-new-instant")},
                      {QStringLiteral("x-corvane-chat-id"), content.chatId.toString(QUuid::WithoutBraces)}};
    QDBusMessage notify = QDBusMessage::createMethodCall(kService, kPath, kInterface, QStringLiteral("Notify"));
    notify << QStringLiteral("Corvane") << replaces << QStringLiteral("corvane") << content.title << content.body
           << QStringList{kDefaultAction, QStringLiteral("Open")} << hints << qint32(-1);
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(notify, kCallTimeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, content](QDBusPendingCallWatcher *call) {
        call->deleteLater();
        const QDBusPendingReply<uint> reply = *call;
        uint number = 0;
        if (reply.isError()) {
            logLine("Notifications", QStringLiteral("Failed to send %1 notification: %2").arg(content.kind, reply.error().message()));
        } else {
            number = reply.value();
            const uint previous = m_numbers.value(content.identifier, 0);
            if (previous != 0 && previous != number)
                forget(previous); // the service gave a new number: the old one is gone
            m_numbers.insert(content.identifier, number);
            m_identifiers.insert(number, content.identifier);
            m_chats.insert(number, content.chatId);
        }
        const std::optional<Content> waiting = m_inFlight.take(content.identifier);
        emit notificationSent(content.identifier, number);
        if (waiting)
            this->call(*waiting);
    });
}

void BackgroundNotificationService::onActionInvoked(uint number, const QString &actionKey)
{
    if (actionKey != kDefaultAction)
        return;
    const auto chat = m_chats.constFind(number);
    if (chat != m_chats.cend())
        emit chatActivationRequested(*chat);
}

void BackgroundNotificationService::onNotificationClosed(uint number, uint)
{
    forget(number);
}

void BackgroundNotificationService::forget(uint number)
{
    m_chats.remove(number);
    const QString identifier = m_identifiers.take(number);
    if (!identifier.isEmpty() && m_numbers.value(identifier) == number)
        m_numbers.remove(identifier);
}

} // namespace corvane
