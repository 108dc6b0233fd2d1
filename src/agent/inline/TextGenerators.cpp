#include "agent/inline/TextGenerators.h"

#include "agent/inline/InlineAgentRunner.h"

#include "core/Log.h"

#include <QRegularExpression>
#include <QTimer>

namespace corvane::generators {

namespace {

// A title of 73 characters or more is cut to 69 and marked.
QString capped(const QString &title)
{
    return title.size() >= 73 ? title.left(69) + QStringLiteral("...") : title;
}

QString trimmedOf(QString text, const QString &characters)
{
    qsizetype start = 0, end = text.size();
    while (start < end && characters.contains(text[start]))
        ++start;
    while (end > start && characters.contains(text[end - 1]))
        --end;
    return text.mid(start, end - start);
}

} // namespace

QString commitTitlePrompt(const QString &diff)
{
    return QStringLiteral(
               "Based on the following git diff, generate a single concise commit message title (max 72 characters). "
               "Return ONLY the title, nothing else. No quotes.\n\n"
               "Use conventional commit prefixes: feat, fix, refactor, chore, docs, style, test, perf, ci, build.\n"
               "When the change is scoped to a specific area, add optional scoping in parentheses, e.g. "
               "\"feat(auth): add login validation\" or \"fix(sidebar): correct layout overflow\".\n\nDiff:\n")
        + diff.left(8000);
}

QStringList commitTitleTools()
{
    return {QStringLiteral("Read"), QStringLiteral("Glob"), QStringLiteral("Grep"), QStringLiteral("Bash")};
}

QString cleanCommitTitle(const QString &answer)
{
    // Blanks around the quotes too: models answer "  'title'  " as often as "'title'".
    const QString first = answer.section(QLatin1Char('\n'), 0, 0);
    return capped(trimmedOf(first.trimmed(), QStringLiteral("\"'")).trimmed());
}

QString defaultPullRequestBody()
{
    return QStringLiteral("## Summary\n\n- Updates based on recent changes\n\n## Test Plan\n\n- [ ] Verify changes work as expected");
}

QString pullRequestPrompt(const PullRequestFacts &facts, bool strict)
{
    const QString format = strict
        ? QStringLiteral("CRITICAL FORMAT REQUIREMENT \u2014 your response must be exactly two sections, nothing else:\n"
                         "Line 1: `TITLE: <title>`\n"
                         "Line 2 onward: `BODY:` followed by the markdown body on subsequent lines.\n"
                         "Do NOT include any preamble, code fences, explanation, or commentary outside those sections.")
        : QStringLiteral("Return your response in EXACTLY this format (no extra text before TITLE or after the body):\n"
                         "TITLE: <a concise PR title, max 72 characters, conventional commit style: feat/fix/refactor/chore/docs>\n"
                         "BODY:\n<full markdown body>");
    const QString structure = QStringLiteral(
        "\n\nThe body MUST follow this structure:\n"
        "1. **## Summary** \u2014 2-4 bullet points explaining WHAT changed and WHY. Focus on the intent and user-facing "
        "impact, not implementation details.\n"
        "2. **## Changes** \u2014 Group changes by area/component. Use sub-bullets for specifics. Mention new files, "
        "deleted files, renamed items, and architectural changes.\n"
        "3. **## Test Plan** \u2014 A checklist of how to verify the changes work. Use `- [ ]` checkboxes. Be specific "
        "about what to test.\n\n"
        "Guidelines:\n"
        "- Write for a reviewer who hasn't seen the code yet\n"
        "- Explain the motivation, not just what files changed\n"
        "- If there are breaking changes, call them out prominently\n"
        "- Keep it thorough but scannable \u2014 use headers, bullets, and bold for key terms\n"
        "- Do NOT wrap the body in a code block\n\n"
        "Commits:\n");
    return QStringLiteral("Please generate a pull request title and description for all the changes made on our current "
                          "branch.\n\nBranch: ")
        + facts.branch + QStringLiteral(" \u2192 ") + facts.base + QStringLiteral("\n\n") + format + structure
        + facts.commitLog.left(3000) + QStringLiteral("\n\nDiff stats:\n") + facts.diffStat.left(2000)
        + QStringLiteral("\n\nDiff:\n") + facts.diff.left(12000);
}

std::optional<PullRequestText> parsePullRequestStrict(const QString &answer)
{
    std::optional<QString> title;
    QStringList body;
    bool inBody = false;
    for (const QString &line : answer.split(QLatin1Char('\n'))) {
        if (line.startsWith(QLatin1String("TITLE:"))) {
            title = trimmedOf(trimmedOf(QString(line).remove(QStringLiteral("TITLE:")), QStringLiteral(" \t")), QStringLiteral("\"'"));
        } else if (line.startsWith(QLatin1String("BODY:"))) {
            inBody = true;
        } else if (inBody) {
            body << line;
        }
    }
    if (!title || title->isEmpty())
        return std::nullopt;
    const QString text = body.join(QLatin1Char('\n')).trimmed();
    return PullRequestText{capped(*title), text.isEmpty() ? defaultPullRequestBody() : text};
}

PullRequestText parsePullRequestLenient(const QString &answer)
{
    QStringList lines = answer.split(QLatin1Char('\n'));
    // "# **Title**": the marks and the blanks between them all go.
    QString title = lines.isEmpty() ? QString() : trimmedOf(lines.takeFirst(), QStringLiteral("\"'#* \t\r"));
    title = capped(title);
    const QString body = lines.join(QLatin1Char('\n')).trimmed();
    return {title.isEmpty() ? QStringLiteral("Pull Request") : title, body.isEmpty() ? defaultPullRequestBody() : body};
}

QString simpleChatTitle(const QString &message)
{
    const QStringList words = message.trimmed().split(QRegularExpression(QStringLiteral("[ \t]+")), Qt::SkipEmptyParts);
    QString title = words.mid(0, 4).join(QLatin1Char(' '));
    if (words.size() >= 5)
        title += QStringLiteral("...");
    if (title.size() >= 51)
        title = title.left(47) + QStringLiteral("...");
    return title.isEmpty() ? QStringLiteral("New Chat") : title;
}

void generateCommitTitle(InlineAgentRunner &runner, const QString &diff, const QString &workingDirectory,
                         const Profile *profile, std::function<void(Result<QString>)> done)
{
    if (diff.trimmed().isEmpty())
        return done(Error(QStringLiteral("No changes to generate title from"), 1));
    const InlineRequest request{commitTitlePrompt(diff), workingDirectory, profile, commitTitleTools(), 60};
    runner.run(request, [done](InlineAgentRunner::Outcome outcome) {
        if (const auto *error = std::get_if<RunnerError>(&outcome))
            return done(Error(error->description()));
        done(cleanCommitTitle(std::get<QString>(outcome)));
    });
}

void generatePullRequestText(InlineAgentRunner &runner, const PullRequestFacts &facts, const QString &workingDirectory,
                             const Profile *profile, std::function<void(Result<PullRequestText>)> done)
{
    if (facts.commitLog.trimmed().isEmpty())
        return done(Error(QStringLiteral("No commits found between current branch and %1.").arg(facts.base), 2));
    const InlineRequest first{pullRequestPrompt(facts, false), workingDirectory, profile, {}, 90};
    InlineAgentRunner *running = &runner;
    runner.run(first, [=](InlineAgentRunner::Outcome outcome) {
        if (const auto *error = std::get_if<RunnerError>(&outcome))
            return done(Error(error->description()));
        const QString firstAnswer = std::get<QString>(outcome);
        if (const auto parsed = parsePullRequestStrict(firstAnswer))
            return done(*parsed);
        logLine("PRDescGen", QStringLiteral("First response didn't honor TITLE:/BODY: format \u2014 retrying with stricter prompt."));
        const InlineRequest second{pullRequestPrompt(facts, true), workingDirectory, profile, {}, 90};
        // From inside the first run's outcome: the runner is free again once this returns.
        QTimer::singleShot(0, running, [=] {
            running->run(second, [=](InlineAgentRunner::Outcome retry) {
                if (const auto *answer = std::get_if<QString>(&retry)) {
                    if (const auto parsed = parsePullRequestStrict(*answer))
                        return done(*parsed);
                    return done(parsePullRequestLenient(*answer));
                }
                done(parsePullRequestLenient(firstAnswer));
            });
        });
    });
}

} // namespace corvane::generators
