#include "source_control/GitHubParsers.h"

#include "source_control/ParserSupport.h"

namespace corvane {

GitResult<GitHubRepository> parseGitHubRepository(const QString &url, const QString &remote)
{
    const QString host = QString::fromUtf16(gitHubHost);
    const QString sshMark = host + u':';
    const QString httpsMark = host + u'/';
    QString rest;
    QString form;
    if (const qsizetype at = url.lastIndexOf(sshMark); url.contains(sshMark)) {
        rest = url.sliced(at + sshMark.size());
        form = QStringLiteral("SSH");
    } else if (const qsizetype at = url.lastIndexOf(httpsMark); url.contains(httpsMark)) {
        rest = url.sliced(at + httpsMark.size());
        form = QStringLiteral("HTTPS");
    } else {
        return GitError::commandFailed(1, QStringLiteral("Remote '%1' is not a GitHub URL: %2").arg(remote, url));
    }
    rest.remove(QStringLiteral(".git"));
    const QStringList pieces = rest.split(u'/', Qt::SkipEmptyParts);
    if (pieces.size() < 2)
        return GitError::commandFailed(1, QStringLiteral("Cannot parse GitHub owner/repo from %1 URL: %2").arg(form, url));
    return GitHubRepository{pieces[0], pieces[1]};
}

QByteArray gitHubCredentialRequest(const QString &username)
{
    QByteArray request = "protocol=https\nhost=" + QString::fromUtf16(gitHubHost).toUtf8() + '\n';
    if (!username.isEmpty())
        request += "username=" + username.toUtf8() + '\n';
    request += '\n';
    return request;
}

std::optional<GitCredentials> parseCredentialFill(const QByteArray &output)
{
    std::optional<QString> username;
    std::optional<QString> token;
    for (QByteArrayView line : gitparse::lines(output)) {
        if (line.startsWith("username="))
            username = gitparse::text(line.sliced(9));
        else if (line.startsWith("password="))
            token = gitparse::text(line.sliced(9));
    }
    if (!username || !token || token->isEmpty())
        return std::nullopt;
    return GitCredentials{*username, *token};
}

QString noGitHubCredentialsMessage()
{
    return QStringLiteral("No GitHub credentials found. Add a GitHub account in Preferences, Source Control, or run 'gh auth login'.");
}

} // namespace corvane
