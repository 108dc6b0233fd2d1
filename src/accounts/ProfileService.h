#pragma once

#include "accounts/AuthStatus.h"
#include "accounts/ProfileColor.h"
#include "core/Result.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QUuid>

#include <functional>
#include <memory>
#include <optional>

namespace corvane {

class NotificationCenter;
class StoreContext;
struct Profile;

// The agent accounts: one record per account, each with its own claude configuration folder and
// codex home, so the accounts never see each other's sign-in or history. Runs on the thread of
// its context (the main one); nothing here waits for a process.
class ProfileService : public QObject
{
    Q_OBJECT

public:
    explicit ProfileService(StoreContext &context, QObject *parent = nullptr);
    ProfileService(StoreContext &context, NotificationCenter &center, QObject *parent = nullptr);
    ~ProfileService() override;

    // The claude command the user chose in the settings; blank means "look in the usual places".
    void setClaudePath(const QString &path) { m_claudePath = path; }

    static QString profilesRootPath();
    static Result<QString> allocateConfigDirectory(const QUuid &id);
    static Result<QString> allocateCodexDirectory(const QUuid &id);

    // By sortOrder, then createdAt.
    QList<std::shared_ptr<Profile>> fetchProfiles();
    std::shared_ptr<Profile> defaultProfile();
    // The profile whose name matches after trimming, ignoring case; the upper-case id works too.
    // Null when none or when the name is ambiguous.
    std::shared_ptr<Profile> profileNamed(const QString &nameOrId);

    // A blank override allocates a fresh folder under the profiles root; a given one is used as
    // it is (a leading "~" expanded). Nothing is left behind when a folder can't be made.
    Result<std::shared_ptr<Profile>> createProfile(const QString &name, ProfileColor color,
                                                   const std::optional<QString> &iconName = std::nullopt,
                                                   const std::optional<QString> &configDirOverride = std::nullopt);
    // A blank name, or the current one, changes nothing.
    Status renameProfile(const std::shared_ptr<Profile> &profile, const QString &name);
    // Absent colour: keep. Absent outer icon: keep; present but empty inner value: clear.
    Status updateAppearance(const std::shared_ptr<Profile> &profile, std::optional<ProfileColor> color,
                            std::optional<std::optional<QString>> iconName);
    Status setDefaultProfile(const std::shared_ptr<Profile> &profile);
    // The default profile is never deleted. Projects move to the default profile and the record is
    // saved away before any file is touched. With `deleteFiles` its folders are then removed on a
    // worker thread; `filesRemoved` hears how that went, back on this object's thread.
    Status deleteProfile(const std::shared_ptr<Profile> &profile, bool deleteFiles,
                         std::function<void(Status)> filesRemoved = {});
    Status reorderProfiles(const QList<std::shared_ptr<Profile>> &profiles);

    // The claude command: the settings' path, else the first install place that exists.
    std::optional<QString> resolveClaudeBinary() const;

    using AuthStatusHandler = std::function<void(std::optional<AuthStatus>)>;
    // Runs `claude auth status --json` for a configuration folder (none: the user's own ~/.claude)
    // and hands the answer to `done` on this thread, unless `receiver` is gone by then. Absent when
    // claude can't be run, says nothing readable or takes longer than the timeout.
    void fetchAuthStatus(const std::optional<QString> &configDirPath, QObject *receiver, AuthStatusHandler done);
    static CodexAuthStatus fetchCodexAuthStatus(const std::optional<QString> &codexHomeDir);

    // Asks claude about the profile; when signed in, records the email and the sign-in time (which
    // never moves backwards). `done` gets the status, or absent when claude isn't there.
    void refreshAccountInfo(const std::shared_ptr<Profile> &profile, AuthStatusHandler done = {});
    // Writes a raw OpenAI key to the profile's auth.json (0600) and records the sign-in.
    Status saveCodexApiKey(const std::shared_ptr<Profile> &profile, const QString &key);

    int authTimeoutMs() const { return m_authTimeoutMs; }
    void setAuthTimeoutMs(int ms) { m_authTimeoutMs = ms; }

private:
    Status saveAndPost(const char *what);

    StoreContext &m_context;
    NotificationCenter &m_center;
    QString m_claudePath;
    int m_authTimeoutMs = 30000;
};

} // namespace corvane
