#include "core/NotificationCenter.h"
#include "core/settings/AppSettings.h"
#include "core/settings/PreferencesStore.h"
#include "support/CoreFiles.h"
#include "support/TestEnvironment.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <functional>
#include <memory>

using namespace corvane;

using Change = std::function<void(AppSettings &)>;
using Check = std::function<bool(const AppSettings &)>;
Q_DECLARE_METATYPE(Change)
Q_DECLARE_METATYPE(Check)
Q_DECLARE_METATYPE(corvane::KeyCombo)
Q_DECLARE_METATYPE(corvane::KeyboardShortcutAction)
Q_DECLARE_METATYPE(corvane::ArchiveRetention)
Q_DECLARE_METATYPE(corvane::PermissionMode)
Q_DECLARE_METATYPE(corvane::AppearanceMode)

namespace {

constexpr quint64 Cmd = KeyCombo::Command;
constexpr quint64 Shift = KeyCombo::Shift;
constexpr quint64 Opt = KeyCombo::Option;
constexpr quint64 Ctl = KeyCombo::Control;

const QStringList allNotifications{
    "appearanceModeChanged", "textSizeScaleChanged", "terminalAppearanceModeChanged", "toolSettingsChanged",
    "shortcutSettingsChanged", "showHiddenFilesChanged", "modelVisibilityChanged", "archiveRetentionChanged"};

// One settings file in a temporary folder, opened as the application would open it, with every
// notification counted.
class Harness
{
public:
    explicit Harness(SystemUserNames names = {"Ada Lovelace", "ada"}) : m_names(std::move(names))
    {
        for (const QString &name : allNotifications)
            m_center.addObserver(name, [this](const Notification &n) {
                posted << n.name;
                QVERIFY(n.sender == m_settings.get());
            });
    }

    QString path() const { return m_env.path("settings.json"); }

    void writeFile(const QJsonObject &object) { QVERIFY(test::writeFile(path(), QJsonDocument(object).toJson())); }
    QByteArray fileBytes() const { return test::readFile(path()); }

    // Drops the current objects and reads the file again, as a restart would.
    AppSettings &open()
    {
        m_settings.reset();
        m_store = std::make_unique<PreferencesStore>(path());
        m_settings = std::make_unique<AppSettings>(*m_store, m_center, [this] { return m_names; });
        return *m_settings;
    }

    void setSystemNames(SystemUserNames names) { m_names = std::move(names); }

    QStringList posted;

private:
    test::TestEnvironment m_env;
    NotificationCenter m_center;
    SystemUserNames m_names;
    std::unique_ptr<PreferencesStore> m_store;
    std::unique_ptr<AppSettings> m_settings;
};

} // namespace

