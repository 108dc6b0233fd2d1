// Preferences → Profiles against a real store and the stand-in claude: the card's lines for each
// sign-in state, the API-key sheet writing auth.json, deletion with and without the files, the
// model pickers, the list's order and its new-profile sheet.
#include "accounts/ProfileTexts.h"
#include "shell/preferences/PreferencesWindow.h"
#include "shell/preferences/ProfileCard.h"
#include "shell/preferences/ProfilesPage.h"
#include "shell/profiles/ProfileActions.h"
#include "shell/profiles/ProfileSheets.h"
#include "support/CoreFiles.h"
#include "support/ProfileWindowFixture.h"

#include <QCheckBox>
#include <QComboBox>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QTest>
#include <QToolButton>

#include <sys/stat.h>

using namespace corvane;
using namespace corvane::test;

namespace {

enum class Setup { none, signedIn, signedInNoDate, signedOut, error, probing };

struct CardFixture
{
    ProfileWindowFixture f;
    QWidget host;
    ProfileActions actions{f.profiles, &f.monitor, f.ctx(), &f.settings, &host};
    ProfileCard card{actions, f.ctx(), &f.settings, &host};
};

QStringList entries(QComboBox *combo)
{
    QStringList texts;
    for (int i = 0; i < combo->count(); ++i)
        texts << combo->itemData(i).toString();
    return texts;
}

} // namespace

class ProfilesPageTest : public QObject
{
    Q_OBJECT

private slots:
    void claudeLine_data()
    {
        QTest::addColumn<int>("setup");
        QTest::addColumn<bool>("dated");
        QTest::addColumn<QString>("expected"); // "%date" stands for the stored date
        QTest::newRow("signed in") << int(Setup::signedIn) << true << "Last login %date";
        QTest::newRow("signed in, no date") << int(Setup::signedInNoDate) << false << "Verified just now";
        QTest::newRow("unknown, dated") << int(Setup::none) << true << "Last verified %date";
        QTest::newRow("unknown") << int(Setup::none) << false << "";
        QTest::newRow("checking, dated") << int(Setup::probing) << true << "Last verified %date";
        QTest::newRow("checking") << int(Setup::probing) << false << "";
        QTest::newRow("signed out") << int(Setup::signedOut) << false << "Sign in to run Claude chats on this profile.";
        QTest::newRow("signed out, dated") << int(Setup::signedOut) << true << "Sign in to run Claude chats on this profile.";
        QTest::newRow("claude unreachable") << int(Setup::error) << false
                                            << "The `claude` CLI couldn't be reached. Make sure it's installed.";
    }

    void claudeLine()
    {
        QFETCH(int, setup);
        QFETCH(bool, dated);
        QFETCH(QString, expected);
        CardFixture c;
        const auto work = c.f.newProfile("Work");
        if (dated)
            work->lastLoginAt = QDateTime(QDate(2026, 3, 4), QTime(9, 30));
        QVERIFY(c.f.ctx().save());
        switch (Setup(setup)) {
        case Setup::signedIn:
        case Setup::signedInNoDate:
            QVERIFY(ClaudeStub::signedIn(work->configDirPath, "w@example.com"));
            break;
        case Setup::error:
            QVERIFY(ClaudeStub::answer(work->configDirPath, "garbled"));
            break;
        case Setup::probing:
            QVERIFY(ClaudeStub::delay(work->configDirPath, 2));
            break;
        default:
            break;
        }
        c.card.setProfile(work);
        if (Setup(setup) != Setup::none)
            c.card.claudeRefresh()->click();
        if (Setup(setup) != Setup::probing)
            QVERIFY(c.f.settled());
        else
            QVERIFY(!c.card.claudeRefresh()->isEnabled()); // one check at a time
        if (Setup(setup) == Setup::signedInNoDate) {
            work->lastLoginAt.reset(); // as a record that could not take the date would be
            c.card.refresh();
        }
        if (work->lastLoginAt)
            expected.replace("%date", profileText::shortDateTime(*work->lastLoginAt));
        QCOMPARE(c.card.claudeSubtitle()->text(), expected);
        QVERIFY(c.f.settled());
    }

