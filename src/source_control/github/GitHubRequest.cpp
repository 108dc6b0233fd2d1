#include "source_control/github/GitHubRequest.h"

#include <QNetworkReply>

namespace corvane::github {

QNetworkRequest apiRequest(const QUrl &url, const QString &token, int timeoutMs)
{
    QNetworkRequest request(url);
    request.setRawHeader("Authorization", "Bearer " + token.toUtf8());
    request.setRawHeader("Accept", "application/vnd.github+json");
    request.setRawHeader("X-GitHub-Api-Version", "2022-11-28");
    request.setTransferTimeout(timeoutMs);
    return request;
}

QString transportError(const QNetworkReply &reply, int timeoutMs)
{
    return reply.error() == QNetworkReply::OperationCanceledError
        ? QStringLiteral("GitHub did not answer within %1 seconds.").arg(timeoutMs / 1000)
        : reply.errorString();
}

} // namespace corvane::github
