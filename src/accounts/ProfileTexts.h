#pragma once

#include "accounts/ProfileAuthMonitor.h"
#include "agent/AgentModelDescriptor.h"

#include <QDateTime>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

#include <optional>

namespace corvane {

struct Profile;

// The words the profile screens show, kept apart from the widgets so that every case can be read
// and checked without a window.
namespace profileText {

enum class Agent { claude, chatGpt };

// The line under an agent's row on a profile card; empty when there is nothing to say.
QString authSubtitle(Agent agent, const AuthState &state, const std::optional<QDateTime> &lastLogin);
// Short date and time in the user's locale.
QString shortDateTime(const QDateTime &when);

// The notes under the sidebar's strip of profiles for the active profile's page.
QStringList pageNotes(const AuthState &claude, int projectCount);

QString deleteTitle(const QString &name);
// The sidebar's prompt counts the projects that will move.
QString deleteTextInSidebar(int projectCount, const QString &configDir);
QString deleteTextInPreferences(const QString &name, const QString &configDir);

// The alert before a chat or workspace is started on a profile that was never signed in.
QString gateTitle();
QString gateText(const QString &name);
// A profile passes the gate once a sign-in was ever recorded, or the monitor says it is signed in now.
bool passesGate(const Profile &profile, const AuthState &claude, const AuthState &codex);

// The models a profile may choose as its default or commit-message model: those of agents
// signed in on it, without the hidden ones, in the picker's order.
QList<AgentModelDescriptor> modelChoices(const QSet<QString> &hiddenIds, bool claudeSignedIn, bool codexSignedIn);

} // namespace profileText
} // namespace corvane