    void chatGptLine_data()
    {
        QTest::addColumn<QByteArray>("authJson"); // empty: no file
        QTest::addColumn<bool>("check");
        QTest::addColumn<QString>("expected");
        QTest::newRow("api key") << QByteArray(R"({"OPENAI_API_KEY":"sk-1"})") << true << "Last login %date";
        QTest::newRow("no file") << QByteArray() << true << "Sign in with ChatGPT or use an OpenAI API key.";
        QTest::newRow("not checked") << QByteArray() << false << "";
    }

    void chatGptLine()
    {
        QFETCH(QByteArray, authJson);
        QFETCH(bool, check);
        QFETCH(QString, expected);
        CardFixture c;
        const auto work = c.f.newProfile("Work");
        if (!authJson.isEmpty())
            QVERIFY(writeFile(*work->codexHomeDir + "/auth.json", authJson));
        c.card.setProfile(work);
        if (check)
            c.card.chatGptRefresh()->click();
        if (work->codexLastLoginAt)
            expected.replace("%date", profileText::shortDateTime(*work->codexLastLoginAt));
        QCOMPARE(c.card.chatGptSubtitle()->text(), expected);
    }

    void apiKeyWritesAuthJson()
    {
        CardFixture c;
        const auto work = c.f.newProfile("Work");
        c.card.setProfile(work);
        c.card.apiKeyButton()->click();
        QPointer<ApiKeyDialog> sheet = qobject_cast<ApiKeyDialog *>(c.actions.lastSheet());
        QVERIFY(sheet);
        const QString file = *work->codexHomeDir + "/auth.json";
        QCOMPARE(sheet->whereLine()->text(),
                 "Stored at " + file + ". The key replaces any existing OAuth tokens for this profile.");
        QCOMPARE(sheet->keyField()->echoMode(), QLineEdit::Password);
        QVERIFY(!sheet->saveButton()->isEnabled());
        sheet->keyField()->setText("  sk-proj-123 \n");
        sheet->saveButton()->click();
        QTRY_VERIFY(!sheet);

        const QJsonObject written = QJsonDocument::fromJson(readFile(file)).object();
        QCOMPARE(written.keys(), (QStringList{"OPENAI_API_KEY", "auth_mode", "tokens"}));
        QCOMPARE(written.value("OPENAI_API_KEY").toString(), QStringLiteral("sk-proj-123"));
        QCOMPARE(written.value("auth_mode").toString(), QStringLiteral("apikey"));
        QVERIFY(written.value("tokens").isNull());
        struct stat info;
        QCOMPARE(::stat(QFile::encodeName(file).constData(), &info), 0);
        QCOMPARE(info.st_mode & 0777, 0600u);
        // The sheet closing checks the profile again.
        QCOMPARE(c.f.monitor.codexState(work->id).kind, AuthState::Kind::signedIn);
        QVERIFY(c.f.store->newContext()->get<Profile>(work->id)->codexLastLoginAt);
        QVERIFY(c.card.chatGptSubtitle()->text().startsWith("Last login "));
    }

    void apiKeyThatCannotBeWrittenKeepsTheSheet()
    {
        CardFixture c;
        const auto work = c.f.newProfile("Work");
        QVERIFY(QDir(*work->codexHomeDir).removeRecursively());
        QVERIFY(writeFile(*work->codexHomeDir, "a file where the folder should be"));
        c.card.setProfile(work);
        c.card.apiKeyButton()->click();
        QPointer<ApiKeyDialog> sheet = qobject_cast<ApiKeyDialog *>(c.actions.lastSheet());
        QVERIFY(sheet);
        sheet->keyField()->setText("sk-1");
        sheet->saveButton()->click();
        QVERIFY(sheet);
        QVERIFY(sheet->isVisible());
        QVERIFY(sheet->errorLine()->isVisible());
        QVERIFY2(sheet->errorLine()->text().startsWith("Couldn't write auth.json: "), qPrintable(sheet->errorLine()->text()));
        QCOMPARE(sheet->keyField()->text(), QStringLiteral("sk-1")); // nothing typed is lost
        QVERIFY(!c.f.store->newContext()->get<Profile>(work->id)->codexLastLoginAt);
        sheet->reject();
    }

