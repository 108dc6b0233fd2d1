// The checklist window driven as a person would: rows, buttons, the error log and Continue,
// over real checks on a made-up machine.
#include "accounts/onboarding/OnboardingChecklistViewModel.h"
#include "accounts/onboarding/OnboardingValidator.h"
#include "shell/OnboardingRow.h"
#include "shell/OnboardingWindow.h"
#include "support/OnboardingMachine.h"

#include <QLabel>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>
#include <QToolButton>
#include <QtTest>

using namespace corvane;
using Item = OnboardingChecklistItem;
using State = Item::State;

class OnboardingWindowTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<test::OnboardingMachine> m_machine;

    QPointer<OnboardingWindow> open(QList<Item> items = {})
    {
        auto *validator = new OnboardingValidator(nullptr);
        validator->setEnvironment(m_machine->environment(), m_machine->home());
        auto *model = new OnboardingChecklistViewModel(validator, items.isEmpty() ? m_machine->items() : items);
        QPointer<OnboardingWindow> window = new OnboardingWindow(model);
        window->show();
        return window;
    }

    static bool settled(const OnboardingWindow &window)
    {
        const auto &items = window.model().items();
        return std::none_of(items.cbegin(), items.cend(),
                            [](const Item &row) { return row.state == State::checking || row.state == State::unknown; });
    }

    void setUpCodex()
    {
        for (const char *tool : {"git", "node", "codex"})
            QVERIFY(test::writeExecutable(m_machine->home() + "/.local/bin/" + tool));
        QVERIFY(test::writeFile(m_machine->home() + "/.codex/auth.json", R"({"auth_mode":"apikey","OPENAI_API_KEY":"sk-1"})"));
    }

