#include "core/NotificationCenter.h"
#include "core/Paths.h"
#include "core/settings/AppSettings.h"
#include "core/settings/KeyCombo.h"
#include "core/settings/KeyboardShortcutAction.h"
#include "core/settings/PreferencesStore.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTest>

using namespace corvane;

Q_DECLARE_METATYPE(corvane::KeyboardShortcutAction)
Q_DECLARE_METATYPE(corvane::ArchiveRetention)
Q_DECLARE_METATYPE(corvane::ShortcutCategory)

namespace corvane {
// Failures print "Ctrl+Shift+T" rather than bytes.
char *toString(const KeyCombo &combo)
{
    return QTest::toString(combo.displayString());
}
} // namespace corvane

namespace {

using Action = KeyboardShortcutAction;
constexpr quint64 Cmd = KeyCombo::Command;
constexpr quint64 Shift = KeyCombo::Shift;
constexpr quint64 Opt = KeyCombo::Option;
constexpr quint64 Ctl = KeyCombo::Control;

SystemUserNamesSource names(const QString &fullName, const QString &shortName)
{
    return [=] { return SystemUserNames{fullName, shortName}; };
}

void writeSettingsFile(const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(paths::settingsFile()).absolutePath());
    QFile file(paths::settingsFile());
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

// A settings file holding one value, or nothing when `value` is undefined (the key is missing).
void writeSettingsWith(const QString &key, const QJsonValue &value)
{
    QJsonObject object;
    if (!value.isUndefined())
        object.insert(key, value);
    writeSettingsFile(QJsonDocument(object).toJson());
}

QJsonObject settingsOnDisk()
{
    QFile file(paths::settingsFile());
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll()).object();
}

QStringList setAsideFiles()
{
    const QFileInfo settings(paths::settingsFile());
    return settings.dir().entryList({settings.fileName() + ".unreadable-*"}, QDir::Files);
}

// Records every settings notification posted to a centre, in order.
struct NotificationLog
{
    explicit NotificationLog(NotificationCenter &center)
    {
        for (const QString &name : {settingsNotification::appearanceModeChanged,
                                    settingsNotification::textSizeScaleChanged,
                                    settingsNotification::terminalAppearanceModeChanged,
                                    settingsNotification::toolSettingsChanged,
                                    settingsNotification::shortcutSettingsChanged,
                                    settingsNotification::showHiddenFilesChanged,
                                    settingsNotification::modelVisibilityChanged,
                                    settingsNotification::archiveRetentionChanged})
            guards.emplace_back(center, center.addObserver(name, [this](const Notification &n) {
                                    posted << n.name;
                                }));
    }
    QStringList posted;
    std::vector<ObserverGuard> guards;
};

} // namespace

