// The Preferences window from the Edit menu, and its Source Control page driven like a user
// would: real git configuration, git's "store" credential helper, the stand-in for GitHub.
#include "../../source_control/GitSandbox.h"
#include "support/FakeGitHub.h"
#include "support/ToolWindowFixture.h"

#include "shell/preferences/AccountSheets.h"
#include "shell/preferences/GitSettingsDialog.h"
#include "shell/preferences/PreferencesWindow.h"
#include "shell/preferences/SourceControlPage.h"

#include <QApplication>
#include <QCheckBox>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QTest>
#include <QToolButton>

using namespace corvane;
using namespace corvane::test;

namespace {

template <typename T>
T *shown(const QWidget &parent)
{
    T *found = nullptr;
    (void)QTest::qWaitFor([&] {
        for (T *child : parent.findChildren<T *>())
            if (child->isVisible())
                found = child;
        return found != nullptr;
    }, 5000);
    return found;
}

QPushButton *button(const QWidget &parent, const QString &text)
{
    for (QPushButton *candidate : parent.findChildren<QPushButton *>())
        if (candidate->text() == text)
            return candidate;
    return nullptr;
}

QString config(const GitSandbox &sandbox, const QString &key)
{
    return QString::fromUtf8(sandbox.git(sandbox.root(), {"config", "--global", key}, true)).trimmed();
}

struct PageFixture
{
    GitSandbox sandbox;
    PreferencesStore preferences{sandbox.path("settings.json")};
    NotificationCenter center;
    AppSettings settings{preferences, center, [] { return SystemUserNames{"Ada Lovelace", "ada"}; }};
};

} // namespace

class TestPreferencesWindow : public QObject
{
    Q_OBJECT

private slots:
    void opensFromTheEditMenu()
    {
        ToolWindowFixture f;
        f.openWindow(QSize(1000, 700));
        QAction *item = f.window->findChild<QAction *>(QStringLiteral("action:preferences"));
        QVERIFY(item);
        QCOMPARE(item->shortcut(), QKeySequence(QStringLiteral("Ctrl+,")));
        item->trigger();
        auto windows = [] {
            QList<PreferencesWindow *> found;
            for (QWidget *top : QApplication::topLevelWidgets())
                if (auto *window = qobject_cast<PreferencesWindow *>(top); window && window->isVisible())
                    found << window;
            return found;
        };
        QCOMPARE(windows().size(), 1);
        item->trigger(); // the same window comes back to the front
        QCOMPARE(windows().size(), 1);
        PreferencesWindow *window = windows().constFirst();
        QCOMPARE(window->currentTab(), std::optional(PreferencesTab::general));
        QCOMPARE(window->tabList()->currentItem()->text(), QStringLiteral("General"));
        window->close();
        QTRY_VERIFY(windows().isEmpty());
    }

    void accountAddedAndRemoved()
    {
        PageFixture f;
        FakeGitHub github(QStringLiteral("user.json"));
        QVERIFY2(github.isRunning(), qPrintable(github.error()));
        f.sandbox.git(f.sandbox.root(), {"config", "--global", "credential.helper", "store"});
        SourceControlPage page(f.settings, {github.url(), {}, {}, 60000});
        page.resize(640, 620);
        page.show();
        QTRY_COMPARE(page.accountsStatus()->text(), QStringLiteral("No accounts configured"));
        QVERIFY(!page.secretStoreButton()->isVisible());

        page.addAccountButton()->click();
        QPointer<AddAccountDialog> sheet = shown<AddAccountDialog>(page); // deletes itself when done
        QVERIFY(sheet);
        QVERIFY(!sheet->signInButton()->isEnabled());
        QTest::keyClicks(sheet->accountField(), "ada");
        QTest::keyClicks(sheet->tokenField(), "ghp_wrong");
        sheet->signInButton()->click();
        QTRY_VERIFY(sheet->errorLine()->isVisible());
        QCOMPARE(sheet->errorLine()->text(), QStringLiteral("Authentication failed. Check your token and try again."));
        sheet->tokenField()->clear();
        QTest::keyClicks(sheet->tokenField(), "ghp_good");
        sheet->signInButton()->click();
        QVERIFY(sheet->statusLine()->isVisible());
        QCOMPARE(sheet->statusLine()->text(), QStringLiteral("Validating..."));
        QTRY_VERIFY(!sheet);

        auto *row = page.findChild<QPushButton *>(QStringLiteral("account:ada"));
        QVERIFY(row);
        QCOMPARE(row->text(), QStringLiteral("ada (octocat) — GitHub · github.com"));
        QDir().mkpath(CORVANE_SCREENSHOT_DIR);
        QVERIFY(page.grab().save(CORVANE_SCREENSHOT_DIR "/preferences-source-control.png"));

        row->click();
        auto *detail = shown<AccountDetailDialog>(page);
        QVERIFY(detail);
        detail->deleteButton()->click();
        auto *confirm = shown<QMessageBox>(*detail);
        QVERIFY(confirm);
        QCOMPARE(confirm->text(), QStringLiteral("This will remove the credential for ada on github.com from the git credential store."));
        button(*confirm, QStringLiteral("Delete"))->click();
        QTRY_VERIFY(!page.findChild<QPushButton *>(QStringLiteral("account:ada")));
        QTRY_VERIFY(f.sandbox.gitRun(f.sandbox.root(), {"credential", "fill"},
                                     GitGlobalConfig::fillRequest("github.com")).exitCode != 0);
    }

