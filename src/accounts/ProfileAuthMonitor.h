#pragma once

#include <QHash>
#include <QObject>
#include <QSet>
#include <QString>
#include <QUuid>

#include <memory>
#include <optional>

namespace corvane {

class ProfileService;
class StoreContext;
struct Profile;

// What is known of one agent's sign-in on a profile. Starts unknown at every launch: only the
// last email is remembered, on the record.
struct AuthState
{
    enum class Kind { signedIn, unknown, probing, signedOut, error };
    Kind kind = Kind::unknown;
    std::optional<QString> email; // signedIn only

    static AuthState of(Kind kind, std::optional<QString> email = std::nullopt) { return {kind, std::move(email)}; }
    bool operator==(const AuthState &) const = default;
};

QString describe(const AuthState &state); // "signedIn(ana@example.com)", for logs and tests

// Keeps a live answer, per profile, to "is it signed in to Claude, and to Codex?". Nothing runs on
// a clock: each check is asked for by a screen that shows the answer, or by a sign-in that ended.
// The claude check is a child process whose answer comes back later on this thread; the window
// never waits on it. At most one claude check per profile is under way at a time.
class ProfileAuthMonitor : public QObject
{
    Q_OBJECT

public:
    using Kind = AuthState::Kind;

    ProfileAuthMonitor(ProfileService &profiles, StoreContext &context, QObject *parent = nullptr);

    AuthState state(const QUuid &profileId) const { return m_states.value(profileId); }
    AuthState codexState(const QUuid &profileId) const { return m_codexStates.value(profileId); }
    bool isProbing(const QUuid &profileId) const { return m_inFlight.contains(profileId); }
    const QSet<QUuid> &inFlight() const { return m_inFlight; }

    // Checks only what is not known yet (missing or unknown); a known answer, or one on its way,
    // is left as it is.
    void probeAll(const QList<std::shared_ptr<Profile>> &profiles);
    // Checks again whatever is known, unless a claude check of this profile is already running.
    void probeClaude(const std::shared_ptr<Profile> &profile);
    // Reads auth.json at once: it can't fail to run, so it never ends in error.
    void probeCodex(const std::shared_ptr<Profile> &profile);

signals:
    void stateChanged(const QUuid &profileId);
    void codexStateChanged(const QUuid &profileId);

private:
    void setState(QHash<QUuid, AuthState> &states, const QUuid &id, AuthState state, bool codex);

    ProfileService &m_profiles;
    StoreContext &m_context;
    QHash<QUuid, AuthState> m_states;
    QHash<QUuid, AuthState> m_codexStates;
    QSet<QUuid> m_inFlight;
};

} // namespace corvane
