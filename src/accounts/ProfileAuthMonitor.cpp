#include "accounts/ProfileAuthMonitor.h"

#include "accounts/ProfileService.h"
#include "core/Log.h"
#include "core/records/Profile.h"
#include "core/store/StoreContext.h"

namespace corvane {

namespace {

// Sign-in times only move forward: a clock set back must not undo a newer one.
void moveForward(std::optional<QDateTime> &stored)
{
    const QDateTime now = QDateTime::currentDateTime();
    if (!stored || *stored < now)
        stored = now;
}

} // namespace

QString describe(const AuthState &state)
{
    switch (state.kind) {
    case AuthState::Kind::signedIn:
        return QStringLiteral("signedIn(%1)").arg(state.email.value_or(QString()));
    case AuthState::Kind::unknown:
        return QStringLiteral("unknown");
    case AuthState::Kind::probing:
        return QStringLiteral("probing");
    case AuthState::Kind::signedOut:
        return QStringLiteral("signedOut");
    case AuthState::Kind::error:
        return QStringLiteral("error");
    }
    return {};
}

ProfileAuthMonitor::ProfileAuthMonitor(ProfileService &profiles, StoreContext &context, QObject *parent)
    : QObject(parent), m_profiles(profiles), m_context(context)
{
}

void ProfileAuthMonitor::probeAll(const QList<std::shared_ptr<Profile>> &profiles)
{
    for (const auto &profile : profiles) {
        if (!profile)
            continue;
        if (state(profile->id).kind == Kind::unknown)
            probeClaude(profile);
        if (codexState(profile->id).kind == Kind::unknown)
            probeCodex(profile);
    }
}

void ProfileAuthMonitor::probeClaude(const std::shared_ptr<Profile> &profile)
{
    if (!profile || m_inFlight.contains(profile->id))
        return;
    const QUuid id = profile->id;
    m_inFlight.insert(id);
    setState(m_states, id, AuthState::of(Kind::probing), false);
    // The default profile asks claude's own default folder, whatever the record says.
    const std::optional<QString> dir = profile->isDefault ? std::nullopt : std::optional<QString>(profile->configDirPath);
    m_profiles.fetchAuthStatus(dir, this, [this, id](std::optional<AuthStatus> status) {
        m_inFlight.remove(id);
        if (!status) {
            setState(m_states, id, AuthState::of(Kind::error), false);
            return;
        }
        if (!status->loggedIn) {
            setState(m_states, id, AuthState::of(Kind::signedOut), false);
            return;
        }
        // The record as the store has it now: a profile deleted meanwhile is not brought back.
        if (const auto live = m_context.get<Profile>(id)) {
            if (live->accountEmail != status->email)
                live->accountEmail = status->email;
            moveForward(live->lastLoginAt);
            if (Status saved = m_context.save(); !saved)
                logLine("Profiles", QStringLiteral("Saving a sign-in: ") + saved.error().message);
        }
        setState(m_states, id, AuthState::of(Kind::signedIn, status->email), false);
    });
}

void ProfileAuthMonitor::probeCodex(const std::shared_ptr<Profile> &profile)
{
    if (!profile)
        return;
    const QUuid id = profile->id;
    setState(m_codexStates, id, AuthState::of(Kind::probing), true);
    const CodexAuthStatus status = ProfileService::fetchCodexAuthStatus(profile->codexHomeDir);
    if (!status.loggedIn) {
        setState(m_codexStates, id, AuthState::of(Kind::signedOut), true);
        return;
    }
    const auto live = m_context.get<Profile>(id);
    std::optional<QString> email = status.email;
    if (live) {
        if (!email)
            email = live->codexAccountEmail; // a raw key names no account; the last one known stays
        else if (live->codexAccountEmail != status.email)
            live->codexAccountEmail = status.email;
        moveForward(live->codexLastLoginAt);
        if (Status saved = m_context.save(); !saved)
            logLine("Profiles", QStringLiteral("Saving a sign-in: ") + saved.error().message);
    }
    setState(m_codexStates, id, AuthState::of(Kind::signedIn, email), true);
}

void ProfileAuthMonitor::setState(QHash<QUuid, AuthState> &states, const QUuid &id, AuthState state, bool codex)
{
    auto found = states.find(id);
    if (found != states.end() && *found == state)
        return;
    states.insert(id, std::move(state));
    codex ? emit codexStateChanged(id) : emit stateChanged(id);
}

} // namespace corvane
