#include "automation/AgentFile.h"

#include "automation/FrontMatter.h"

#include <QFileInfo>

namespace corvane::agentfile {

namespace {

const QString PlannerPrompt = QStringLiteral(R"(# Planner

You are the Planner subagent. Your job is to turn the user's request
into a precise, ordered implementation plan that the Coordinator can
execute without further clarification.

## What to produce

Return a numbered list. Each step should:

- Name the exact file(s) to touch.
- Describe the change in one sentence (what, not how).
- Call out any new types, functions, or APIs being introduced.

Conclude with:

- **Risks**: anything that could break adjacent code.
- **Out of scope**: things you considered but deliberately deferred.

## What not to do

- Do not write code. Plans only.
- Do not run quality gates — that's a later phase.
- Do not invent requirements the user didn't state.

Keep plans short. Five well-scoped steps beat fifteen vague ones.)");

const QString ReviewerPrompt = QStringLiteral(R"(# Reviewer

You are the Reviewer subagent. The Coordinator hands you a completed
implementation pass; your job is to decide whether it ships.

## How to review

1. Run `git diff` (or `git status` + targeted reads) to see the change.
2. Check the change against the original issue / plan: does it do
   what was asked, no more and no less?
3. Look for: correctness bugs, missing edge cases, regressions in
   adjacent code, security issues, and obvious style/convention
   breaks. Don't nitpick formatting.
4. Quality gates have already passed by the time you run — focus on
   things gates can't catch.

## How to respond

Return a short verdict block to the Coordinator with one of:

- **APPROVED** — ship it. One-line summary of why.
- **NEEDS_CHANGES** — list the specific things that must change,
  each as an actionable bullet. Don't editorialise.
- **REJECTED** — only when the approach is wrong at the design
  level and partial fixes won't recover it. Explain briefly.

The Coordinator will translate your verdict into the
`[CORVANE:REVIEW_VERDICT=...]` marker; you don't emit markers.)");

} // namespace

ScannedAgent parse(const QString &content, const QString &filePath)
{
    const FrontMatter header = frontmatter::parse(content);
    ScannedAgent agent;
    agent.filePath = filePath;
    agent.name = header.value(QStringLiteral("name")).value_or(QFileInfo(filePath).completeBaseName());
    agent.displayName = header.value(QStringLiteral("display-name")).value_or(agent.name);
    agent.description = header.value(QStringLiteral("description")).value_or(QString());
    if (const auto tools = header.value(QStringLiteral("tools")); tools && !tools->isEmpty())
        agent.allowedTools = frontmatter::list(tools);
    agent.model = header.value(QStringLiteral("model"));
    agent.icon = header.value(QStringLiteral("icon")).value_or(agent.icon);
    agent.colorHex = header.value(QStringLiteral("color")).value_or(agent.colorHex);
    agent.systemPrompt = header.body;
    return agent;
}

QString write(const ScannedAgent &agent)
{
    QStringList lines{QStringLiteral("---"), QStringLiteral("name: ") + agent.name};
    if (!agent.displayName.isEmpty() && agent.displayName != agent.name)
        lines << QStringLiteral("display-name: ") + agent.displayName;
    if (!agent.description.isEmpty())
        lines << QStringLiteral("description: ") + agent.description;
    if (agent.allowedTools && !agent.allowedTools->isEmpty())
        lines << QStringLiteral("tools: ") + agent.allowedTools->join(QStringLiteral(", "));
    if (agent.model && !agent.model->isEmpty())
        lines << QStringLiteral("model: ") + *agent.model;
    lines << QStringLiteral("icon: ") + agent.icon << QStringLiteral("color: ") + agent.colorHex
          << QStringLiteral("---") << QString() << agent.systemPrompt;
    return lines.join(QLatin1Char('\n'));
}

QList<ScannedAgent> builtins()
{
    ScannedAgent planner;
    planner.name = QStringLiteral("planner");
    planner.displayName = QStringLiteral("Planner");
    planner.description = QStringLiteral("Produces a concrete implementation plan from an issue description before any code is written.");
    planner.allowedTools = QStringList{QStringLiteral("Read"), QStringLiteral("Grep"), QStringLiteral("Glob")};
    planner.icon = QStringLiteral("list.bullet.rectangle");
    planner.colorHex = QStringLiteral("#4F8BFF");
    planner.systemPrompt = PlannerPrompt;

    ScannedAgent reviewer;
    reviewer.name = QStringLiteral("reviewer");
    reviewer.displayName = QStringLiteral("Reviewer");
    reviewer.description = QStringLiteral("Inspects the working diff after implementation and returns an approved / needs-changes / rejected verdict with rationale.");
    reviewer.allowedTools = QStringList{QStringLiteral("Read"), QStringLiteral("Grep"), QStringLiteral("Glob"), QStringLiteral("Bash")};
    reviewer.icon = QStringLiteral("checkmark.shield");
    reviewer.colorHex = QStringLiteral("#34C759");
    reviewer.systemPrompt = ReviewerPrompt;
    return {planner, reviewer};
}

QString newAgentTemplate(const QString &name)
{
    return QStringList{QStringLiteral("---"), QStringLiteral("name: ") + name,
                       QStringLiteral("description: This subagent should be used when..."),
                       QStringLiteral("icon: person.crop.circle"), QStringLiteral("color: #7B61FF"),
                       QStringLiteral("---"), QString()}
               .join(QLatin1Char('\n'))
        + QStringLiteral("\n# ") + name + QStringLiteral("\n\nYou are the ") + name + QStringLiteral(" subagent...\n");
}

} // namespace corvane::agentfile
