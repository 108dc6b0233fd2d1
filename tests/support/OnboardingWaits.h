#pragma once

// Waiting for the checklist's asynchronous answers in a test.
#include "accounts/onboarding/OnboardingValidator.h"

#include <QtTest>

namespace corvane::test {

inline std::optional<OnboardingCheck> checkNow(OnboardingValidator &validator, const OnboardingChecklistItem &item,
                                               int timeoutMs = 60000)
{
    std::optional<OnboardingCheck> answer;
    validator.check(item, &validator, [&answer](OnboardingCheck found) { answer = found; });
    if (!QTest::qWaitFor([&] { return answer.has_value(); }, timeoutMs))
        qWarning("the check of %s did not answer", qPrintable(item.id));
    return answer;
}

struct ShellRun
{
    bool finished = false;
    bool succeeded = false;
    QString output;
};

inline ShellRun runNow(OnboardingValidator &validator, const QString &command, int timeoutMs = 30000)
{
    auto run = std::make_shared<ShellRun>();
    validator.runShell(command, [run](const QString &text) { run->output += text; },
                       [run](bool ok) {
                           run->finished = true;
                           run->succeeded = ok;
                       });
    if (!QTest::qWaitFor([&] { return run->finished; }, timeoutMs))
        qWarning("the shell did not end: %s", qPrintable(command));
    return *run;
}

inline ShellRun performNow(OnboardingValidator &validator, const OnboardingChecklistItem &item, int timeoutMs = 30000)
{
    auto run = std::make_shared<ShellRun>();
    validator.perform(item, [run](const QString &text) { run->output += text; },
                      [run](bool ok) {
                          run->finished = true;
                          run->succeeded = ok;
                      });
    if (!QTest::qWaitFor([&] { return run->finished; }, timeoutMs))
        qWarning("the action of %s did not end", qPrintable(item.id));
    return *run;
}

} // namespace corvane::test
