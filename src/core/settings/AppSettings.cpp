#include "core/settings/AppSettings.h"

#include "core/Analytics.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>

namespace corvane {

namespace {

namespace key {
const QString appearanceMode = QStringLiteral("appearanceMode");
const QString textSizeScale = QStringLiteral("textSizeScale");
const QString terminalAppearanceMode = QStringLiteral("terminalAppearanceMode");
const QString firstName = QStringLiteral("userFirstName");
const QString lastName = QStringLiteral("userLastName");
const QString enableAllTools = QStringLiteral("enableAllTools");
const QString disabledTools = QStringLiteral("disabledTools");
const QString customShortcuts = QStringLiteral("customKeyboardShortcuts");
const QString enableSourceControl = QStringLiteral("enableSourceControl");
const QString shareUsageAnalytics = QStringLiteral("shareUsageAnalytics");
const QString refreshLocalStatusAuto = QStringLiteral("refreshLocalStatusAuto");
const QString fetchAndRefreshServerStatus = QStringLiteral("fetchAndRefreshServerStatus");
const QString addAndRemoveFilesAuto = QStringLiteral("addAndRemoveFilesAuto");
const QString showSourceControlChanges = QStringLiteral("showSourceControlChanges");
const QString showHiddenFiles = QStringLiteral("showHiddenFilesInInspector");
const QString hiddenModelIds = QStringLiteral("hiddenModelIds");
const QString archivedChatRetention = QStringLiteral("archivedChatRetention");
const QString archivedWorkspaceRetention = QStringLiteral("archivedWorkspaceRetention");
const QString toolOrder = QStringLiteral("toolOrder");
const QString permissionMode = QStringLiteral("permissionMode");
const QString claudePath = QStringLiteral("claudeExecutablePath");
const QString codexPath = QStringLiteral("codexExecutablePath");
const QString gitHubApiUrl = QStringLiteral("gitHubApiURL");
} // namespace key

} // namespace

SystemUserNames currentSystemUserNames()
{
    SystemUserNames names;
    if (const passwd *entry = getpwuid(getuid())) {
        // GECOS is "Full Name,Room,Phone,...": only the first field is the name.
        const QString gecos = QString::fromLocal8Bit(entry->pw_gecos ? entry->pw_gecos : "");
        names.fullName = gecos.section(QLatin1Char(','), 0, 0).trimmed();
        names.shortName = QString::fromLocal8Bit(entry->pw_name ? entry->pw_name : "");
    }
    return names;
}

AppSettings::AppSettings(PreferencesStore &store, NotificationCenter &center,
                         SystemUserNamesSource systemNames)
    : m_store(store), m_center(center), m_systemNames(std::move(systemNames))
{
    if (!m_store.contains(key::firstName))
        deriveNamesAtFirstStart();
    loadCustomShortcuts();
    // The application makes one settings object; the recorder follows its preference.
    Analytics::shared().setEnabled(shareUsageAnalytics());
}

// The first start greets the user by the name the system has for the account; a full name that
// is only the login name says nothing, so the names stay empty for the user to fill in.
void AppSettings::deriveNamesAtFirstStart()
{
    const SystemUserNames names = m_systemNames ? m_systemNames() : SystemUserNames{};
    QString first, last;
    if (!names.fullName.isEmpty() && names.fullName != names.shortName) {
        QStringList pieces = names.fullName.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        first = pieces.takeFirst();
        last = pieces.join(QLatin1Char(' '));
    }
    m_store.setString(key::firstName, first);
    m_store.setString(key::lastName, last);
}

AppearanceMode AppSettings::appearanceMode() const
{
    return fromRaw<AppearanceMode>(m_store.string(key::appearanceMode));
}

void AppSettings::setAppearanceMode(AppearanceMode mode)
{
    m_store.setString(key::appearanceMode, toRaw(mode));
    post(broadcast::appearanceModeChanged);
}

double AppSettings::textSizeScale() const
{
    const double scale = m_store.real(key::textSizeScale, 1.0);
    return scale > 0 ? scale : 1.0;
}

void AppSettings::setTextSizeScale(double scale)
{
    m_store.setReal(key::textSizeScale, scale);
    post(broadcast::textSizeScaleChanged);
}

TerminalAppearanceMode AppSettings::terminalAppearanceMode() const
{
    return fromRaw<TerminalAppearanceMode>(m_store.string(key::terminalAppearanceMode));
}

void AppSettings::setTerminalAppearanceMode(TerminalAppearanceMode mode)
{
    m_store.setString(key::terminalAppearanceMode, toRaw(mode));
    post(broadcast::terminalAppearanceModeChanged);
}

QString AppSettings::firstName() const
{
    return m_store.string(key::firstName);
}

void AppSettings::setFirstName(const QString &name)
{
    m_store.setString(key::firstName, name);
}

QString AppSettings::lastName() const
{
    return m_store.string(key::lastName);
}

void AppSettings::setLastName(const QString &name)
{
    m_store.setString(key::lastName, name);
}

QString AppSettings::displayName() const
{
    const QString stored = QStringList{firstName(), lastName()}.join(QLatin1Char(' ')).trimmed();
    if (!stored.isEmpty())
        return stored;
    const SystemUserNames names = m_systemNames ? m_systemNames() : SystemUserNames{};
    return names.fullName == names.shortName ? QString() : names.fullName;
}

bool AppSettings::enableAllTools() const
{
    return m_store.boolean(key::enableAllTools, true);
}

void AppSettings::setEnableAllTools(bool enabled)
{
    m_store.setBoolean(key::enableAllTools, enabled);
    post(broadcast::toolSettingsChanged);
}

QSet<QString> AppSettings::disabledTools() const
{
    return stringSet(key::disabledTools);
}

void AppSettings::setDisabledTools(const QSet<QString> &ids)
{
    setStringSet(key::disabledTools, ids);
    post(broadcast::toolSettingsChanged);
}

bool AppSettings::isToolEnabled(const QString &id) const
{
    return enableAllTools() || !disabledTools().contains(id);
}

void AppSettings::setToolEnabled(const QString &id, bool enabled)
{
    QSet<QString> ids = disabledTools();
    if (enabled)
        ids.remove(id);
    else
        ids.insert(id);
    setDisabledTools(ids);
}

QStringList AppSettings::toolOrder() const
{
    return m_store.stringList(key::toolOrder);
}

void AppSettings::setToolOrder(const QStringList &ids)
{
    m_store.setStringList(key::toolOrder, ids);
    post(broadcast::toolSettingsChanged);
}

// Each entry is the JSON of one combination; one the program cannot read (hand-edited, or from
// another version) is dropped so the action falls back to its default.
void AppSettings::loadCustomShortcuts()
{
    const QHash<QString, QByteArray> stored = m_store.dataDictionary(key::customShortcuts);
    for (auto it = stored.begin(); it != stored.end(); ++it)
        if (const std::optional<KeyCombo> combo = KeyCombo::fromJson(it.value()))
            m_customShortcuts.insert(it.key(), *combo);
}

void AppSettings::saveCustomShortcuts()
{
    QHash<QString, QByteArray> encoded;
    for (auto it = m_customShortcuts.begin(); it != m_customShortcuts.end(); ++it)
        encoded.insert(it.key(), it.value().toJson());
    m_store.setDataDictionary(key::customShortcuts, encoded);
    post(broadcast::shortcutSettingsChanged);
}

void AppSettings::setCustomShortcuts(const QHash<QString, KeyCombo> &shortcuts)
{
    m_customShortcuts = shortcuts;
    saveCustomShortcuts();
}

KeyCombo AppSettings::shortcut(KeyboardShortcutAction action) const
{
    return m_customShortcuts.value(rawName(action), defaultCombo(action));
}

std::optional<KeyboardShortcutAction> AppSettings::conflictingAction(const KeyCombo &combo,
                                                                     KeyboardShortcutAction excluding) const
{
    for (KeyboardShortcutAction action : allKeyboardShortcutActions())
        if (action != excluding && shortcut(action) == combo)
            return action;
    return std::nullopt;
}

Status AppSettings::setShortcut(const KeyCombo &combo, KeyboardShortcutAction action)
{
    if (const auto other = conflictingAction(combo, action))
        return Error(combo.displayString() + QStringLiteral(" is already used by \"")
                     + corvane::displayName(*other) + QLatin1Char('"'));
    m_customShortcuts.insert(rawName(action), combo);
    saveCustomShortcuts();
    return {};
}

void AppSettings::resetShortcut(KeyboardShortcutAction action)
{
    m_customShortcuts.remove(rawName(action));
    saveCustomShortcuts();
}

void AppSettings::resetAllShortcuts()
{
    m_customShortcuts.clear();
    saveCustomShortcuts();
}

bool AppSettings::enableSourceControl() const
{
    return m_store.boolean(key::enableSourceControl, true);
}

void AppSettings::setEnableSourceControl(bool enabled)
{
    m_store.setBoolean(key::enableSourceControl, enabled);
}

bool AppSettings::refreshLocalStatusAuto() const
{
    return m_store.boolean(key::refreshLocalStatusAuto, true);
}

void AppSettings::setRefreshLocalStatusAuto(bool enabled)
{
    m_store.setBoolean(key::refreshLocalStatusAuto, enabled);
}

bool AppSettings::fetchAndRefreshServerStatus() const
{
    return m_store.boolean(key::fetchAndRefreshServerStatus, true);
}

void AppSettings::setFetchAndRefreshServerStatus(bool enabled)
{
    m_store.setBoolean(key::fetchAndRefreshServerStatus, enabled);
}

bool AppSettings::addAndRemoveFilesAuto() const
{
    return m_store.boolean(key::addAndRemoveFilesAuto, true);
}

void AppSettings::setAddAndRemoveFilesAuto(bool enabled)
{
    m_store.setBoolean(key::addAndRemoveFilesAuto, enabled);
}

bool AppSettings::showSourceControlChanges() const
{
    return m_store.boolean(key::showSourceControlChanges, true);
}

void AppSettings::setShowSourceControlChanges(bool enabled)
{
    m_store.setBoolean(key::showSourceControlChanges, enabled);
}

bool AppSettings::showHiddenFilesInInspector() const
{
    return m_store.boolean(key::showHiddenFiles, true);
}

void AppSettings::setShowHiddenFilesInInspector(bool show)
{
    m_store.setBoolean(key::showHiddenFiles, show);
    post(broadcast::showHiddenFilesChanged);
}

QSet<QString> AppSettings::hiddenModelIdsSet() const
{
    return stringSet(key::hiddenModelIds);
}

void AppSettings::setHiddenModelIdsSet(const QSet<QString> &ids)
{
    setStringSet(key::hiddenModelIds, ids);
    post(broadcast::modelVisibilityChanged);
}

bool AppSettings::isModelHidden(const QString &id) const
{
    return hiddenModelIdsSet().contains(id);
}

void AppSettings::setModelHidden(const QString &id, bool hidden)
{
    QSet<QString> ids = hiddenModelIdsSet();
    if (hidden)
        ids.insert(id);
    else
        ids.remove(id);
    setHiddenModelIdsSet(ids);
}

ArchiveRetention AppSettings::retention(const PreferencesStore &store, const QString &key)
{
    if (!store.contains(key))
        return ArchiveRetention::thirtyDays;
    switch (store.integer(key)) {
    case 30: return ArchiveRetention::thirtyDays;
    case 60: return ArchiveRetention::sixtyDays;
    case 90: return ArchiveRetention::ninetyDays;
    default: return ArchiveRetention::never;
    }
}

ArchiveRetention AppSettings::storedChatRetention(const PreferencesStore &store)
{
    return retention(store, key::archivedChatRetention);
}

ArchiveRetention AppSettings::storedWorkspaceRetention(const PreferencesStore &store)
{
    return retention(store, key::archivedWorkspaceRetention);
}

ArchiveRetention AppSettings::archivedChatRetention() const
{
    return retention(m_store, key::archivedChatRetention);
}

void AppSettings::setArchivedChatRetention(ArchiveRetention retention)
{
    m_store.setInteger(key::archivedChatRetention, int(retention));
    post(broadcast::archiveRetentionChanged);
}

ArchiveRetention AppSettings::archivedWorkspaceRetention() const
{
    return retention(m_store, key::archivedWorkspaceRetention);
}

void AppSettings::setArchivedWorkspaceRetention(ArchiveRetention retention)
{
    m_store.setInteger(key::archivedWorkspaceRetention, int(retention));
    post(broadcast::archiveRetentionChanged);
}

PermissionMode AppSettings::permissionMode() const
{
    return fromRaw<PermissionMode>(m_store.string(key::permissionMode));
}

void AppSettings::setPermissionMode(PermissionMode mode)
{
    m_store.setString(key::permissionMode, toRaw(mode));
}

QString AppSettings::claudePath() const
{
    return m_store.string(key::claudePath).trimmed();
}

void AppSettings::setClaudePath(const QString &path)
{
    m_store.setString(key::claudePath, path.trimmed());
    post(broadcast::toolSettingsChanged);
}

QString AppSettings::gitHubApiUrl(const PreferencesStore &preferences)
{
    QString url = preferences.string(key::gitHubApiUrl).trimmed();
    while (url.endsWith(QLatin1Char('/')))
        url.chop(1);
    return url.isEmpty() ? QStringLiteral("https://api.github.com") : url;
}

QString AppSettings::gitHubApiUrl() const
{
    return gitHubApiUrl(m_store);
}

void AppSettings::setGitHubApiUrl(const QString &url)
{
    m_store.setString(key::gitHubApiUrl, url.trimmed());
}

QString AppSettings::codexPath() const
{
    return m_store.string(key::codexPath).trimmed();
}

void AppSettings::setCodexPath(const QString &path)
{
    m_store.setString(key::codexPath, path.trimmed());
    post(broadcast::toolSettingsChanged);
}

bool AppSettings::shouldShowOnboarding() const
{
    return corvane::shouldShowOnboarding(m_store);
}

bool AppSettings::shareUsageAnalytics() const
{
    return m_store.boolean(key::shareUsageAnalytics, false);
}

void AppSettings::setShareUsageAnalytics(bool enabled)
{
    m_store.setBoolean(key::shareUsageAnalytics, enabled);
    Analytics::shared().setEnabled(enabled);
}

bool AppSettings::hasCompletedOnboarding() const
{
    return m_store.boolean(onboardingKey::hasCompletedOnboarding, false);
}

void AppSettings::setHasCompletedOnboarding(bool completed)
{
    m_store.setBoolean(onboardingKey::hasCompletedOnboarding, completed);
}

void AppSettings::post(const QString &name)
{
    m_center.post(name, this);
}

QSet<QString> AppSettings::stringSet(const QString &key) const
{
    const QStringList list = m_store.stringList(key);
    return QSet<QString>(list.begin(), list.end());
}

// Sorted, so the file does not change from one write to the next for the same set.
void AppSettings::setStringSet(const QString &key, const QSet<QString> &values)
{
    QStringList list(values.begin(), values.end());
    std::sort(list.begin(), list.end());
    m_store.setStringList(key, list);
}

} // namespace corvane
