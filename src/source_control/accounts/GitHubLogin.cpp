#include "source_control/accounts/GitHubLogin.h"

#include "source_control/github/GitHubRequest.h"

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
    QNetworkReply *reply = network->get(apiRequest(url, token, timeoutMs));
    QObject::connect(reply, &QNetworkReply::finished, context, [reply, done, timeoutMs] {
        reply->deleteLater();
        LoginCheck check;
        const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
        if (!status.isValid()) {
            check.transportError = transportError(*reply, timeoutMs);
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