    void secretStoreOfferedWithoutAHelper()
    {
        PageFixture f;
        const QString helper = f.sandbox.path("git-credential-libsecret");
        f.sandbox.write(helper, "#!/bin/sh\nexit 0\n");
        QFile::setPermissions(helper, QFile::permissions(helper) | QFileDevice::ExeOwner);
        SourceControlPage page(f.settings, {QStringLiteral("http://127.0.0.1:9"), helper, {}, 60000});
        page.show();
        QTRY_VERIFY(page.secretStoreButton()->isVisible());
        QVERIFY(page.findChild<QLabel *>(QStringLiteral("helperNote"))->isVisible());
        page.secretStoreButton()->click();
        QTRY_VERIFY(!page.secretStoreButton()->isVisible());
        QCOMPARE(config(f.sandbox, "credential.helper"), helper);
        QVERIFY(!page.findChild<QLabel *>(QStringLiteral("helperNote"))->isVisible());
    }

    void gitSettingsAndOptions()
    {
        PageFixture f;
        SourceControlPage page(f.settings, {QStringLiteral("http://127.0.0.1:9"), {}, {}, 60000});
        page.show();
        QTRY_COMPARE(page.accountsStatus()->text(), QStringLiteral("No accounts configured"));
        for (QCheckBox *box : page.findChildren<QCheckBox *>())
            if (box->text() == QStringLiteral("Prefer rebase when pulling"))
                box->click();
        QTRY_COMPARE(config(f.sandbox, "pull.rebase"), QStringLiteral("true"));

        page.apiField()->setText(QStringLiteral("ftp://example.org"));
        emit page.apiField()->editingFinished();
        QVERIFY(page.findChild<QLabel *>(QStringLiteral("apiError"))->isVisible());
        QCOMPARE(f.settings.gitHubApiUrl(), QStringLiteral("https://api.github.com"));
        page.apiField()->setText(QStringLiteral("https://github.example.com/api/v3/"));
        emit page.apiField()->editingFinished();
        QCOMPARE(f.settings.gitHubApiUrl(), QStringLiteral("https://github.example.com/api/v3"));

        page.gitSettingsButton()->click();
        auto *sheet = shown<GitSettingsDialog>(page);
        QVERIFY(sheet);
        QTRY_COMPARE(sheet->nameField()->text(), QStringLiteral("Sandbox User"));
        sheet->nameField()->selectAll();
        QTest::keyClicks(sheet->nameField(), "Ada Lovelace");
        QTest::keyClick(sheet->nameField(), Qt::Key_Return);
        QTRY_COMPARE(config(f.sandbox, "user.name"), QStringLiteral("Ada Lovelace"));

        sheet->addButton()->click();
        auto *prompt = shown<QInputDialog>(*sheet);
        QVERIFY(prompt);
        QCOMPARE(prompt->findChild<QLineEdit *>()->placeholderText(), QStringLiteral("*.log"));
        prompt->setTextValue(QStringLiteral("*.log"));
        prompt->accept();
        QTRY_COMPARE(sheet->patternList()->count(), 1);
        QTRY_COMPARE(config(f.sandbox, "core.excludesFile"), QStringLiteral("~/.gitignore"));
        sheet->patternList()->setCurrentRow(0);
        QVERIFY(sheet->removeButton()->isEnabled());
        sheet->removeButton()->click();
        QCOMPARE(sheet->patternList()->count(), 0);
        sheet->accept();
    }
};

QTEST_MAIN(TestPreferencesWindow)
#include "tst_preferences_window.moc"