class SettingsTest : public QObject
{
    Q_OBJECT

private slots:
    void valuesSurviveARestartWithTheirTypes_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<int>("jsonType");
        QTest::newRow("text") << QVariant(QString("Ada Lovelace")) << int(QJsonValue::String);
        QTest::newRow("empty text") << QVariant(QString("")) << int(QJsonValue::String);
        QTest::newRow("whole number") << QVariant(90) << int(QJsonValue::Double);
        QTest::newRow("negative number") << QVariant(-3) << int(QJsonValue::Double);
        QTest::newRow("fraction") << QVariant(1.25) << int(QJsonValue::Double);
        QTest::newRow("true stays a boolean") << QVariant(true) << int(QJsonValue::Bool);
        QTest::newRow("false stays a boolean") << QVariant(false) << int(QJsonValue::Bool);
        QTest::newRow("list of texts") << QVariant(QStringList{"b", "a", "b"}) << int(QJsonValue::Array);
        QTest::newRow("empty list") << QVariant(QStringList{}) << int(QJsonValue::Array);
        QTest::newRow("bytes that are not text")
            << QVariant::fromValue(QHash<QString, QByteArray>{{"one", QByteArray("\x00\xff{\"", 4)},
                                                              {"two", QByteArray()}})
            << int(QJsonValue::Object);
    }

    void valuesSurviveARestartWithTheirTypes()
    {
        QFETCH(QVariant, value);
        QFETCH(int, jsonType);
        test::TestEnvironment env;
        const QString key = "someKey";
        const int type = value.typeId();
        {
            PreferencesStore store(paths::settingsFile());
            if (type == QMetaType::QString)
                store.setString(key, value.toString());
            else if (type == QMetaType::Int)
                store.setInteger(key, value.toInt());
            else if (type == QMetaType::Double)
                store.setReal(key, value.toDouble());
            else if (type == QMetaType::Bool)
                store.setBoolean(key, value.toBool());
            else if (type == QMetaType::QStringList)
                store.setStringList(key, value.toStringList());
            else
                store.setDataDictionary(key, value.value<QHash<QString, QByteArray>>());
        }

        QCOMPARE(int(settingsOnDisk().value(key).type()), jsonType);
        PreferencesStore reopened(paths::settingsFile());
        QVERIFY(reopened.contains(key));
        if (type == QMetaType::QString)
            QCOMPARE(reopened.string(key, "missing"), value.toString());
        else if (type == QMetaType::Int)
            QCOMPARE(reopened.integer(key), value.toInt());
        else if (type == QMetaType::Double)
            QCOMPARE(reopened.real(key), value.toDouble());
        else if (type == QMetaType::Bool) {
            QCOMPARE(reopened.boolean(key, !value.toBool()), value.toBool());
            QCOMPARE(reopened.integer(key, 7), 0);
            QCOMPARE(reopened.string(key, "missing"), QString());
        } else if (type == QMetaType::QStringList)
            QCOMPARE(reopened.stringList(key), value.toStringList());
        else
            QCOMPARE(reopened.dataDictionary(key), (value.value<QHash<QString, QByteArray>>()));
    }

    void aValueOfAnotherTypeReadsAsTheEmptyValue_data()
    {
        QTest::addColumn<QJsonValue>("stored");
        QTest::addColumn<QString>("readAs");
        QTest::newRow("number read as text") << QJsonValue(5) << "string";
        QTest::newRow("text read as boolean") << QJsonValue("true") << "boolean";
        QTest::newRow("boolean read as number") << QJsonValue(true) << "integer";
        QTest::newRow("fraction read as whole number") << QJsonValue(2.5) << "integer";
        QTest::newRow("text read as fraction") << QJsonValue("1.5") << "real";
        QTest::newRow("text read as list") << QJsonValue("a") << "stringList";
        QTest::newRow("list read as byte dictionary") << QJsonValue(QJsonArray{"a"}) << "dataDictionary";
        QTest::newRow("dictionary entry that is not base64")
            << QJsonValue(QJsonObject{{"x", "***"}}) << "dataDictionary";
    }

    void aValueOfAnotherTypeReadsAsTheEmptyValue()
    {
        QFETCH(QJsonValue, stored);
        QFETCH(QString, readAs);
        test::TestEnvironment env;
        writeSettingsWith("k", stored);
        PreferencesStore store(paths::settingsFile());
        // The fallbacks are for missing keys; a present key of the wrong type ignores them.
        if (readAs == "string")
            QCOMPARE(store.string("k", "fallback"), QString());
        else if (readAs == "boolean")
            QCOMPARE(store.boolean("k", true), false);
        else if (readAs == "integer")
            QCOMPARE(store.integer("k", 7), 0);
        else if (readAs == "real")
            QCOMPARE(store.real("k", 7.0), 0.0);
        else if (readAs == "stringList")
            QCOMPARE(store.stringList("k"), QStringList());
        else
            QVERIFY(store.dataDictionary("k").isEmpty());
    }

    void anUnreadableFileIsSetAsideAndDefaultsUsed_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("not JSON") << QByteArray("textSizeScale = 2\n");
        QTest::newRow("truncated object") << QByteArray("{\"textSizeScale\": 2.0, \"appearanceMode\": \"da");
        QTest::newRow("array instead of object") << QByteArray("[1, 2, 3]");
        QTest::newRow("binary noise") << QByteArray("\x00\x01\xfe\xff", 4);
        QTest::newRow("empty file") << QByteArray();
    }

    void anUnreadableFileIsSetAsideAndDefaultsUsed()
    {
        QFETCH(QByteArray, bytes);
        test::TestEnvironment env;
        writeSettingsFile(bytes);

        PreferencesStore store(paths::settingsFile());
        NotificationCenter center;
        AppSettings settings(store, center, names("Ada Lovelace", "ada"));

        const QStringList aside = setAsideFiles();
        QCOMPARE(aside.size(), 1);
        QVERIFY2(QRegularExpression(R"(^settings\.json\.unreadable-\d{8}-\d{6}$)").match(aside[0]).hasMatch(),
                 qPrintable(aside[0]));
        QFile kept(QFileInfo(paths::settingsFile()).dir().filePath(aside[0]));
        QVERIFY(kept.open(QIODevice::ReadOnly));
        QCOMPARE(kept.readAll(), bytes);

        QCOMPARE(settings.textSizeScale(), 1.0);
        QCOMPARE(settings.appearanceMode(), AppearanceMode::system);
        QCOMPARE(settings.archivedChatRetention(), ArchiveRetention::thirtyDays);
        QVERIFY(settings.showHiddenFilesInInspector());
        QCOMPARE(settings.firstName(), QString("Ada"));

        // The names written at first start made a new, readable file; the set-aside one stays.
        PreferencesStore reopened(paths::settingsFile());
        QCOMPARE(reopened.string("userFirstName"), QString("Ada"));
        QCOMPARE(setAsideFiles(), aside);
    }

    void aDamagedShortcutEntryIsDroppedAndTheRestKept_data()
    {
        QTest::addColumn<QByteArray>("damaged");
        QTest::newRow("not JSON") << QByteArray("Ctrl+K");
        QTest::newRow("key missing") << QByteArray(R"({"modifierRawValue": 1048576})");
        QTest::newRow("modifiers missing") << QByteArray(R"({"key": "k"})");
        QTest::newRow("modifiers as text") << QByteArray(R"({"key": "k", "modifierRawValue": "1048576"})");
        QTest::newRow("negative modifiers") << QByteArray(R"({"key": "k", "modifierRawValue": -1})");
        QTest::newRow("array") << QByteArray(R"(["k", 1048576])");
    }

    void aDamagedShortcutEntryIsDroppedAndTheRestKept()
    {
        QFETCH(QByteArray, damaged);
        test::TestEnvironment env;
        const KeyCombo custom{"b", Cmd | Shift};
        {
            PreferencesStore store(paths::settingsFile());
            store.setDataDictionary("customKeyboardShortcuts",
                                    {{"toggleSidebar", custom.toJson()}, {"quickOpen", damaged}});
        }
        PreferencesStore store(paths::settingsFile());
        NotificationCenter center;
        AppSettings settings(store, center, names("", ""));
        QCOMPARE(settings.customShortcuts().keys(), QStringList{"toggleSidebar"});
        QCOMPARE(settings.shortcut(Action::toggleSidebar), custom);
        QCOMPARE(settings.shortcut(Action::quickOpen), (KeyCombo{"k", Cmd}));
    }

    void textSizeScale_data()
    {
        QTest::addColumn<QJsonValue>("stored");
        QTest::addColumn<double>("expected");
        QTest::newRow("missing") << QJsonValue(QJsonValue::Undefined) << 1.0;
        QTest::newRow("zero") << QJsonValue(0) << 1.0;
        QTest::newRow("negative") << QJsonValue(-0.5) << 1.0;
        QTest::newRow("text") << QJsonValue("big") << 1.0;
        QTest::newRow("larger") << QJsonValue(1.25) << 1.25;
        QTest::newRow("smaller") << QJsonValue(0.85) << 0.85;
    }

    void textSizeScale()
    {
        QFETCH(QJsonValue, stored);
        QFETCH(double, expected);
        test::TestEnvironment env;
        writeSettingsWith("textSizeScale", stored);
        PreferencesStore store(paths::settingsFile());
        NotificationCenter center;
        QCOMPARE(AppSettings(store, center, names("", "")).textSizeScale(), expected);
    }

    void archiveRetention_data()
    {
        QTest::addColumn<QJsonValue>("stored");
        QTest::addColumn<ArchiveRetention>("expected");
        QTest::newRow("missing") << QJsonValue(QJsonValue::Undefined) << ArchiveRetention::thirtyDays;
        QTest::newRow("45 days") << QJsonValue(45) << ArchiveRetention::never;
        QTest::newRow("0 days") << QJsonValue(0) << ArchiveRetention::never;
        QTest::newRow("30 days") << QJsonValue(30) << ArchiveRetention::thirtyDays;
        QTest::newRow("60 days") << QJsonValue(60) << ArchiveRetention::sixtyDays;
        QTest::newRow("90 days") << QJsonValue(90) << ArchiveRetention::ninetyDays;
        QTest::newRow("30 as text") << QJsonValue("30") << ArchiveRetention::never;
    }

    void archiveRetention()
    {
        QFETCH(QJsonValue, stored);
        QFETCH(ArchiveRetention, expected);
        for (const QString key : {"archivedChatRetention", "archivedWorkspaceRetention"}) {
            test::TestEnvironment env;
            writeSettingsWith(key, stored);
            PreferencesStore store(paths::settingsFile());
            NotificationCenter center;
            AppSettings settings(store, center, names("", ""));
            const ArchiveRetention read = key == "archivedChatRetention" ? settings.archivedChatRetention()
                                                                         : settings.archivedWorkspaceRetention();
            QVERIFY2(read == expected, qPrintable(key + ": " + QString::number(int(read))));
        }
    }

    void namesAtFirstStart_data()
    {
        QTest::addColumn<QString>("fullName");
        QTest::addColumn<QString>("shortName");
        QTest::addColumn<QString>("firstName");
        QTest::addColumn<QString>("lastName");
        QTest::addColumn<QString>("displayName");
        QTest::newRow("one word") << "Ada" << "ada" << "Ada" << "" << "Ada";
        QTest::newRow("three words") << "Ada King Lovelace" << "ada" << "Ada" << "King Lovelace"
                                     << "Ada King Lovelace";
        QTest::newRow("full name equal to short name") << "ada" << "ada" << "" << "" << "";
        QTest::newRow("no full name") << "" << "ada" << "" << "" << "";
    }

    void namesAtFirstStart()
    {
        QFETCH(QString, fullName);
        QFETCH(QString, shortName);
        QFETCH(QString, firstName);
        QFETCH(QString, lastName);
        QFETCH(QString, displayName);
        test::TestEnvironment env;
        PreferencesStore store(paths::settingsFile());
        NotificationCenter center;
        AppSettings settings(store, center, names(fullName, shortName));
        QCOMPARE(settings.firstName(), firstName);
        QCOMPARE(settings.lastName(), lastName);
        QCOMPARE(settings.displayName(), displayName);
        // Written at once, so the next start does not derive them again.
        const QJsonObject disk = settingsOnDisk();
        QCOMPARE(disk.value("userFirstName").toString("missing"), firstName);
        QCOMPARE(disk.value("userLastName").toString("missing"), lastName);
    }

    void storedNamesAreNotDerivedAgain_data()
    {
        QTest::addColumn<QString>("storedFirst");
        QTest::addColumn<QString>("storedLast");
        QTest::addColumn<QString>("displayName");
        QTest::newRow("both names") << "Grace" << "Hopper" << "Grace Hopper";
        QTest::newRow("first name only") << "Grace" << "" << "Grace";
        QTest::newRow("emptied by the user: the system name shows") << "" << "" << "Ada Lovelace";
    }

    void storedNamesAreNotDerivedAgain()
    {
        QFETCH(QString, storedFirst);
        QFETCH(QString, storedLast);
        QFETCH(QString, displayName);
        test::TestEnvironment env;
        writeSettingsFile(QJsonDocument(QJsonObject{{"userFirstName", storedFirst},
                                                    {"userLastName", storedLast}}).toJson());
        PreferencesStore store(paths::settingsFile());
        NotificationCenter center;
        AppSettings settings(store, center, names("Ada Lovelace", "ada"));
        QCOMPARE(settings.firstName(), storedFirst);
        QCOMPARE(settings.lastName(), storedLast);
        QCOMPARE(settings.displayName(), displayName);
    }

    void setShortcut_data()
    {
        QTest::addColumn<Action>("action");
        QTest::addColumn<QString>("key");
        QTest::addColumn<quint64>("modifiers");
        QTest::addColumn<QString>("expectedError");
        QTest::newRow("shared default conflicts with the earlier holder")
            << Action::toggleDictation << "t" << (Cmd | Shift)
            << "Ctrl+Shift+T is already used by \"New Chat in Workspace\"";
        QTest::newRow("the later holder of the shared default conflicts too")
            << Action::toggleTerminal << "t" << (Cmd | Shift)
            << "Ctrl+Shift+T is already used by \"New Chat in Workspace\"";
        QTest::newRow("another action's default")
            << Action::deny << "k" << Cmd << "Ctrl+K is already used by \"Quick Open\"";
        QTest::newRow("two modifiers")
            << Action::toggleInspector << "f" << (Cmd | Ctl) << "Ctrl+Meta+F is already used by \"Full Screen\"";
        QTest::newRow("re-recording the action's own combination") << Action::toggleSidebar << "s" << Cmd << "";
        QTest::newRow("unused combination") << Action::deny << "d" << (Cmd | Shift) << "";
        QTest::newRow("same key with other modifiers") << Action::quickOpen << "k" << (Cmd | Opt) << "";
    }

    void setShortcut()
    {
        QFETCH(Action, action);
        QFETCH(QString, key);
        QFETCH(quint64, modifiers);
        QFETCH(QString, expectedError);
        test::TestEnvironment env;
        const KeyCombo combo{key, modifiers};
        const KeyCombo before = defaultCombo(action);
        {
            PreferencesStore store(paths::settingsFile());
            NotificationCenter center;
            NotificationLog log(center);
            AppSettings settings(store, center, names("", ""));

            const Status status = settings.setShortcut(combo, action);
            QCOMPARE(status.ok(), expectedError.isEmpty());
            if (!status.ok()) {
                QCOMPARE(status.error().message, expectedError);
                QCOMPARE(settings.shortcut(action), before);
                QVERIFY(settings.customShortcuts().isEmpty());
                QVERIFY(log.posted.isEmpty());
                QVERIFY(!store.contains("customKeyboardShortcuts"));
                return;
            }
            QCOMPARE(log.posted, QStringList{"shortcutSettingsChanged"});
        }
        // Kept across a restart as one JSON object per action.
        const QByteArray entry = QByteArray::fromBase64(
            settingsOnDisk().value("customKeyboardShortcuts").toObject().value(rawName(action)).toString().toLatin1());
        const QJsonObject json = QJsonDocument::fromJson(entry).object();
        QCOMPARE(json.value("key").toString(), key);
        QCOMPARE(quint64(json.value("modifierRawValue").toDouble()), modifiers);
        PreferencesStore store(paths::settingsFile());
        NotificationCenter center;
        AppSettings settings(store, center, names("", ""));
        QCOMPARE(settings.shortcut(action), combo);
    }

    void resettingShortcutsReturnsToDefaults()
    {
        test::TestEnvironment env;
        PreferencesStore store(paths::settingsFile());
        NotificationCenter center;
        AppSettings settings(store, center, names("", ""));
        QVERIFY(settings.setShortcut({"j", Cmd | Shift}, Action::toggleDictation).ok());
        QVERIFY(settings.setShortcut({"t", Cmd | Opt}, Action::toggleTerminal).ok());
        // A freed default is no conflict any more: toggleTerminal no longer holds Command Shift T.
        QVERIFY(settings.conflictingAction({"t", Cmd | Shift}, Action::newChatInWorkspace) == std::nullopt);
        settings.resetShortcut(Action::toggleDictation);
        QCOMPARE(settings.shortcut(Action::toggleDictation), defaultCombo(Action::toggleDictation));
        QCOMPARE(settings.shortcut(Action::toggleTerminal), (KeyCombo{"t", Cmd | Opt}));
        settings.resetAllShortcuts();
        QCOMPARE(settings.shortcut(Action::toggleTerminal), defaultCombo(Action::toggleTerminal));
        QVERIFY(PreferencesStore(paths::settingsFile()).dataDictionary("customKeyboardShortcuts").isEmpty());
    }

    void eachSetterPostsItsNotificationOnce_data()
    {
        QTest::addColumn<QString>("setter");
        QTest::addColumn<QString>("expected");
        QTest::newRow("creating the settings") << "none" << "";
        QTest::newRow("appearanceMode") << "appearanceMode" << "appearanceModeChanged";
        QTest::newRow("textSizeScale") << "textSizeScale" << "textSizeScaleChanged";
        QTest::newRow("terminalAppearanceMode") << "terminalAppearanceMode" << "terminalAppearanceModeChanged";
        QTest::newRow("firstName") << "firstName" << "";
        QTest::newRow("lastName") << "lastName" << "";
        QTest::newRow("enableAllTools") << "enableAllTools" << "toolSettingsChanged";
        QTest::newRow("disabledTools") << "disabledTools" << "toolSettingsChanged";
        QTest::newRow("setToolEnabled") << "setToolEnabled" << "toolSettingsChanged";
        QTest::newRow("toolOrder") << "toolOrder" << "toolSettingsChanged";
        QTest::newRow("customShortcuts") << "customShortcuts" << "shortcutSettingsChanged";
        QTest::newRow("setShortcut") << "setShortcut" << "shortcutSettingsChanged";
        QTest::newRow("resetShortcut") << "resetShortcut" << "shortcutSettingsChanged";
        QTest::newRow("resetAllShortcuts") << "resetAllShortcuts" << "shortcutSettingsChanged";
        QTest::newRow("enableSourceControl") << "enableSourceControl" << "";
        QTest::newRow("refreshLocalStatusAuto") << "refreshLocalStatusAuto" << "";
        QTest::newRow("fetchAndRefreshServerStatus") << "fetchAndRefreshServerStatus" << "";
        QTest::newRow("addAndRemoveFilesAuto") << "addAndRemoveFilesAuto" << "";
        QTest::newRow("showSourceControlChanges") << "showSourceControlChanges" << "";
        QTest::newRow("showHiddenFilesInInspector") << "showHiddenFilesInInspector" << "showHiddenFilesChanged";
        QTest::newRow("hiddenModelIdsSet") << "hiddenModelIdsSet" << "modelVisibilityChanged";
        QTest::newRow("setModelHidden") << "setModelHidden" << "modelVisibilityChanged";
        QTest::newRow("archivedChatRetention") << "archivedChatRetention" << "archiveRetentionChanged";
        QTest::newRow("archivedWorkspaceRetention") << "archivedWorkspaceRetention" << "archiveRetentionChanged";
        QTest::newRow("permissionMode") << "permissionMode" << "";
        QTest::newRow("hasCompletedOnboarding") << "hasCompletedOnboarding" << "";
    }

    void eachSetterPostsItsNotificationOnce()
    {
        QFETCH(QString, setter);
        QFETCH(QString, expected);
        const QHash<QString, std::function<void(AppSettings &)>> setters{
            {"none", [](AppSettings &) {}},
            {"appearanceMode", [](AppSettings &s) { s.setAppearanceMode(AppearanceMode::dark); }},
            {"textSizeScale", [](AppSettings &s) { s.setTextSizeScale(1.2); }},
            {"terminalAppearanceMode", [](AppSettings &s) { s.setTerminalAppearanceMode(TerminalAppearanceMode::light); }},
            {"firstName", [](AppSettings &s) { s.setFirstName("Grace"); }},
            {"lastName", [](AppSettings &s) { s.setLastName("Hopper"); }},
            {"enableAllTools", [](AppSettings &s) { s.setEnableAllTools(false); }},
            {"disabledTools", [](AppSettings &s) { s.setDisabledTools({"terminal"}); }},
            {"setToolEnabled", [](AppSettings &s) { s.setToolEnabled("terminal", false); }},
            {"toolOrder", [](AppSettings &s) { s.setToolOrder({"files", "terminal"}); }},
            {"customShortcuts", [](AppSettings &s) { s.setCustomShortcuts({{"deny", {"x", Cmd}}}); }},
            {"setShortcut", [](AppSettings &s) { QVERIFY(s.setShortcut({"x", Cmd}, Action::deny).ok()); }},
            {"resetShortcut", [](AppSettings &s) { s.resetShortcut(Action::deny); }},
            {"resetAllShortcuts", [](AppSettings &s) { s.resetAllShortcuts(); }},
            {"enableSourceControl", [](AppSettings &s) { s.setEnableSourceControl(false); }},
            {"refreshLocalStatusAuto", [](AppSettings &s) { s.setRefreshLocalStatusAuto(false); }},
            {"fetchAndRefreshServerStatus", [](AppSettings &s) { s.setFetchAndRefreshServerStatus(false); }},
            {"addAndRemoveFilesAuto", [](AppSettings &s) { s.setAddAndRemoveFilesAuto(false); }},
            {"showSourceControlChanges", [](AppSettings &s) { s.setShowSourceControlChanges(false); }},
            {"showHiddenFilesInInspector", [](AppSettings &s) { s.setShowHiddenFilesInInspector(false); }},
            {"hiddenModelIdsSet", [](AppSettings &s) { s.setHiddenModelIdsSet({"model-a"}); }},
            {"setModelHidden", [](AppSettings &s) { s.setModelHidden("model-a", true); }},
            {"archivedChatRetention", [](AppSettings &s) { s.setArchivedChatRetention(ArchiveRetention::ninetyDays); }},
            {"archivedWorkspaceRetention", [](AppSettings &s) { s.setArchivedWorkspaceRetention(ArchiveRetention::never); }},
            {"permissionMode", [](AppSettings &s) { s.setPermissionMode(PermissionMode::acceptAll); }},
            {"hasCompletedOnboarding", [](AppSettings &s) { s.setHasCompletedOnboarding(true); }},
        };
        QVERIFY(setters.contains(setter));
        test::TestEnvironment env;
        PreferencesStore store(paths::settingsFile());
        NotificationCenter center;
        NotificationLog log(center);
        AppSettings settings(store, center, names("Ada Lovelace", "ada"));
        setters[setter](settings);
        QCOMPARE(log.posted, expected.isEmpty() ? QStringList() : QStringList{expected});
    }

    void toolsAndModels_data()
    {
        QTest::addColumn<bool>("enableAllTools");
        QTest::addColumn<bool>("terminalDisabled");
        QTest::addColumn<bool>("terminalEnabled");
        QTest::newRow("all tools on overrides the disabled list") << true << true << true;
        QTest::newRow("disabled tool") << false << true << false;
        QTest::newRow("tool not in the disabled list") << false << false << true;
    }

    void toolsAndModels()
    {
        QFETCH(bool, enableAllTools);
        QFETCH(bool, terminalDisabled);
        QFETCH(bool, terminalEnabled);
        test::TestEnvironment env;
        PreferencesStore store(paths::settingsFile());
        NotificationCenter center;
        AppSettings settings(store, center, names("", ""));
        settings.setEnableAllTools(enableAllTools);
        settings.setToolEnabled("files", false);
        settings.setToolEnabled("terminal", !terminalDisabled);
        settings.setModelHidden("model-a", true);
        settings.setModelHidden("model-b", true);
        settings.setModelHidden("model-a", false);

        PreferencesStore reopened(paths::settingsFile());
        AppSettings after(reopened, center, names("", ""));
        QCOMPARE(after.isToolEnabled("terminal"), terminalEnabled);
        QCOMPARE(after.isToolEnabled("files"), enableAllTools);
        QCOMPARE(reopened.stringList("disabledTools"),
                 terminalDisabled ? QStringList({"files", "terminal"}) : QStringList{"files"});
        QVERIFY(!after.isModelHidden("model-a"));
        QVERIFY(after.isModelHidden("model-b"));
    }

    void shouldShowOnboarding_data()
    {
        QTest::addColumn<QJsonValue>("onboardingEnabled");
        QTest::addColumn<QJsonValue>("hasCompleted");
        QTest::addColumn<bool>("expected");
        const QJsonValue missing(QJsonValue::Undefined);
        QTest::newRow("fresh install") << missing << missing << true;
        QTest::newRow("not completed") << missing << QJsonValue(false) << true;
        QTest::newRow("completed") << missing << QJsonValue(true) << false;
        QTest::newRow("enabled, fresh") << QJsonValue(true) << missing << true;
        QTest::newRow("enabled, not completed") << QJsonValue(true) << QJsonValue(false) << true;
        QTest::newRow("enabled, completed") << QJsonValue(true) << QJsonValue(true) << false;
        QTest::newRow("switched off, fresh") << QJsonValue(false) << missing << false;
        QTest::newRow("switched off, not completed") << QJsonValue(false) << QJsonValue(false) << false;
        QTest::newRow("switched off, completed") << QJsonValue(false) << QJsonValue(true) << false;
    }

    void shouldShowOnboarding()
    {
        QFETCH(QJsonValue, onboardingEnabled);
        QFETCH(QJsonValue, hasCompleted);
        QFETCH(bool, expected);
        test::TestEnvironment env;
        QJsonObject object;
        if (!onboardingEnabled.isUndefined())
            object.insert("onboardingEnabled", onboardingEnabled);
        if (!hasCompleted.isUndefined())
            object.insert("hasCompletedOnboarding", hasCompleted);
        writeSettingsFile(QJsonDocument(object).toJson());
        PreferencesStore store(paths::settingsFile());
        NotificationCenter center;
        AppSettings settings(store, center, names("", ""));
        QCOMPARE(settings.shouldShowOnboarding(), expected);
        settings.setHasCompletedOnboarding(true);
        QVERIFY(!settings.shouldShowOnboarding());
    }

    void permissionMode_data()
    {
        QTest::addColumn<QJsonValue>("stored");
        QTest::addColumn<int>("expected");
        QTest::newRow("missing") << QJsonValue(QJsonValue::Undefined) << int(PermissionMode::ask);
        QTest::newRow("ask") << QJsonValue("ask") << int(PermissionMode::ask);
        QTest::newRow("acceptEdits") << QJsonValue("acceptEdits") << int(PermissionMode::acceptEdits);
        QTest::newRow("acceptAll") << QJsonValue("acceptAll") << int(PermissionMode::acceptAll);
        QTest::newRow("unknown") << QJsonValue("yolo") << int(PermissionMode::ask);
        QTest::newRow("number") << QJsonValue(2) << int(PermissionMode::ask);
    }

    void permissionMode()
    {
        QFETCH(QJsonValue, stored);
        QFETCH(int, expected);
        test::TestEnvironment env;
        writeSettingsWith("permissionMode", stored);
        PreferencesStore store(paths::settingsFile());
        NotificationCenter center;
        QCOMPARE(int(AppSettings(store, center, names("", "")).permissionMode()), expected);
    }

    void displayString_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<quint64>("modifiers");
        QTest::addColumn<QString>("expected");
        QTest::newRow("letter is upper-cased") << "t" << Cmd << "Ctrl+T";
        QTest::newRow("modifier order") << "x" << (Shift | Ctl | Opt | Cmd) << "Ctrl+Alt+Shift+Meta+X";
        QTest::newRow("no modifiers") << "a" << quint64(0) << "A";
        QTest::newRow("carriage return") << "\r" << Cmd << "Ctrl+Return";
        QTest::newRow("line feed") << "\n" << quint64(0) << "Return";
        QTest::newRow("tab") << "\t" << Opt << "Alt+Tab";
        QTest::newRow("space") << " " << Ctl << "Meta+Space";
        QTest::newRow("escape") << "\x1b" << quint64(0) << "Esc";
        QTest::newRow("delete") << "\x7f" << Cmd << "Ctrl+Backspace";
        QTest::newRow("backspace") << "\b" << quint64(0) << "Backspace";
        QTest::newRow("comma") << "," << Cmd << "Ctrl+,";
        QTest::newRow("period") << "." << Cmd << "Ctrl+.";
        QTest::newRow("slash") << "/" << Cmd << "Ctrl+/";
        QTest::newRow("question mark") << "?" << (Cmd | Shift) << "Ctrl+Shift+?";
        QTest::newRow("minus") << "-" << Cmd << "Ctrl+-";
        QTest::newRow("equals") << "=" << Cmd << "Ctrl+=";
        QTest::newRow("brackets") << "[" << Cmd << "Ctrl+[";
        QTest::newRow("closing bracket") << "]" << Opt << "Alt+]";
        QTest::newRow("accented letter") << QString::fromUtf8("é") << Cmd << QString::fromUtf8("Ctrl+É");
    }

    void displayString()
    {
        QFETCH(QString, key);
        QFETCH(quint64, modifiers);
        QFETCH(QString, expected);
        QCOMPARE((KeyCombo{key, modifiers}.displayString()), expected);
    }

    void actionTable_data()
    {
        QTest::addColumn<Action>("action");
        QTest::addColumn<QString>("raw");
        QTest::addColumn<QString>("display");
        QTest::addColumn<QString>("combo");
        QTest::addColumn<ShortcutCategory>("category");
        using C = ShortcutCategory;
        QTest::newRow("newWindow") << Action::newWindow << "newWindow" << "New Window" << "Ctrl+N" << C::file;
        QTest::newRow("newChat") << Action::newChat << "newChat" << "New Workspace" << "Ctrl+T" << C::file;
        QTest::newRow("newChatInWorkspace") << Action::newChatInWorkspace << "newChatInWorkspace"
                                            << "New Chat in Workspace" << "Ctrl+Shift+T" << C::file;
        QTest::newRow("newIssue") << Action::newIssue << "newIssue" << "New Issue" << "Ctrl+I" << C::file;
        QTest::newRow("addProject") << Action::addProject << "addProject" << "Add Project" << "Ctrl+Shift+N" << C::file;
        QTest::newRow("closeWindow") << Action::closeWindow << "closeWindow" << "Close Window" << "Ctrl+W" << C::file;
        QTest::newRow("closeChat") << Action::closeChat << "closeChat" << "Close Workspace" << "Ctrl+Shift+W" << C::file;
        QTest::newRow("allowOnce") << Action::allowOnce << "allowOnce" << "Allow Once" << "Ctrl+Y" << C::edit;
        QTest::newRow("allowForSession") << Action::allowForSession << "allowForSession" << "Allow for Session"
                                         << "Ctrl+Shift+Y" << C::edit;
        QTest::newRow("deny") << Action::deny << "deny" << "Deny" << "Ctrl+D" << C::edit;
        QTest::newRow("toggleSidebar") << Action::toggleSidebar << "toggleSidebar" << "Toggle Sidebar" << "Ctrl+S" << C::view;
        QTest::newRow("toggleInspector") << Action::toggleInspector << "toggleInspector" << "Toggle Inspector"
                                         << "Ctrl+Alt+I" << C::view;
        QTest::newRow("quickOpen") << Action::quickOpen << "quickOpen" << "Quick Open" << "Ctrl+K" << C::view;
        QTest::newRow("focusChatInput") << Action::focusChatInput << "focusChatInput" << "Focus Chat Input"
                                        << "Ctrl+L" << C::view;
        QTest::newRow("toggleDictation") << Action::toggleDictation << "toggleDictation" << "Toggle Dictation"
                                         << "Ctrl+J" << C::view;
        QTest::newRow("stopAgent") << Action::stopAgent << "stopAgent" << "Stop Agent" << "Ctrl+." << C::view;
        QTest::newRow("toggleTerminal") << Action::toggleTerminal << "toggleTerminal" << "Toggle Terminal"
                                        << "Ctrl+Shift+T" << C::view;
        QTest::newRow("toggleFullScreen") << Action::toggleFullScreen << "toggleFullScreen" << "Full Screen"
                                          << "Ctrl+Meta+F" << C::view;
    }

    void actionTable()
    {
        QFETCH(Action, action);
        QFETCH(QString, raw);
        QFETCH(QString, display);
        QFETCH(QString, combo);
        QFETCH(ShortcutCategory, category);
        QCOMPARE(rawName(action), raw);
        QVERIFY(keyboardShortcutActionFromRaw(raw) == action);
        QCOMPARE(displayName(action), display);
        QCOMPARE(defaultCombo(action).displayString(), combo);
        QVERIFY(corvane::category(action) == category);
        QCOMPARE(allKeyboardShortcutActions()[std::size_t(action)], action);
    }
};

QTEST_GUILESS_MAIN(SettingsTest)
#include "tst_settings.moc"
