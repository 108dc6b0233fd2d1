#include "accounts/onboarding/DesktopServices.h"

#include <QAtomicInteger>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QAudioDevice>
#include <QMediaDevices>
#include <QObject>
#include <QVariantMap>

namespace corvane::onboarding {

namespace {

const QString notificationsName = QStringLiteral("org.freedesktop.Notifications");
constexpr int busTimeoutMs = 5000;

// A private connection per use: the bus may come and go between checks, and the shared
// session connection would keep whatever address it first saw.
class BusConnection
{
public:
    explicit BusConnection(const QString &address)
        : m_name(QStringLiteral("corvane-onboarding-%1").arg(counter.fetchAndAddRelaxed(1))),
          m_connection(QDBusConnection::connectToBus(address, m_name))
    {
    }
    ~BusConnection() { QDBusConnection::disconnectFromBus(m_name); }
    QDBusConnection &operator*() { return m_connection; }
    QDBusConnection *operator->() { return &m_connection; }

private:
    static inline QAtomicInteger<int> counter{0};
    QString m_name;
    QDBusConnection m_connection;
};

QString noServiceNote()
{
    return QObject::tr("No notification service is running on this desktop, so Corvane cannot show "
                       "notifications. You can continue without them.");
}

QString noBusNote()
{
    return QObject::tr("This session has no message bus, so no notifications can be shown. "
                       "You can continue without them.");
}

} // namespace

OnboardingCheck checkNotificationService(const QString &busAddress)
{
    if (busAddress.isEmpty())
        return OnboardingCheck::missing(noBusNote(), false);
    BusConnection bus(busAddress);
    if (!bus->isConnected())
        return OnboardingCheck::missing(noBusNote(), false);
    QDBusConnectionInterface *names = bus->interface();
    const QDBusReply<bool> owned = names->isServiceRegistered(notificationsName);
    if (owned.isValid() && owned.value())
        return OnboardingCheck::ok();
    QDBusMessage list = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                                                       QStringLiteral("org.freedesktop.DBus"), QStringLiteral("ListActivatableNames"));
    const QDBusReply<QStringList> activatable = bus->call(list, QDBus::Block, busTimeoutMs);
    if (activatable.isValid() && activatable.value().contains(notificationsName))
        return OnboardingCheck::ok();
    return OnboardingCheck::missing(noServiceNote(), false);
}

Result<QString> sendTestNotification(const QString &busAddress)
{
    if (busAddress.isEmpty())
        return Error(noBusNote());
    BusConnection bus(busAddress);
    if (!bus->isConnected())
        return Error(noBusNote() + QStringLiteral(" (") + bus->lastError().message() + QLatin1Char(')'));
    QDBusMessage notify = QDBusMessage::createMethodCall(notificationsName, QStringLiteral("/org/freedesktop/Notifications"),
                                                         notificationsName, QStringLiteral("Notify"));
    notify << QStringLiteral("Corvane") << uint(0) << QStringLiteral("corvane") << QObject::tr("Notifications are on")
           << QObject::tr("Corvane will let you know here when a chat finishes or needs your input.") << QStringList()
           << QVariantMap() << int(5000);
    const QDBusReply<uint> reply = bus->call(notify, QDBus::Block, busTimeoutMs);
    if (!reply.isValid())
        return Error(QObject::tr("The notification service did not show the test notification: %1")
                         .arg(reply.error().message()));
    return QObject::tr("A test notification was sent; the desktop accepted it (number %1).").arg(reply.value());
}

bool hasAudioInput()
{
    return !QMediaDevices::audioInputs().isEmpty();
}

} // namespace corvane::onboarding
