#include "agent/input/SlashCommands.h"

#include <QRegularExpression>

namespace corvane::slashcommands {

const QList<SlashCommandDefinition> &catalogue()
{
    static const QList<SlashCommandDefinition> commands{
        {"clear", "Clear conversation and restart session", false},
        {"compact", "Compact conversation to free up context", true},
        {"plan", "Enter plan mode before making changes", false},
        {"pr-comments", "Fetch and review PR comments", true},
        {"security-review", "Review diff for security vulnerabilities", false},
        {"init", "Initialize project with CLAUDE.md", false},
    };
    return commands;
}

QList<SlashCommandDefinition> forAgent(AgentType agent)
{
    QList<SlashCommandDefinition> out;
    for (const auto &command : catalogue())
        if (!(agent == AgentType::codex && command.name == QLatin1String("plan")))
            out.append(command);
    return out;
}

QList<SlashCommandDefinition> matching(const QString &typed, AgentType agent)
{
    const QString text = typed.trimmed();
    if (!text.startsWith(QLatin1Char('/')))
        return {};
    const QString query = text.mid(1).toLower();
    QList<SlashCommandDefinition> out;
    for (const auto &command : forAgent(agent))
        if (command.name.startsWith(query))
            out.append(command);
    return out;
}

QString completion(const SlashCommandDefinition &command)
{
    return QLatin1Char('/') + command.name + (command.hasArgument ? QStringLiteral(" ") : QString());
}

SlashCommand parse(const QString &text)
{
    const QString trimmed = text.trimmed();
    if (!trimmed.startsWith(QLatin1Char('/')))
        return {};
    static const QRegularExpression blank(QStringLiteral("\\s"));
    const QString body = trimmed.mid(1);
    const qsizetype split = body.indexOf(blank);
    const QString name = (split < 0 ? body : body.left(split)).toLower();
    const QString argument = split < 0 ? QString() : body.mid(split + 1).trimmed();
    SlashCommand command;
    command.name = name;
    command.displayText = trimmed;
    if (name == QLatin1String("clear")) {
        command.kind = SlashCommand::Kind::clear;
        return command;
    }
    command.kind = SlashCommand::Kind::prompt;
    if (name == QLatin1String("compact")) {
        command.prompt = QStringLiteral("Compact this conversation to free up context.");
        if (!argument.isEmpty())
            command.prompt += QStringLiteral(" Focus on: ") + argument;
    } else if (name == QLatin1String("plan")) {
        command.prompt = QStringLiteral("Enter plan mode. Analyze the task, explore the codebase, and present a detailed "
                                        "implementation plan before making changes.");
    } else if (name == QLatin1String("pr-comments")) {
        command.prompt = argument.isEmpty()
            ? QStringLiteral("Fetch and review comments from the GitHub pull request for the current branch. Use the gh CLI.")
            : QStringLiteral("Fetch and review comments from GitHub pull request %1. Use the gh CLI.").arg(argument);
    } else if (name == QLatin1String("security-review")) {
        command.prompt = QStringLiteral("Review the current git diff on this branch for security vulnerabilities. Analyze for "
                                        "injection, auth issues, data exposure, and other OWASP risks.");
    } else if (name == QLatin1String("init")) {
        command.prompt = QStringLiteral("Initialize this project with a CLAUDE.md file. Analyze the codebase structure, tech "
                                        "stack, build commands, and conventions, then create a comprehensive CLAUDE.md guide.");
    } else {
        return {}; // not one of ours: the text goes to the agent as typed
    }
    return command;
}

} // namespace corvane::slashcommands
