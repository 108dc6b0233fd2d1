#include "accounts/ProfileTexts.h"

#include "agent/AgentModelCatalogue.h"
#include "core/records/Profile.h"

#include <QLocale>

namespace corvane::profileText {

QString shortDateTime(const QDateTime &when)
{
    return QLocale().toString(when, QLocale::ShortFormat);
}

QString authSubtitle(Agent agent, const AuthState &state, const std::optional<QDateTime> &lastLogin)
{
    const bool claude = agent == Agent::claude;
    switch (state.kind) {
    case AuthState::Kind::signedIn:
        return lastLogin ? QStringLiteral("Last login ") + shortDateTime(*lastLogin) : QStringLiteral("Verified just now");
    case AuthState::Kind::unknown:
    case AuthState::Kind::probing:
        return lastLogin ? QStringLiteral("Last verified ") + shortDateTime(*lastLogin) : QString();
    case AuthState::Kind::signedOut:
        return claude ? QStringLiteral("Sign in to run Claude chats on this profile.")
                      : QStringLiteral("Sign in with ChatGPT or use an OpenAI API key.");
    case AuthState::Kind::error:
        // The codex check reads a file and can't fail to run; should it ever, it reads as signed out.
        return claude ? QStringLiteral("The `claude` CLI couldn't be reached. Make sure it's installed.")
                      : QStringLiteral("Sign in with ChatGPT or use an OpenAI API key.");
    }
    return {};
}

QStringList pageNotes(const AuthState &claude, int projectCount)
{
    QStringList notes;
    if (claude.kind == AuthState::Kind::signedOut)
        notes << QStringLiteral("Sign in to run chats on this profile.");
    if (projectCount == 0)
        notes << QStringLiteral("Add a project folder to start chatting with this profile.");
    return notes;
}

QString deleteTitle(const QString &name)
{
    return name.isEmpty() ? QStringLiteral("Delete Profile") : QStringLiteral("Delete \"%1\"").arg(name);
}

QString deleteTextInSidebar(int projectCount, const QString &configDir)
{
    QString projects;
    if (projectCount == 0)
        projects = QStringLiteral("No projects are linked to this profile.");
    else if (projectCount == 1)
        projects = QStringLiteral("1 project will be moved to the default profile.");
    else
        projects = QStringLiteral("%1 projects will be moved to the default profile.").arg(projectCount);
    return projects
        + QStringLiteral(" Choose \"Delete Profile and Files\" to also remove the on-disk Claude Code config directory at %1.")
              .arg(configDir);
}

QString deleteTextInPreferences(const QString &name, const QString &configDir)
{
    return QStringLiteral("Projects assigned to \"%1\" will be moved to the default profile. \"Delete Profile "
                          "and Files\" will additionally remove the on-disk config directory at %2.")
        .arg(name, configDir);
}

QString gateTitle()
{
    return QStringLiteral("Sign in to get started");
}

QString gateText(const QString &name)
{
    if (name.trimmed().isEmpty())
        return QStringLiteral("Sign in to Claude or ChatGPT on this profile before creating a new chat.");
    return QStringLiteral("The \"%1\" profile isn't signed into Claude or ChatGPT yet. Sign in before creating a new chat.")
        .arg(name);
}

bool passesGate(const Profile &profile, const AuthState &claude, const AuthState &codex)
{
    return profile.hasAnySignIn() || claude.kind == AuthState::Kind::signedIn || codex.kind == AuthState::Kind::signedIn;
}

QList<AgentModelDescriptor> modelChoices(const QSet<QString> &hiddenIds, bool claudeSignedIn, bool codexSignedIn)
{
    QList<AgentModelDescriptor> choices;
    for (const AgentModelDescriptor &model : AgentModelCatalogue::pickerOrder(hiddenIds)) {
        const bool claude = model.agentType == AgentType::claudeCode;
        if (claude ? claudeSignedIn : codexSignedIn)
            choices.append(model);
    }
    return choices;
}

} // namespace corvane::profileText
