#pragma once

#include "core/Result.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace corvane {

// What `claude auth status --json` says about one configuration folder. authMethod and
// apiKeySource are the tool's own words ("claude.ai", "api_key_helper"; "ANTHROPIC_API_KEY",
// "apiKeyHelper"): they tell an account sign-in from a key that came in through the environment.
struct AuthStatus
{
    bool loggedIn = false;
    std::optional<QString> email;
    std::optional<QString> orgName;
    std::optional<QString> subscriptionType;
    std::optional<QString> authMethod;
    std::optional<QString> apiKeySource;
};

// What a codex home's auth.json says.
struct CodexAuthStatus
{
    bool loggedIn = false;
    std::optional<QString> email;
    std::optional<QString> authMode;
};

namespace auth {

// The output of `claude auth status --json` (which exits 1 when signed out but still prints the
// object). Absent when it is no JSON object.
std::optional<AuthStatus> parseClaudeAuthStatus(const QByteArray &output);

// The contents of an auth.json; a file that is no JSON object reads as signed out.
CodexAuthStatus parseCodexAuth(const QByteArray &contents);
// <dir>/auth.json, with dir ~/.codex when absent or blank. Missing or unreadable: signed out.
CodexAuthStatus readCodexAuth(const std::optional<QString> &codexHomeDir);

// The "email" claim of a JSON Web Token's payload, unverified: the token only names the account.
std::optional<QString> emailFromIdToken(const QString &token);

// The auth.json of a raw API key: "auth_mode" "apikey", the trimmed key, "tokens" null.
QByteArray apiKeyAuthJson(const QString &key);
// Creates the folder, writes auth.json atomically and leaves it readable by its owner alone
// (0600 from the first byte on disk). An empty or blank key is refused.
Result<QString> writeApiKeyAuth(const QString &codexHomeDir, const QString &key);

} // namespace auth
} // namespace corvane
