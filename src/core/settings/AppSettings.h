#pragma once

#include "core/Broadcasts.h"

#include "core/NotificationCenter.h"
#include "core/Result.h"
#include "core/records/Enums.h"
#include "core/settings/KeyCombo.h"
#include "core/settings/KeyboardShortcutAction.h"
#include "core/settings/OnboardingPreference.h"
#include "core/settings/PreferencesStore.h"
#include "core/settings/SettingsEnums.h"

#include <QHash>
#include <QSet>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

namespace corvane {

// The account's names as the system knows them: the full name ("Ada Lovelace") and the login
// name ("ada").
struct SystemUserNames
{
    QString fullName;
    QString shortName;
};
using SystemUserNamesSource = std::function<SystemUserNames()>;

// From the password database: the GECOS field up to its first comma, and the login name.
SystemUserNames currentSystemUserNames();

// Every user preference of the application. Each getter reads the store, each setter writes it
// at once and posts its notification, with this object as the sender. The application creates
// one and passes it on; it lives as long as the application, on the main thread.
class AppSettings
{
public:
    // At the first start (no "userFirstName" yet) this writes the names taken from `systemNames`.
    AppSettings(PreferencesStore &store, NotificationCenter &center,
                SystemUserNamesSource systemNames = currentSystemUserNames);

    AppearanceMode appearanceMode() const;
    void setAppearanceMode(AppearanceMode mode);

    // Every requested text size is multiplied by this; never 0 or less.
    double textSizeScale() const;
    void setTextSizeScale(double scale);

    TerminalAppearanceMode terminalAppearanceMode() const;
    void setTerminalAppearanceMode(TerminalAppearanceMode mode);

    QString firstName() const;
    void setFirstName(const QString &name);
    QString lastName() const;
    void setLastName(const QString &name);
    // The name for greetings and authorship: the stored names, else the system's full name
    // unless that is only the login name.
    QString displayName() const;

    bool enableAllTools() const;
    void setEnableAllTools(bool enabled);
    QSet<QString> disabledTools() const;
    void setDisabledTools(const QSet<QString> &ids);
    bool isToolEnabled(const QString &id) const;
    void setToolEnabled(const QString &id, bool enabled);
    QStringList toolOrder() const;
    void setToolOrder(const QStringList &ids);

    // Action raw name -> the user's combination; actions without an entry use their default.
    QHash<QString, KeyCombo> customShortcuts() const { return m_customShortcuts; }
    void setCustomShortcuts(const QHash<QString, KeyCombo> &shortcuts);
    KeyCombo shortcut(KeyboardShortcutAction action) const;
    // The first action, in enumeration order and other than `excluding`, whose effective
    // combination is `combo`.
    std::optional<KeyboardShortcutAction> conflictingAction(const KeyCombo &combo,
                                                            KeyboardShortcutAction excluding) const;
    // Fails, storing nothing, when another action already uses the combination.
    Status setShortcut(const KeyCombo &combo, KeyboardShortcutAction action);
    void resetShortcut(KeyboardShortcutAction action);
    void resetAllShortcuts();

    // Source control switches; read where they are used, nothing is posted.
    bool enableSourceControl() const;
    void setEnableSourceControl(bool enabled);
    bool refreshLocalStatusAuto() const;
    void setRefreshLocalStatusAuto(bool enabled);
    bool fetchAndRefreshServerStatus() const;
    void setFetchAndRefreshServerStatus(bool enabled);
    bool addAndRemoveFilesAuto() const;
    void setAddAndRemoveFilesAuto(bool enabled);
    bool showSourceControlChanges() const;
    void setShowSourceControlChanges(bool enabled);

    bool showHiddenFilesInInspector() const;
    void setShowHiddenFilesInInspector(bool show);

    QSet<QString> hiddenModelIdsSet() const;
    void setHiddenModelIdsSet(const QSet<QString> &ids);
    bool isModelHidden(const QString &id) const;
    void setModelHidden(const QString &id, bool hidden);

    ArchiveRetention archivedChatRetention() const;
    void setArchivedChatRetention(ArchiveRetention retention);
    ArchiveRetention archivedWorkspaceRetention() const;
    void setArchivedWorkspaceRetention(ArchiveRetention retention);
    // The two retentions as saved, read without an AppSettings (corvane-cli's sweep).
    static ArchiveRetention storedChatRetention(const PreferencesStore &store);
    static ArchiveRetention storedWorkspaceRetention(const PreferencesStore &store);

    // The one application-wide mode new agent sessions start in; an unknown value is `ask`.
    // Nothing is posted: sessions read it when they start.
    PermissionMode permissionMode() const;
    void setPermissionMode(PermissionMode mode);

    // Where the agent tools are, when the user says so; empty means "look in the usual places".
    // An explicit path wins over every place we would look.
    QString claudePath() const;
    void setClaudePath(const QString &path);
    // GitHub's REST interface; another address for GitHub Enterprise. No trailing slash.
    QString gitHubApiUrl() const;
    void setGitHubApiUrl(const QString &url);
    static QString gitHubApiUrl(const PreferencesStore &preferences);
    QString codexPath() const;
    void setCodexPath(const QString &path);

    // Where the changes above are posted, for views that follow a setting.
    NotificationCenter &center() const { return m_center; }

    // Local usage analytics (off unless turned on); the process-wide recorder follows this.
    bool shareUsageAnalytics() const;
    void setShareUsageAnalytics(bool enabled);

    bool shouldShowOnboarding() const;
    bool hasCompletedOnboarding() const;
    void setHasCompletedOnboarding(bool completed);

private:
    void deriveNamesAtFirstStart();
    void loadCustomShortcuts();
    void saveCustomShortcuts();
    void setStringSet(const QString &key, const QSet<QString> &values);
    QSet<QString> stringSet(const QString &key) const;
    static ArchiveRetention retention(const PreferencesStore &store, const QString &key);
    void post(const QString &name);

    PreferencesStore &m_store;
    NotificationCenter &m_center;
    SystemUserNamesSource m_systemNames;
    QHash<QString, KeyCombo> m_customShortcuts;
};

} // namespace corvane