class AppSettingsTest : public QObject
{
    Q_OBJECT

private slots:
    void eachSetterPersistsAndPostsOnce_data()
    {
        QTest::addColumn<Change>("change");
        QTest::addColumn<QString>("notification");
        QTest::addColumn<Check>("afterRestart");
        using A = AppSettings;
        using Action = KeyboardShortcutAction;
        auto row = [](const char *name, Change change, const char *notification, Check check) {
            QTest::newRow(name) << change << QString::fromLatin1(notification) << check;
        };
        row("appearance dark", [](A &s) { s.setAppearanceMode(AppearanceMode::dark); }, "appearanceModeChanged",
            [](const A &s) { return s.appearanceMode() == AppearanceMode::dark; });
        row("text size 1.25", [](A &s) { s.setTextSizeScale(1.25); }, "textSizeScaleChanged",
            [](const A &s) { return s.textSizeScale() == 1.25; });
        row("terminal light", [](A &s) { s.setTerminalAppearanceMode(TerminalAppearanceMode::light); },
            "terminalAppearanceModeChanged",
            [](const A &s) { return s.terminalAppearanceMode() == TerminalAppearanceMode::light; });
        row("names", [](A &s) { s.setFirstName("Grace"), s.setLastName("Hopper"); }, "",
            [](const A &s) { return s.firstName() == "Grace" && s.lastName() == "Hopper" && s.displayName() == "Grace Hopper"; });
        row("all tools off", [](A &s) { s.setEnableAllTools(false); }, "toolSettingsChanged",
            [](const A &s) { return !s.enableAllTools() && s.isToolEnabled("terminal"); });
        row("disable one tool", [](A &s) { s.setToolEnabled("terminal", false); }, "toolSettingsChanged",
            [](const A &s) { return s.disabledTools() == QSet<QString>{"terminal"} && s.isToolEnabled("terminal"); });
        row("tool order", [](A &s) { s.setToolOrder({"ports", "terminal"}); }, "toolSettingsChanged",
            [](const A &s) { return s.toolOrder() == QStringList{"ports", "terminal"}; });
        row("custom shortcut", [](A &s) { (void)s.setShortcut({"b", Cmd}, Action::toggleSidebar); },
            "shortcutSettingsChanged",
            [](const A &s) { return s.shortcut(Action::toggleSidebar) == KeyCombo{"b", Cmd}; });
        row("reset one shortcut", [](A &s) { s.resetShortcut(Action::deny); }, "shortcutSettingsChanged",
            [](const A &s) { return s.customShortcuts().isEmpty(); });
        row("reset all shortcuts", [](A &s) { s.resetAllShortcuts(); }, "shortcutSettingsChanged",
            [](const A &s) { return s.customShortcuts().isEmpty(); });
        row("source control off", [](A &s) { s.setEnableSourceControl(false); }, "", [](const A &s) { return !s.enableSourceControl(); });
        row("local status refresh off", [](A &s) { s.setRefreshLocalStatusAuto(false); }, "", [](const A &s) { return !s.refreshLocalStatusAuto(); });
        row("server status fetch off", [](A &s) { s.setFetchAndRefreshServerStatus(false); }, "",
            [](const A &s) { return !s.fetchAndRefreshServerStatus(); });
        row("add and remove files off", [](A &s) { s.setAddAndRemoveFilesAuto(false); }, "", [](const A &s) { return !s.addAndRemoveFilesAuto(); });
        row("source control changes off", [](A &s) { s.setShowSourceControlChanges(false); }, "",
            [](const A &s) { return !s.showSourceControlChanges(); });
        row("hidden files off", [](A &s) { s.setShowHiddenFilesInInspector(false); }, "showHiddenFilesChanged",
            [](const A &s) { return !s.showHiddenFilesInInspector(); });
        row("hide a model", [](A &s) { s.setModelHidden("opus", true); }, "modelVisibilityChanged",
            [](const A &s) { return s.isModelHidden("opus") && !s.isModelHidden("sonnet"); });
        row("chat retention 90 days", [](A &s) { s.setArchivedChatRetention(ArchiveRetention::ninetyDays); },
            "archiveRetentionChanged",
            [](const A &s) { return s.archivedChatRetention() == ArchiveRetention::ninetyDays; });
        // Stored as 0, which must read as never and not as a missing key.
        row("workspace retention never", [](A &s) { s.setArchivedWorkspaceRetention(ArchiveRetention::never); },
            "archiveRetentionChanged",
            [](const A &s) { return s.archivedWorkspaceRetention() == ArchiveRetention::never; });
        row("permission mode", [](A &s) { s.setPermissionMode(PermissionMode::acceptEdits); }, "",
            [](const A &s) { return s.permissionMode() == PermissionMode::acceptEdits; });
        row("onboarding completed", [](A &s) { s.setHasCompletedOnboarding(true); }, "",
            [](const A &s) { return !s.shouldShowOnboarding(); });
    }

    void eachSetterPersistsAndPostsOnce()
    {
        QFETCH(Change, change);
        QFETCH(QString, notification);
        QFETCH(Check, afterRestart);
        Harness harness;
        change(harness.open());
        QCOMPARE(harness.posted, notification.isEmpty() ? QStringList() : QStringList{notification});
        harness.posted.clear();
        QVERIFY(afterRestart(harness.open()));
        QCOMPARE(harness.posted, QStringList()); // starting up posts nothing
    }

    // The defaults no other test shows (missing stored values are read in the tests below).
    void freshSettingsHaveTheDefaults()
    {
        Harness harness;
        const AppSettings &s = harness.open();
        QCOMPARE(s.terminalAppearanceMode(), TerminalAppearanceMode::automatic);
        QVERIFY(s.enableAllTools() && s.enableSourceControl() && s.refreshLocalStatusAuto()
                && s.fetchAndRefreshServerStatus() && s.addAndRemoveFilesAuto() && s.showSourceControlChanges()
                && s.showHiddenFilesInInspector());
        QVERIFY(s.disabledTools().isEmpty() && s.hiddenModelIdsSet().isEmpty() && s.toolOrder().isEmpty());
        for (KeyboardShortcutAction action : allKeyboardShortcutActions())
            QVERIFY(s.shortcut(action) == defaultCombo(action));
    }