    void modelsOfSignedInAccounts()
    {
        CardFixture c;
        const auto work = c.f.newProfile("Work");
        QVERIFY(ClaudeStub::signedIn(work->configDirPath));
        c.card.setProfile(work);
        QCOMPARE(entries(c.card.defaultModel()), QStringList{QString()});
        QCOMPARE(c.card.defaultModel()->itemText(0), QStringLiteral("Use global default"));
        c.card.claudeRefresh()->click();
        c.card.chatGptRefresh()->click(); // no auth.json: signed out
        QVERIFY(c.f.settled());
        QStringList claudeOnly{QString()};
        for (const auto &model : profileText::modelChoices(c.f.settings.hiddenModelIdsSet(), true, false))
            claudeOnly << model.id;
        QCOMPARE(entries(c.card.defaultModel()), claudeOnly);
        QCOMPARE(entries(c.card.commitModel()), claudeOnly);

        c.card.defaultModel()->setCurrentIndex(1);
        emit c.card.defaultModel()->activated(1);
        QCOMPARE(c.f.store->newContext()->get<Profile>(work->id)->defaultModelId, std::optional(claudeOnly.at(1)));
        emit c.card.commitModel()->activated(0);
        QCOMPARE(c.f.store->newContext()->get<Profile>(work->id)->commitMessageModelId, std::nullopt);

        // Signed out later: the stored choice still shows rather than vanishing.
        ClaudeStub::signedOut(work->configDirPath);
        c.card.claudeRefresh()->click();
        QVERIFY(c.f.settled());
        QCOMPARE(c.card.defaultModel()->currentData().toString(), claudeOnly.at(1));
    }

    void deleteFromPreferences_data()
    {
        QTest::addColumn<bool>("withFiles");
        QTest::newRow("record only") << false;
        QTest::newRow("with files") << true;
    }

    void deleteFromPreferences()
    {
        QFETCH(bool, withFiles);
        ProfileWindowFixture f;
        const auto work = f.newProfile("Work");
        const auto project = f.newProject("theta", work);
        ProfilesPage page(PreferencesServices{f.settings, &f.ctx(), &f.center, &f.lifecycle, &f.profiles, &f.monitor});
        page.selectProfile(work->id);
        QVERIFY(page.deleteButton()->isEnabled());
        page.deleteButton()->click();
        QPointer<QMessageBox> prompt = qobject_cast<QMessageBox *>(page.actions()->lastSheet());
        QVERIFY(prompt);
        QCOMPARE(prompt->text(), profileText::deleteTextInPreferences("Work", work->configDirPath));
        QStringList buttons;
        QAbstractButton *chosen = nullptr;
        for (QAbstractButton *each : prompt->buttons()) {
            buttons << each->text();
            if (each->text() == (withFiles ? "Delete Profile and Files" : "Delete Profile"))
                chosen = each;
        }
        QCOMPARE(buttons.size(), 3);
        chosen->click();
        QTRY_COMPARE(page.list()->count(), 1); // reloaded on the change
        QCOMPARE(f.store->newContext()->get<Project>(project->id)->profileId, std::optional(f.defaultProfile()->id));
        if (withFiles)
            QTRY_VERIFY(!QFileInfo::exists(work->configDirPath));
        else
            QVERIFY(QFileInfo::exists(work->configDirPath));
        // The default profile can't be deleted: the button says so.
        QVERIFY(!page.deleteButton()->isEnabled());
    }

