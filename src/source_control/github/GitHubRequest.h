#pragma once

#include <QNetworkRequest>
#include <QString>

class QNetworkReply;

namespace corvane::github {

// A request to GitHub's REST interface: the token as bearer, the media type and API version
// GitHub asks for, and an end after `timeoutMs`.
QNetworkRequest apiRequest(const QUrl &url, const QString &token, int timeoutMs);

// Why a reply brought no HTTP answer at all: the time-out in our words, else the network's own
// (refused, TLS, no route).
QString transportError(const QNetworkReply &reply, int timeoutMs);

} // namespace corvane::github