    void readingStoredNumbers_data()
    {
        QTest::addColumn<QJsonValue>("stored"); // undefined: the key is missing
        QTest::addColumn<double>("scale");
        QTest::addColumn<ArchiveRetention>("retention");
        QTest::newRow("missing") << QJsonValue(QJsonValue::Undefined) << 1.0 << ArchiveRetention::thirtyDays;
        QTest::newRow("zero") << QJsonValue(0) << 1.0 << ArchiveRetention::never;
        QTest::newRow("negative") << QJsonValue(-2) << 1.0 << ArchiveRetention::never;
        QTest::newRow("30") << QJsonValue(30) << 30.0 << ArchiveRetention::thirtyDays;
        QTest::newRow("45") << QJsonValue(45) << 45.0 << ArchiveRetention::never;
        QTest::newRow("60") << QJsonValue(60) << 60.0 << ArchiveRetention::sixtyDays;
        QTest::newRow("90") << QJsonValue(90) << 90.0 << ArchiveRetention::ninetyDays;
        QTest::newRow("1.5") << QJsonValue(1.5) << 1.5 << ArchiveRetention::never;
        QTest::newRow("text \"60\"") << QJsonValue("60") << 1.0 << ArchiveRetention::never;
    }

    void readingStoredNumbers()
    {
        QFETCH(QJsonValue, stored);
        QFETCH(double, scale);
        QFETCH(ArchiveRetention, retention);
        Harness harness;
        QJsonObject file{{"userFirstName", "Ada"}};
        if (!stored.isUndefined())
            for (const char *key : {"textSizeScale", "archivedChatRetention", "archivedWorkspaceRetention"})
                file.insert(key, stored);
        harness.writeFile(file);
        const AppSettings &s = harness.open();
        QCOMPARE(s.textSizeScale(), scale);
        QCOMPARE(s.archivedChatRetention(), retention);
        QCOMPARE(s.archivedWorkspaceRetention(), retention);
    }

    void readingStoredTexts_data()
    {
        QTest::addColumn<QJsonValue>("stored");
        QTest::addColumn<PermissionMode>("permission");
        QTest::addColumn<AppearanceMode>("appearance");
        QTest::newRow("missing") << QJsonValue(QJsonValue::Undefined) << PermissionMode::ask << AppearanceMode::system;
        QTest::newRow("acceptAll") << QJsonValue("acceptAll") << PermissionMode::acceptAll
                                          << AppearanceMode::system;
        QTest::newRow("unknown text") << QJsonValue("yolo") << PermissionMode::ask << AppearanceMode::system;
        QTest::newRow("a boolean") << QJsonValue(true) << PermissionMode::ask << AppearanceMode::system;
        QTest::newRow("dark") << QJsonValue("dark") << PermissionMode::ask << AppearanceMode::dark;
    }

    void readingStoredTexts()
    {
        QFETCH(QJsonValue, stored);
        QFETCH(PermissionMode, permission);
        QFETCH(AppearanceMode, appearance);
        Harness harness;
        QJsonObject file{{"userFirstName", "Ada"}};
        if (!stored.isUndefined()) {
            file.insert("permissionMode", stored);
            file.insert("appearanceMode", stored);
        }
        harness.writeFile(file);
        QCOMPARE(harness.open().permissionMode(), permission);
        QCOMPARE(harness.open().appearanceMode(), appearance);
    }

    void namesAtFirstStart_data()
    {
        QTest::addColumn<QString>("fullName");
        QTest::addColumn<QString>("shortName");
        QTest::addColumn<QString>("first");
        QTest::addColumn<QString>("last");
        QTest::newRow("one word") << "Ada" << "ada" << "Ada" << "";
        QTest::newRow("three words") << "Ada Byron King" << "ada" << "Ada" << "Byron King";
        QTest::newRow("full name is the login name") << "ada" << "ada" << "" << "";
        QTest::newRow("no full name") << "" << "ada" << "" << "";
    }

