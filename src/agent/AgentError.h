#pragma once

#include <QString>

namespace corvane {

// A failure of an agent client: its domain ("ClaudeSDK", "CodexSDK"), a code that tells the
// failures of one domain apart, and the text the user reads.
struct AgentError
{
    QString domain;
    int code = 0;
    QString message;

    bool operator==(const AgentError &) const = default;
};

} // namespace corvane
