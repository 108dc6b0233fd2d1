#pragma once

#include "source_control/GitResult.h"
#include "source_control/GitTypes.h"

#include <QByteArray>
#include <QString>

namespace corvane {

inline constexpr char16_t gitHubHost[] = u"github.com";

// The owner and repository of a GitHub remote URL, SSH ("git@github.com:owner/repo.git") or
// HTTPS ("https://github.com/owner/repo"). `remote` only names the remote in the error.
GitResult<GitHubRepository> parseGitHubRepository(const QString &url, const QString &remote);

// What "git credential fill" asks the helpers: the HTTPS protocol and GitHub's host, the username
// when one is given, and the empty line that ends the request.
QByteArray gitHubCredentialRequest(const QString &username);

// The helpers' answer: "username=" and "password=" lines. Missing either, or an empty password,
// gives nothing.
std::optional<GitCredentials> parseCredentialFill(const QByteArray &output);

// The words of the failure when nothing usable came back.
QString noGitHubCredentialsMessage();

} // namespace corvane
