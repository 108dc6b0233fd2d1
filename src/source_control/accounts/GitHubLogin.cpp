#include "source_control/accounts/GitHubLogin.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

namespace corvane::github {

void fetchLogin(QNetworkAccessManager *network, const QString &apiBase, const QString &token, int timeoutMs,
                QObject *context, std::function<void(LoginCheck)> done)
{
    const QUrl url(apiBase + QStringLiteral("/user"));
    if (!url.isValid() || url.scheme().isEmpty()) {
        LoginCheck check;
        check.transportError = QStringLiteral("The GitHub API address \"%1\" is not a valid URL.").arg(apiBase);
        return done(check);
    }
    QNetworkRequest request(url);
    request.setRawHeader("Authorization", "Bearer " + token.toUtf8());
    request.setRawHeader("Accept", "application/vnd.github+json");
    request.setRawHeader("X-GitHub-Api-Version", "2022-11-28");
    request.setTransferTimeout(timeoutMs);
    QNetworkReply *reply = network->get(request);
    QObject::connect(reply, &QNetworkReply::finished, context, [reply, done, timeoutMs] {
        reply->deleteLater();
        LoginCheck check;
        const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
        if (!status.isValid()) {
            check.transportError = reply->error() == QNetworkReply::OperationCanceledError
                ? QStringLiteral("GitHub did not answer within %1 seconds.").arg(timeoutMs / 1000)
                : reply->errorString();
            return done(check);
        }
        check.status = status.toInt();
        const QJsonValue login = QJsonDocument::fromJson(reply->readAll()).object().value(QLatin1String("login"));
        if (check.status == 200 && login.isString())
            check.login = login.toString();
        done(check);
    });
    // A context that goes first takes the reply with it; the request is then abandoned.
    QObject::connect(context, &QObject::destroyed, reply, &QNetworkReply::abort);
}

} // namespace corvane::github