    void namesAtFirstStart()
    {
        QFETCH(QString, fullName);
        QFETCH(QString, shortName);
        QFETCH(QString, first);
        QFETCH(QString, last);
        Harness harness({fullName, shortName});
        harness.open();
        const QJsonObject onDisk = QJsonDocument::fromJson(harness.fileBytes()).object();
        QCOMPARE(onDisk.value("userFirstName"), QJsonValue(first));
        QCOMPARE(onDisk.value("userLastName"), QJsonValue(last));

        // Only the first start derives them, even when they came out empty.
        harness.setSystemNames({"Grace Hopper", "grace"});
        AppSettings &again = harness.open();
        QCOMPARE(again.firstName(), first);
        QCOMPARE(again.lastName(), last);
    }

    void displayName_data()
    {
        QTest::addColumn<QString>("first");
        QTest::addColumn<QString>("last");
        QTest::addColumn<QString>("systemFullName");
        QTest::addColumn<QString>("expected");
        QTest::newRow("both stored") << "Ada" << "Lovelace" << "Grace Hopper" << "Ada Lovelace";
        QTest::newRow("only first stored") << "Ada" << "" << "Grace Hopper" << "Ada";
        QTest::newRow("only last stored") << "" << "Lovelace" << "Grace Hopper" << "Lovelace";
        QTest::newRow("none stored: system name") << "" << "" << "Grace Hopper" << "Grace Hopper";
        QTest::newRow("none stored, system name is login") << "" << "" << "grace" << "";
    }

    void displayName()
    {
        QFETCH(QString, first);
        QFETCH(QString, last);
        QFETCH(QString, systemFullName);
        QFETCH(QString, expected);
        Harness harness({systemFullName, "grace"});
        harness.writeFile({{"userFirstName", first}, {"userLastName", last}});
        QCOMPARE(harness.open().displayName(), expected);
    }

    void settingAShortcut_data()
    {
        QTest::addColumn<KeyboardShortcutAction>("action");
        QTest::addColumn<KeyCombo>("combo");
        QTest::addColumn<QString>("error");
        using Action = KeyboardShortcutAction;
        QTest::newRow("Command Shift T on toggleDictation")
            << Action::toggleDictation << KeyCombo{"t", Cmd | Shift}
            << R"(Ctrl+Shift+T is already used by "New Chat in Workspace")";
        QTest::newRow("an action's own combination") << Action::quickOpen << KeyCombo{"k", Cmd} << "";
        QTest::newRow("toggleTerminal's own, held earlier too")
            << Action::toggleTerminal << KeyCombo{"t", Cmd | Shift}
            << R"(Ctrl+Shift+T is already used by "New Chat in Workspace")";
        QTest::newRow("newChatInWorkspace's own, held later too")
            << Action::newChatInWorkspace << KeyCombo{"t", Cmd | Shift}
            << R"(Ctrl+Shift+T is already used by "Toggle Terminal")";
        QTest::newRow("another action's default") << Action::deny << KeyCombo{"f", Cmd | Ctl}
                                                  << R"(Ctrl+Meta+F is already used by "Full Screen")";
        QTest::newRow("same key, other modifiers") << Action::newChat << KeyCombo{"t", Cmd | Opt} << "";
        QTest::newRow("free combination") << Action::toggleDictation << KeyCombo{"d", Cmd | Opt} << "";
    }

    void settingAShortcut()
    {
        QFETCH(KeyboardShortcutAction, action);
        QFETCH(KeyCombo, combo);
        QFETCH(QString, error);
        Harness harness;
        AppSettings &settings = harness.open();
        const KeyCombo before = settings.shortcut(action);
        const QByteArray fileBefore = harness.fileBytes();

        const Status status = settings.setShortcut(combo, action);
        if (!error.isEmpty()) {
            QVERIFY(!status.ok());
            QCOMPARE(status.error().message, error);
            QCOMPARE(harness.posted, QStringList());
            QCOMPARE(harness.fileBytes(), fileBefore);
            QVERIFY(settings.shortcut(action) == before);
            return;
        }
        QVERIFY(status.ok());
        QCOMPARE(harness.posted, QStringList{"shortcutSettingsChanged"});
        QVERIFY(harness.open().shortcut(action) == combo);
    }

