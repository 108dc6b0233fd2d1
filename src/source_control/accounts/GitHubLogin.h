#pragma once

#include <QObject>
#include <QString>

#include <functional>

class QNetworkAccessManager;

namespace corvane::github {

// GitHub's answer to "who is this token?".
struct LoginCheck
{
    int status = 0;         // the HTTP status; 0 when no answer came
    QString login;          // with status 200 and a JSON object carrying "login"
    QString transportError; // the network's words when no answer came

    bool isValid() const { return status == 200 && !login.isEmpty(); }
};

// GET /user with the token, within `timeoutMs`. The answer arrives on `context`'s thread while
// it lives. The token goes only into the Authorization header.
void fetchLogin(QNetworkAccessManager *network, const QString &apiBase, const QString &token, int timeoutMs,
                QObject *context, std::function<void(LoginCheck)> done);

} // namespace corvane::github
