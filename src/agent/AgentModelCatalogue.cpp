#include "agent/AgentModelCatalogue.h"

namespace corvane {

namespace {

AgentModelDescriptor entry(AgentType type, const char *flag, const char *name, bool current)
{
    const bool claude = type == AgentType::claudeCode;
    const QString cliFlag = QString::fromLatin1(flag);
    return {(claude ? QStringLiteral("claude:") : QStringLiteral("codex:")) + cliFlag,
            QString::fromUtf8(name),
            cliFlag,
            type,
            claude ? QStringLiteral("claude") : QStringLiteral("chatgpt"),
            current,
            claude ? QStringLiteral("Claude") : QStringLiteral("Codex")};
}

} // namespace

const QList<AgentModelDescriptor> &AgentModelCatalogue::all()
{
    using enum AgentType;
    static const QList<AgentModelDescriptor> models{
        entry(claudeCode, "claude-opus-4-8", "Opus 4.8", true),
        entry(claudeCode, "claude-sonnet-4-6", "Sonnet 4.6", true),
        entry(claudeCode, "claude-haiku-4-5-20251001", "Haiku 4.5", true),
        entry(claudeCode, "claude-opus-4-7", "Opus 4.7", false),
        entry(claudeCode, "claude-opus-4-6", "Opus 4.6", false),
        entry(claudeCode, "claude-opus-4-5-20251101", "Opus 4.5", false),
        entry(claudeCode, "claude-opus-4-1-20250805", "Opus 4.1", false),
        entry(claudeCode, "claude-sonnet-4-5-20250929", "Sonnet 4.5", false),
        entry(codex, "gpt-5.5", "GPT-5.5", true),
        entry(codex, "gpt-5.4", "GPT-5.4", true),
        entry(codex, "gpt-5-codex", "GPT-5 Codex", true),
        entry(codex, "o3", "o3", false),
        entry(codex, "o4-mini", "o4-mini", false),
    };
    return models;
}

QList<AgentModelDescriptor> AgentModelCatalogue::forAgentType(AgentType type)
{
    QList<AgentModelDescriptor> out;
    for (const AgentModelDescriptor &model : all())
        if (model.agentType == type)
            out.append(model);
    return out;
}

std::optional<AgentModelDescriptor> AgentModelCatalogue::byId(const QString &id)
{
    for (const AgentModelDescriptor &model : all())
        if (model.id == id)
            return model;
    return std::nullopt;
}

QList<AgentModelDescriptor> AgentModelCatalogue::pickerOrder(const QSet<QString> &hiddenIds)
{
    QList<AgentModelDescriptor> out;
    for (AgentType agent : {AgentType::claudeCode, AgentType::codex}) {
        const QList<AgentModelDescriptor> models = forAgentType(agent);
        for (bool current : {true, false})
            for (const AgentModelDescriptor &m : models)
                if (m.isCurrentGeneration == current && !hiddenIds.contains(m.id))
                    out.append(m);
    }
    return out;
}

} // namespace corvane
