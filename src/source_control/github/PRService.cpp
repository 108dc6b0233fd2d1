#include "source_control/github/PRService.h"

#include "source_control/GitService.h"
#include "source_control/github/GitHubRequest.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrl>

namespace corvane {

namespace {

Error errorOf(const PRError &error)
{
    return Error(error.description());
}

PRError unexpected()
{
    return PRError{};
}

} // namespace

PRService::PRService(const QString &workingDirectory, const QString &apiBase, QObject *parent)
    : QObject(parent), m_directory(workingDirectory), m_apiBase(apiBase), m_network(new QNetworkAccessManager(this))
{
}

void PRService::resolve(const QString &preferredUsername, std::function<void(Target)> next, std::function<void(Error)> fail)
{
    const GitService git(m_directory);
    git.gitHubCredentials(preferredUsername).then(this, [this, git, next, fail](const GitResult<GitCredentials> &credentials) {
        if (!credentials.ok())
            return fail(Error(credentials.error().description()));
        git.gitHubRepository(QStringLiteral("origin")).then(this, [next, fail, token = credentials.value().token](const GitResult<GitHubRepository> &repository) {
            if (!repository.ok())
                return fail(Error(repository.error().description()));
            next(Target{token, repository.value().owner, repository.value().repo});
        });
    });
}

void PRService::send(const Target &target, const QByteArray &method, const QString &path, const QByteArray &json,
                     std::function<void(int, QByteArray)> reply, std::function<void(Error)> fail)
{
    const QUrl url(m_apiBase + path);
    if (!url.isValid() || url.scheme().isEmpty())
        return fail(errorOf(unexpected()));
    QNetworkRequest request = github::apiRequest(url, target.token, m_timeoutMs);
    if (!json.isEmpty())
        request.setRawHeader("Content-Type", "application/json");
    QNetworkReply *answer = m_network->sendCustomRequest(request, method, json);
    connect(answer, &QNetworkReply::finished, this, [answer, reply, fail, timeoutMs = m_timeoutMs] {
        answer->deleteLater();
        const QVariant status = answer->attribute(QNetworkRequest::HttpStatusCodeAttribute);
        if (status.isValid())
            return reply(status.toInt(), answer->readAll());
        fail(Error(github::transportError(*answer, timeoutMs)));
    });
}

void PRService::createPullRequest(const QString &title, const QString &body, const std::optional<QString> &base, bool draft,
                                  const QString &preferredUsername, std::function<void(Result<Created>)> done)
{
    auto fail = [done](Error error) { done(std::move(error)); };
    resolve(preferredUsername, [=, this](Target target) {
        const GitService git(m_directory);
        git.currentBranch().then(this, [=, this](const GitResult<QString> &head) {
            if (!head.ok())
                return fail(Error(head.error().description()));
            auto post = [=, this](const QString &baseBranch) {
                const QJsonObject payload{{"title", title}, {"head", head.value().trimmed()}, {"body", body},
                                          {"base", github::bareBase(baseBranch)}, {"draft", draft}};
                send(target, "POST", QStringLiteral("/repos/%1/%2/pulls").arg(target.owner, target.repo),
                     QJsonDocument(payload).toJson(QJsonDocument::Compact),
                     [=](int status, const QByteArray &answer) {
                         if (status != 201)
                             return fail(errorOf(github::failure(status, answer, target.owner, target.repo)));
                         const QJsonObject made = QJsonDocument::fromJson(answer).object();
                         const QJsonValue number = made.value(QLatin1String("number"));
                         const QJsonValue url = made.value(QLatin1String("html_url"));
                         if (!number.isDouble() || !url.isString())
                             return fail(errorOf(unexpected()));
                         done(Created{url.toString(), qint64(number.toDouble())});
                     },
                     fail);
            };
            if (base)
                return post(*base);
            git.defaultBranch().then(this, [=](const GitResult<QString> &defaultBranch) {
                if (!defaultBranch.ok())
                    return fail(Error(defaultBranch.error().description()));
                post(defaultBranch.value());
            });
        });
    }, fail);
}

void PRService::listOpenPullRequests(const QString &preferredUsername, std::function<void(Result<QList<PRSummary>>)> done)
{
    auto fail = [done](Error error) { done(std::move(error)); };
    resolve(preferredUsername, [=, this](Target target) {
        send(target, "GET", QStringLiteral("/repos/%1/%2/pulls?state=open&per_page=100&sort=updated&direction=desc").arg(target.owner, target.repo),
             {},
             [=](int status, const QByteArray &answer) {
                 if (status != 200)
                     return fail(errorOf(github::failure(status, answer, target.owner, target.repo)));
                 if (!QJsonDocument::fromJson(answer).isArray())
                     return fail(errorOf(unexpected()));
                 done(github::parseSummaries(answer));
             },
             fail);
    }, fail);
}

void PRService::fetchPullRequest(qint64 number, const QString &preferredUsername, std::function<void(Result<PRSummary>)> done)
{
    auto fail = [done](Error error) { done(std::move(error)); };
    resolve(preferredUsername, [=, this](Target target) {
        send(target, "GET", QStringLiteral("/repos/%1/%2/pulls/%3").arg(target.owner, target.repo).arg(number), {},
             [=](int status, const QByteArray &answer) {
                 if (status != 200)
                     return fail(errorOf(github::failure(status, answer, target.owner, target.repo)));
                 const auto summary = github::parseSummary(QJsonDocument::fromJson(answer).object());
                 if (!summary)
                     return fail(errorOf(unexpected()));
                 done(*summary);
             },
             fail);
    }, fail);
}

void PRService::findPullRequest(const QString &branch, const QString &preferredUsername,
                                std::function<void(Result<std::optional<PRSummary>>)> done)
{
    auto fail = [done](Error error) { done(std::move(error)); };
    resolve(preferredUsername, [=, this](Target target) {
        const QString head = QString::fromLatin1(QUrl::toPercentEncoding(target.owner + QLatin1Char(':') + branch));
        send(target, "GET", QStringLiteral("/repos/%1/%2/pulls?state=all&head=%3&per_page=1").arg(target.owner, target.repo, head), {},
             [=](int status, const QByteArray &answer) {
                 if (status != 200)
                     return fail(errorOf(github::failure(status, answer, target.owner, target.repo)));
                 const QList<PRSummary> found = github::parseSummaries(answer);
                 done(found.isEmpty() ? std::nullopt : std::optional(found.first()));
             },
             fail);
    }, fail);
}

} // namespace corvane
