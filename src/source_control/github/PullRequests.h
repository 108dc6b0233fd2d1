#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>

#include <optional>

namespace corvane {

struct Workspace;

// A pull request as GitHub describes it.
struct PRSummary
{
    qint64 number = 0;
    QString title;
    QString htmlURL;
    QString headBranch;
    QString baseBranch;
    QString state; // as GitHub gives it: "open" or "closed"
    bool isDraft = false;
    bool isMerged = false;
    std::optional<QString> authorLogin;
    std::optional<QDateTime> updatedAt;

    bool operator==(const PRSummary &) const = default;
};

// Why a GitHub call failed, with the text the user reads.
struct PRError
{
    enum class Kind { repoNotFound, validationFailed, httpError, authenticationFailed, forbidden, unexpectedResponse };
    Kind kind = Kind::unexpectedResponse;
    QString owner, repo;  // repoNotFound
    QString message;      // validationFailed
    int statusCode = 0;   // httpError
    QString body;         // httpError

    QString description() const;
};

namespace github {

// None when a required field (number, title, html_url, state, head.ref, base.ref) is missing or
// of another JSON type.
std::optional<PRSummary> parseSummary(const QJsonObject &object);
// The entries of a JSON array that read as pull requests, in the server's order.
QList<PRSummary> parseSummaries(const QByteArray &body);
// A failed status as the user reads it (401, 403, 404, 422 with GitHub's own words, or the rest).
PRError failure(int status, const QByteArray &body, const QString &owner, const QString &repo);
// "merged", "closed", "draft" or "open", first match wins.
QString stateOf(const PRSummary &summary);
// A base branch as GitHub wants it: every "origin/" taken out.
QString bareBase(const QString &base);

// The workspace's link to a pull request: all nine fields written, or all cleared.
void connect(Workspace &workspace, const PRSummary &summary);
void disconnect(Workspace &workspace);
// What GitHub says now, written into a linked workspace: its address, number and link time stay.
void refresh(Workspace &workspace, const PRSummary &summary);
// "Open", "Draft", "Closed", "Merged", or "Linked" for anything else.
QString badgeText(const Workspace &workspace);

} // namespace github
} // namespace corvane
