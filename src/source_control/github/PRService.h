#pragma once

#include "core/Result.h"
#include "source_control/github/PullRequests.h"

#include <QObject>

#include <functional>
#include <optional>

class QNetworkAccessManager;

namespace corvane {

// The client of GitHub's REST interface for one repository folder. Every call first asks git's
// credential helpers for a GitHub token (for `preferredUsername` when given) and reads the owner
// and repository of "origin"; then one HTTPS request, 60 seconds at most. Results and errors
// (a PRError's or git's text) arrive on the service's thread.
class PRService : public QObject
{
    Q_OBJECT

public:
    // `apiBase` is the interface's address ("https://api.github.com", or an Enterprise one).
    PRService(const QString &workingDirectory, const QString &apiBase, QObject *parent = nullptr);

    struct Created
    {
        QString url;
        qint64 number = 0;
    };
    // Without a base, the repository's default branch; "origin/" is taken out of either.
    void createPullRequest(const QString &title, const QString &body, const std::optional<QString> &base, bool draft,
                           const QString &preferredUsername, std::function<void(Result<Created>)> done);
    void listOpenPullRequests(const QString &preferredUsername, std::function<void(Result<QList<PRSummary>>)> done);
    void fetchPullRequest(qint64 number, const QString &preferredUsername, std::function<void(Result<PRSummary>)> done);
    // Any state (closed and merged too); none when the branch has no pull request.
    void findPullRequest(const QString &branch, const QString &preferredUsername,
                         std::function<void(Result<std::optional<PRSummary>>)> done);

    // 60 seconds unless changed (tests wait less).
    void setTimeout(int ms) { m_timeoutMs = ms; }

private:
    struct Target
    {
        QString token;
        QString owner;
        QString repo;
    };
    // The token, then owner and repository: `next` runs with them, or `fail` with git's words.
    void resolve(const QString &preferredUsername, std::function<void(Target)> next, std::function<void(Error)> fail);
    // One request; `reply(status, body)` for any HTTP answer, `fail` for the rest.
    void send(const Target &target, const QByteArray &method, const QString &path, const QByteArray &json,
              std::function<void(int, QByteArray)> reply, std::function<void(Error)> fail);

    QString m_directory;
    QString m_apiBase;
    QNetworkAccessManager *m_network;
    int m_timeoutMs = 60000;
};

} // namespace corvane
