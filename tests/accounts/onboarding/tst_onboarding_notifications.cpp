// The notifications row against a real session bus, run three ways by CTest: beside a real
// dunst, on a bus that could start dunst on demand, and on a bus with no notification service.
// A session without any bus is tried in every run.
#include "accounts/onboarding/DesktopServices.h"
#include "accounts/onboarding/OnboardingChecklistViewModel.h"
#include "accounts/onboarding/OnboardingValidator.h"
#include "support/OnboardingMachine.h"
#include "support/OnboardingWaits.h"

#include <QtTest>

using namespace corvane;
using State = OnboardingChecklistItem::State;

namespace {

QString service()
{
    return qEnvironmentVariable("CORVANE_NOTIFICATION_SERVICE");
}

} // namespace

class OnboardingNotificationsTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<test::OnboardingMachine> m_machine;

    OnboardingChecklistItem notificationsRow() const
    {
        for (const auto &item : m_machine->items())
            if (item.kind == OnboardingChecklistItem::Kind::permissionNotifications)
                return item;
        qFatal("no notifications row");
    }

    // The machine's environment with this run's bus, or with none.
    QProcessEnvironment environment(bool withBus) const
    {
        QProcessEnvironment env = m_machine->environment();
        if (withBus)
            env.insert("DBUS_SESSION_BUS_ADDRESS", qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"));
        return env;
    }

private slots:
    void init()
    {
        if (qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"))
            QSKIP("needs a private session bus (run through CTest)");
        m_machine = std::make_unique<test::OnboardingMachine>();
    }

    void cleanup() { m_machine.reset(); }

    void serviceOnTheBusIsOk()
    {
        OnboardingValidator validator(nullptr);
        validator.setEnvironment(environment(true), m_machine->home());
        const auto answer = test::checkNow(validator, notificationsRow(), 15000);
        QVERIFY(answer);
        if (service() == "none") {
            QCOMPARE(answer->state, State::missing);
            QVERIFY(!answer->attainable);
            QVERIFY2(answer->note.contains("No notification service"), qPrintable(answer->note));
        } else {
            // Running, or startable by the bus when first used: both can show a notification.
            QCOMPARE(answer->state, State::ok);
            QVERIFY(answer->attainable);
        }
    }

    void grantSendsATestNotification()
    {
        OnboardingValidator validator(nullptr);
        validator.setEnvironment(environment(true), m_machine->home());
        const auto run = test::performNow(validator, notificationsRow(), 15000);
        QVERIFY(run.finished);
        if (service() == "dunst") {
            QVERIFY2(run.succeeded, qPrintable(run.output));
            QVERIFY2(run.output.startsWith("A test notification was sent"), qPrintable(run.output));
        } else {
            // No service, or one the bus cannot start here (dunst needs a display): said, not hidden.
            QVERIFY(!run.succeeded);
            QVERIFY2(run.output.startsWith("The notification service did not show the test notification: "),
                     qPrintable(run.output));
        }
        QVERIFY(run.output.endsWith('\n'));
    }

    void sessionWithoutABusDoesNotHoldTheUserBack()
    {
        OnboardingValidator validator(nullptr);
        validator.setEnvironment(environment(false), m_machine->home());
        const auto answer = test::checkNow(validator, notificationsRow());
        QCOMPARE(answer->state, State::missing);
        QVERIFY(!answer->attainable);
        QVERIFY2(answer->note.contains("no message bus"), qPrintable(answer->note));
        const auto run = test::performNow(validator, notificationsRow());
        QVERIFY(!run.succeeded);
        QVERIFY(run.output.contains("no message bus"));
    }

    void unavailableNotificationsLeaveContinueOpen()
    {
        // Git and Node.js found (stand-ins on the PATH), codex installed and signed in.
        for (const char *tool : {"git", "node", "codex"})
            QVERIFY(test::writeExecutable(m_machine->pathFolder() + "/" + tool));
        QVERIFY(test::writeFile(m_machine->home() + "/.codex/auth.json", R"({"auth_mode":"apikey","OPENAI_API_KEY":"sk-1"})"));
        auto *validator = new OnboardingValidator(nullptr);
        validator->setEnvironment(environment(true), m_machine->home());
        OnboardingChecklistViewModel model(validator, m_machine->items());
        model.revalidateAll();
        QTRY_VERIFY_WITH_TIMEOUT(std::none_of(model.items().cbegin(), model.items().cend(),
                                              [](const auto &row) { return row.state == State::checking; }),
                                 15000);
        const bool serviceHere = service() != "none";
        QCOMPARE(model.isOk("notifications"), serviceHere);
        QVERIFY(model.allRequiredSatisfied());
        QVERIFY(model.canContinue());
    }
};

QTEST_MAIN(OnboardingNotificationsTest)
#include "tst_onboarding_notifications.moc"