    void failedFileRemovalIsShown()
    {
        ProfileWindowFixture f;
        // A profile pointed at the user's own claude folder: the record goes, the folder is refused.
        auto created = f.profiles.createProfile("Shared", ProfileColor::gray, std::nullopt, QStringLiteral("~/.claude"));
        QVERIFY(created);
        ProfilesPage page(PreferencesServices{f.settings, &f.ctx(), &f.center, &f.lifecycle, &f.profiles, &f.monitor});
        page.selectProfile((*created)->id);
        page.deleteButton()->click();
        auto *prompt = qobject_cast<QMessageBox *>(page.actions()->lastSheet());
        QVERIFY(prompt);
        for (QAbstractButton *each : prompt->buttons())
            if (each->text() == "Delete Profile and Files")
                each->click();
        QTRY_VERIFY(!page.failureLine()->isHidden());
        QVERIFY2(page.failureLine()->text().contains("its files were not"), qPrintable(page.failureLine()->text()));
        QVERIFY(QFileInfo::exists(QDir::homePath() + "/.claude"));
    }

    void listReordersAndMakesProfiles()
    {
        ProfileWindowFixture f;
        const auto a = f.newProfile("A");
        const auto b = f.newProfile("B");
        auto *window = new PreferencesWindow(
            PreferencesServices{f.settings, &f.ctx(), &f.center, &f.lifecycle, &f.profiles, &f.monitor});
        std::unique_ptr<PreferencesWindow> owned(window);
        window->showTab(PreferencesTab::profiles);
        window->show();
        auto *page = qobject_cast<ProfilesPage *>(window->page(PreferencesTab::profiles));
        QVERIFY(page);
        QCOMPARE(page->list()->count(), 3);
        // Appearing asks about every profile.
        QTRY_COMPARE(f.monitor.codexState(b->id).kind, AuthState::Kind::signedOut);
        QVERIFY(f.settled());

        QVERIFY(page->list()->model()->moveRow(QModelIndex(), 2, QModelIndex(), 0));
        QTRY_COMPARE(page->list()->item(0)->text(), QStringLiteral("B"));
        QCOMPARE(f.store->newContext()->get<Profile>(b->id)->sortOrder, 0);
        QCOMPARE(f.store->newContext()->get<Profile>(a->id)->sortOrder, 2);

        page->newButton()->click();
        QPointer<NewProfileDialog> sheet = qobject_cast<NewProfileDialog *>(page->actions()->lastSheet());
        QVERIFY(sheet);
        QCOMPARE(sheet->nameField()->placeholderText(), QStringLiteral("Work, Personal, Client A\u2026"));
        QCOMPARE(sheet->colorField()->count(), 10);
        QCOMPARE(sheet->colorField()->itemText(0), QStringLiteral("Blue"));
        QVERIFY(!sheet->folderField()->isVisible());
        sheet->advancedToggle()->setChecked(true);
        QVERIFY(sheet->folderField()->isVisible());
        sheet->nameField()->setText("Client A");
        sheet->colorField()->setCurrentIndex(6);
        sheet->folderField()->setText("~/.claude-client");
        sheet->createButton()->click();
        QTRY_VERIFY(!sheet);
        QTRY_COMPARE(page->list()->count(), 4);
        const auto made = page->selectedProfile();
        QVERIFY(made);
        QCOMPARE(made->name, QStringLiteral("Client A"));
        QCOMPARE(made->colorHex, std::optional(profileColorHex(ProfileColor::green)));
        QCOMPARE(made->configDirPath, QDir::homePath() + "/.claude-client");
        QCOMPARE(page->card()->configDir()->text(), made->configDirPath);
        // The reload after the change asked about the new profile too.
        QTRY_VERIFY(f.monitor.codexState(made->id).kind != AuthState::Kind::unknown);
        QVERIFY(f.settled());

        window->resize(760, 620);
        QDir().mkpath(CORVANE_SCREENSHOT_DIR);
        page->selectProfile(b->id);
        QVERIFY(window->grab().save(CORVANE_SCREENSHOT_DIR "/preferences-profiles.png"));
    }
};

QTEST_MAIN(ProfilesPageTest)
#include "tst_profiles_page.moc"
