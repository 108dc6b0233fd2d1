#pragma once

#include "agent/AgentTypes.h"

#include <QList>
#include <QString>

namespace corvane {

struct SlashCommandDefinition
{
    QString name;
    QString description;
    bool hasArgument = false;
};

// What a typed "/command" becomes. Commands are translated into plain prompts for the agent, so
// "/compact focus" reaches it as text and no tool command runs; "/clear" is ours alone.
struct SlashCommand
{
    enum class Kind { notACommand, clear, prompt };
    Kind kind = Kind::notACommand;
    QString name;
    QString displayText; // the text as typed, for the user's row
    QString prompt;      // what the agent receives
};

namespace slashcommands {

const QList<SlashCommandDefinition> &catalogue();
// What the autocomplete offers for `agent` ("plan" is claude's alone).
QList<SlashCommandDefinition> forAgent(AgentType agent);
// The autocomplete list for what is typed: everything for "/", else commands whose name begins
// with the rest. Empty when the text is no command.
QList<SlashCommandDefinition> matching(const QString &typed, AgentType agent);
// The input's text after accepting `command` from the list.
QString completion(const SlashCommandDefinition &command);

SlashCommand parse(const QString &text);

} // namespace slashcommands
} // namespace corvane