private slots:
    void init() { m_machine = std::make_unique<test::OnboardingMachine>(); }
    void cleanup() { m_machine.reset(); }

    void showsTheHeadingAndEveryRowChecking()
    {
        QPointer<OnboardingWindow> window = open();
        QCOMPARE(window->findChild<QLabel *>("heading")->text(),
                 QStringLiteral("Corvane needs a few things before you can get started."));
        // Checking starts the moment the window is made.
        for (const Item &row : window->model().items()) {
            QVERIFY(window->row(row.id));
            QCOMPARE(window->row(row.id)->statusLabel()->text(), QStringLiteral("Checking…"));
        }
        QVERIFY(!window->continueButton()->isEnabled());
        QTRY_VERIFY_WITH_TIMEOUT(settled(*window), 30000);
        delete window.data();
    }

    void continueOpensWithCodexAndCompletes()
    {
        setUpCodex();
        QPointer<OnboardingWindow> window = open();
        QSignalSpy completed(window.data(), &OnboardingWindow::completed);
        QTRY_VERIFY_WITH_TIMEOUT(settled(*window), 30000);
        QVERIFY(window->continueButton()->isEnabled());
        QCOMPARE(window->row("codex-login")->statusLabel()->text(), QStringLiteral("✓ Signed in"));
        QCOMPARE(window->row("notifications")->statusLabel()->text(), QStringLiteral("Not available"));
        QVERIFY(window->row("notifications")->noteLabel()->isVisible());
        QVERIFY(!window->row("notifications")->actionButton()->isVisible()); // nothing to grant here
        QVERIFY(window->row("claude-login")->requirementLabel()->isVisible());
        QCOMPARE(window->row("claude-login")->requirementLabel()->text(), QStringLiteral("Requires Claude Code"));
        QVERIFY(!window->row("claude-login")->actionButton()->isVisible());
        QTest::mouseClick(window->continueButton(), Qt::LeftButton);
        QCOMPARE(completed.count(), 1);
        delete window.data();
    }

    void footerAsksForASignIn()
    {
        for (const char *tool : {"git", "node", "codex"})
            QVERIFY(test::writeExecutable(m_machine->home() + "/.local/bin/" + tool));
        QPointer<OnboardingWindow> window = open();
        QSignalSpy completed(window.data(), &OnboardingWindow::completed);
        QTRY_VERIFY_WITH_TIMEOUT(settled(*window), 30000);
        QCOMPARE(window->footer()->text(), QStringLiteral("Connect Claude or ChatGPT to continue."));
        QVERIFY(!window->continueButton()->isEnabled());
        QCOMPARE(window->row("codex-login")->actionButton()->text(), QStringLiteral("Login"));
        QVERIFY(window->row("codex-login")->actionButton()->isEnabled());

        // Signed in from a terminal; "Check Again" sees it.
        QVERIFY(test::writeFile(m_machine->home() + "/.codex/auth.json", R"({"auth_mode":"apikey","OPENAI_API_KEY":"sk-1"})"));
        QTest::mouseClick(window->findChild<QPushButton *>("checkAgain"), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(window->continueButton()->isEnabled(), 30000);
        delete window.data();
    }

    void failedInstallShowsItsLog()
    {
        const QString marker = m_machine->path("go");
        Item row = test::dependencyRow("probe", {m_machine->path("nowhere/corvane-probe-tool")},
                                       QStringLiteral("echo 'Reading package lists...'; while [ ! -e '%1' ]; do sleep 0.05; done; "
                                                      "echo 'E: Unable to locate package'; exit 100").arg(marker));
        row.title = "Probe";
        QPointer<OnboardingWindow> window = open({row});
        QTRY_VERIFY_WITH_TIMEOUT(settled(*window), 30000);
        OnboardingRow *probe = window->row("probe");
        QCOMPARE(probe->statusLabel()->text(), QStringLiteral("Not found"));
        QCOMPARE(probe->actionButton()->text(), QStringLiteral("Install"));
        QVERIFY(!probe->logToggle()->isVisible());

        QTest::mouseClick(probe->actionButton(), Qt::LeftButton);
        QCOMPARE(probe->actionButton()->text(), QStringLiteral("Installing…"));
        QVERIFY(!probe->actionButton()->isEnabled());
        QTRY_COMPARE_WITH_TIMEOUT(probe->noteLabel()->text(), QStringLiteral("Reading package lists..."), 10000);
        QVERIFY(probe->noteLabel()->isVisible());
        QVERIFY(test::writeFile(marker, ""));
        QTRY_COMPARE_WITH_TIMEOUT(probe->statusLabel()->text(), QStringLiteral("✕ Failed"), 10000);
        QCOMPARE(probe->actionButton()->text(), QStringLiteral("Retry"));
        QVERIFY(probe->actionButton()->isEnabled());
        QVERIFY(probe->logToggle()->isVisible());
        QCOMPARE(probe->logToggle()->text(), QStringLiteral("Show error log"));
        QVERIFY(!probe->log()->isVisible());

        QTest::mouseClick(probe->logToggle(), Qt::LeftButton);
        QVERIFY(probe->log()->isVisible());
        QCOMPARE(probe->log()->toPlainText(), QStringLiteral("Reading package lists...\nE: Unable to locate package"));
        QVERIFY(!probe->noteLabel()->isVisible());
        QCOMPARE(probe->logToggle()->text(), QStringLiteral("Hide error log"));
        // A revalidation leaves the failure and its open log as they are.
        window->model().revalidateAll();
        QTRY_VERIFY_WITH_TIMEOUT(settled(*window), 30000);
        QVERIFY(probe->log()->isVisible());
        QTest::mouseClick(probe->logToggle(), Qt::LeftButton);
        QVERIFY(!probe->log()->isVisible());
        QCOMPARE(probe->logToggle()->text(), QStringLiteral("Show error log"));
        delete window.data();
    }

    void screenshot()
    {
        for (const char *tool : {"git", "node"})
            QVERIFY(test::writeExecutable(m_machine->home() + "/.local/bin/" + tool));
        QVERIFY(test::writeExecutable(m_machine->home() + "/.npm-global/bin/claude"));
        QList<Item> items = m_machine->items();
        items[4].installCommand = "echo \"npm ERR! code EACCES\"; echo \"npm ERR! syscall mkdir\"; exit 243";
        QPointer<OnboardingWindow> window = open(items);
        QTRY_VERIFY_WITH_TIMEOUT(settled(*window), 30000);
        window->model().act("codex");
        QTRY_COMPARE_WITH_TIMEOUT(window->model().item("codex")->state, State::failed, 10000);
        QTest::mouseClick(window->row("codex")->logToggle(), Qt::LeftButton);
        window->resize(660, 720);
        QTest::qWait(50);
        QDir().mkpath(QStringLiteral(CORVANE_SCREENSHOT_DIR));
        const QString file = QStringLiteral(CORVANE_SCREENSHOT_DIR "/onboarding.png");
        QVERIFY(window->grab().save(file));
        qInfo("screenshot: %s", qPrintable(file));
        delete window.data();
    }
};

QTEST_MAIN(OnboardingWindowTest)
#include "tst_onboarding_window.moc"