    void aCustomShortcutMovesTheConflict()
    {
        Harness harness;
        AppSettings &settings = harness.open();
        QVERIFY(settings.setShortcut({"p", Cmd}, KeyboardShortcutAction::quickOpen).ok());
        QVERIFY(settings.setShortcut({"k", Cmd}, KeyboardShortcutAction::toggleDictation).ok());
        const Status taken = settings.setShortcut({"p", Cmd}, KeyboardShortcutAction::newIssue);
        QCOMPARE(taken.error().message, QString(R"(Ctrl+P is already used by "Quick Open")"));

        settings.resetAllShortcuts();
        QVERIFY(settings.shortcut(KeyboardShortcutAction::quickOpen) == KeyCombo({"k", Cmd}));
        QVERIFY(harness.open().customShortcuts().isEmpty());
    }

    void aDamagedShortcutEntryIsDropped()
    {
        Harness harness;
        const auto encoded = [](const QByteArray &json) { return QString::fromLatin1(json.toBase64()); };
        harness.writeFile({{"userFirstName", "Ada"},
                           {"customKeyboardShortcuts",
                            QJsonObject{{"toggleSidebar", encoded(R"({"key":"b","modifierRawValue":1048576})")},
                                        {"quickOpen", encoded(R"({"key":5})")},
                                        {"stopAgent", encoded("not json")},
                                        {"deny", "%%% not base64"}}}});
        AppSettings &settings = harness.open();
        QVERIFY(settings.shortcut(KeyboardShortcutAction::toggleSidebar) == KeyCombo({"b", Cmd}));
        for (auto action : {KeyboardShortcutAction::quickOpen, KeyboardShortcutAction::stopAgent,
                            KeyboardShortcutAction::deny})
            QVERIFY(settings.shortcut(action) == defaultCombo(action));

        // The next write keeps the good entry and no longer carries the damaged ones.
        QVERIFY(settings.setShortcut({"u", Cmd}, KeyboardShortcutAction::newIssue).ok());
        const QJsonObject stored =
            QJsonDocument::fromJson(harness.fileBytes()).object().value("customKeyboardShortcuts").toObject();
        QCOMPARE(stored.keys(), QStringList({"newIssue", "toggleSidebar"}));
    }

    void toolAndModelSetsAddAndRemove()
    {
        Harness harness;
        AppSettings &settings = harness.open();
        settings.setEnableAllTools(false);
        settings.setToolEnabled("terminal", false);
        settings.setToolEnabled("terminal", false);
        settings.setToolEnabled("ports", false);
        settings.setToolEnabled("ports", true);
        settings.setModelHidden("opus", true);
        settings.setModelHidden("opus", false);
        AppSettings &reopened = harness.open();
        QCOMPARE(reopened.disabledTools(), QSet<QString>{"terminal"});
        QVERIFY(!reopened.isToolEnabled("terminal"));
        QVERIFY(reopened.isToolEnabled("ports"));
        QVERIFY(!reopened.isModelHidden("opus"));
    }

    void shouldShowOnboarding_data()
    {
        QTest::addColumn<QVariant>("enabled"); // invalid: the key is missing
        QTest::addColumn<QVariant>("completed");
        QTest::addColumn<bool>("shows");
        const QVariant missing;
        QTest::newRow("nothing stored") << missing << missing << true;
        QTest::newRow("not completed") << missing << QVariant(false) << true;
        QTest::newRow("completed") << missing << QVariant(true) << false;
        QTest::newRow("enabled, nothing completed") << QVariant(true) << missing << true;
        QTest::newRow("enabled, not completed") << QVariant(true) << QVariant(false) << true;
        QTest::newRow("enabled, completed") << QVariant(true) << QVariant(true) << false;
        QTest::newRow("disabled, nothing completed") << QVariant(false) << missing << false;
        QTest::newRow("disabled, not completed") << QVariant(false) << QVariant(false) << false;
        QTest::newRow("disabled, completed") << QVariant(false) << QVariant(true) << false;
    }

    void shouldShowOnboarding()
    {
        QFETCH(QVariant, enabled);
        QFETCH(QVariant, completed);
        QFETCH(bool, shows);
        Harness harness;
        {
            PreferencesStore store(harness.path());
            if (enabled.isValid())
                store.setBoolean("onboardingEnabled", enabled.toBool());
            if (completed.isValid())
                store.setBoolean("hasCompletedOnboarding", completed.toBool());
        }
        QCOMPARE(corvane::shouldShowOnboarding(PreferencesStore(harness.path())), shows);
        QCOMPARE(harness.open().shouldShowOnboarding(), shows);
    }
};

QTEST_GUILESS_MAIN(AppSettingsTest)
#include "tst_app_settings.moc"
