#include "automation/FlowFile.h"

#include "automation/FrontMatter.h"

#include <QFileInfo>

namespace corvane::flowfile {

namespace {

const QString BuildAndTestPrompt = QStringLiteral(R"(# Build-and-Test Coordinator

You are the Coordinator for the "build-and-test" automation flow.
Your job is to drive the issue to a reviewable diff inside the
workspace, then hand off to the human.

## Subagents available

- `planner` — call first to produce an implementation plan.
- `reviewer` — call after implementation is complete to get a
  verdict on the diff.

## Phase loop

1. **Plan** — invoke `planner` with the issue context. Read the
   plan back to yourself; do not execute it until step 2.
2. **Implement** — make the code changes the plan describes.
   Stay in scope; defer anything the plan marked out-of-scope.
3. **Validate** — when the implementation pass is done, emit
   `[CORVANE:READY_FOR_VALIDATION]` on its own line. Quality
   gates run automatically; you'll receive their output as your
   next user turn if anything fails. Loop back to step 2 with
   the failure feedback.
4. **Review** — when gates pass, invoke `reviewer`. Translate
   the reviewer's verdict into:
     - `[CORVANE:REVIEW_VERDICT=approved]`
     - `[CORVANE:REVIEW_VERDICT=needs_changes]` (with feedback)
     - `[CORVANE:REVIEW_VERDICT=rejected]`

## Ground rules

- Do not modify files outside what the issue requires.
- Do not commit, push, or open PRs — the human does that after
  approval.
- If you're blocked on a question only the human can answer,
  stop and explain what you need rather than guessing.)");

const QString QuickFixPrompt = QStringLiteral(R"(# Quick-Fix Coordinator

You are the Coordinator for the "quick-fix" flow. Use this for
small, obvious fixes where planning and review would add more
friction than value.

## Loop

1. Read the issue. If it isn't a small, well-scoped change,
   stop and recommend the human run `build-and-test` instead.
2. Make the change directly.
3. Emit `[CORVANE:READY_FOR_VALIDATION]` on its own line so
   quality gates run.
4. On gate failure, fix and re-emit the marker. On gate pass,
   stop — the human will review the diff.

## Ground rules

- Stay surgical. Don't refactor adjacent code.
- Don't commit or open PRs.)");

QString bracketed(const QStringList &items)
{
    return QLatin1Char('[') + items.join(QStringLiteral(", ")) + QLatin1Char(']');
}

} // namespace

ScannedFlow parse(const QString &content, const QString &filePath)
{
    const FrontMatter header = frontmatter::parse(content);
    ScannedFlow flow;
    flow.filePath = filePath;
    flow.name = header.value(QStringLiteral("name")).value_or(QFileInfo(filePath).completeBaseName());
    flow.description = header.value(QStringLiteral("description")).value_or(QString());
    flow.icon = header.value(QStringLiteral("icon")).value_or(flow.icon);
    flow.colorHex = header.value(QStringLiteral("color")).value_or(flow.colorHex);
    flow.availableAgentNames = frontmatter::list(header.value(QStringLiteral("agents")));
    if (const auto gates = header.value(QStringLiteral("gates")))
        flow.enabledGateNames = frontmatter::list(gates);
    auto flag = [&](const char *key) { return frontmatter::boolean(header.value(QLatin1String(key))).value_or(false); };
    flow.skipImplementationPhase = flag("skip-implementation");
    flow.skipReviewPhase = flag("skip-review");
    flow.requiresExistingDiff = flag("requires-diff");
    flow.permissionModeRaw = header.value(QStringLiteral("permission-mode")).value_or(flow.permissionModeRaw);
    flow.defaultOpenWorkspace = flag("default-open-workspace");
    flow.coordinatorPrompt = header.body;
    return flow;
}

QString write(const ScannedFlow &flow)
{
    QStringList lines{QStringLiteral("---"), QStringLiteral("name: ") + flow.name};
    if (!flow.description.isEmpty())
        lines << QStringLiteral("description: ") + flow.description;
    lines << QStringLiteral("icon: ") + flow.icon << QStringLiteral("color: ") + flow.colorHex;
    if (!flow.availableAgentNames.isEmpty())
        lines << QStringLiteral("agents: ") + bracketed(flow.availableAgentNames);
    if (flow.enabledGateNames)
        lines << QStringLiteral("gates: ") + bracketed(*flow.enabledGateNames);
    if (flow.skipImplementationPhase)
        lines << QStringLiteral("skip-implementation: true");
    if (flow.skipReviewPhase)
        lines << QStringLiteral("skip-review: true");
    if (flow.requiresExistingDiff)
        lines << QStringLiteral("requires-diff: true");
    lines << QStringLiteral("permission-mode: ") + flow.permissionModeRaw;
    if (flow.defaultOpenWorkspace)
        lines << QStringLiteral("default-open-workspace: true");
    lines << QStringLiteral("---") << QString() << flow.coordinatorPrompt;
    return lines.join(QLatin1Char('\n'));
}

QList<ScannedFlow> builtins()
{
    ScannedFlow build;
    build.name = QStringLiteral("build-and-test");
    build.description = QStringLiteral("Plan, implement, validate against quality gates, then review. The canonical end-to-end flow.");
    build.icon = QStringLiteral("hammer.fill");
    build.colorHex = QStringLiteral("#3D8BFF");
    build.availableAgentNames = {QStringLiteral("planner"), QStringLiteral("reviewer")};
    build.permissionModeRaw = QStringLiteral("acceptAll");
    build.defaultOpenWorkspace = true;
    build.coordinatorPrompt = BuildAndTestPrompt;

    ScannedFlow quick;
    quick.name = QStringLiteral("quick-fix");
    quick.description = QStringLiteral("Skip planning and review \u2014 implement directly, then run gates. For small, well-scoped fixes.");
    quick.icon = QStringLiteral("bolt.fill");
    quick.colorHex = QStringLiteral("#FF9F0A");
    quick.skipReviewPhase = true;
    quick.permissionModeRaw = QStringLiteral("acceptAll");
    quick.defaultOpenWorkspace = true;
    quick.coordinatorPrompt = QuickFixPrompt;
    return {build, quick};
}

QString newFlowTemplate(const QString &name)
{
    return QStringList{QStringLiteral("---"), QStringLiteral("name: ") + name,
                       QStringLiteral("description: A short description of what this flow does"),
                       QStringLiteral("icon: bolt.fill"), QStringLiteral("color: #3D8BFF"),
                       QStringLiteral("permission-mode: acceptEdits"), QStringLiteral("---"), QString(),
                       QStringLiteral("# ") + name + QStringLiteral(" Coordinator"), QString(),
                       QStringLiteral("You are the Coordinator for the \"") + name + QStringLiteral("\" automation flow..."),
                       QString()}
        .join(QLatin1Char('\n'));
}

} // namespace corvane::flowfile
