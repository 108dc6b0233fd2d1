#include "source_control/github/PullRequests.h"

#include "core/records/Workspace.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace corvane {

QString PRError::description() const
{
    switch (kind) {
    case Kind::repoNotFound:
        return QStringLiteral("Repository %1/%2 not found or not accessible.").arg(owner, repo);
    case Kind::validationFailed:
        return QStringLiteral("GitHub: ") + message;
    case Kind::httpError:
        return QStringLiteral("GitHub API error (%1): %2").arg(statusCode).arg(body.left(200));
    case Kind::authenticationFailed:
        return QStringLiteral("GitHub authentication failed. Sign in with a token in Preferences, Source Control, or run 'gh auth login'.");
    case Kind::forbidden:
        return QStringLiteral("Access denied. Your GitHub token may lack the 'repo' scope.");
    case Kind::unexpectedResponse:
        return QStringLiteral("Unexpected response from GitHub API.");
    }
    return {};
}

namespace github {

std::optional<PRSummary> parseSummary(const QJsonObject &object)
{
    const QJsonValue number = object.value(QLatin1String("number"));
    const QJsonValue title = object.value(QLatin1String("title"));
    const QJsonValue url = object.value(QLatin1String("html_url"));
    const QJsonValue state = object.value(QLatin1String("state"));
    const QJsonValue head = object.value(QLatin1String("head")).toObject().value(QLatin1String("ref"));
    const QJsonValue base = object.value(QLatin1String("base")).toObject().value(QLatin1String("ref"));
    if (!number.isDouble() || !title.isString() || !url.isString() || !state.isString() || !head.isString() || !base.isString())
        return std::nullopt;
    PRSummary summary;
    summary.number = qint64(number.toDouble());
    summary.title = title.toString();
    summary.htmlURL = url.toString();
    summary.state = state.toString();
    summary.headBranch = head.toString();
    summary.baseBranch = base.toString();
    summary.isDraft = object.value(QLatin1String("draft")).toBool(false);
    summary.isMerged = object.value(QLatin1String("merged")).toBool(false) || object.value(QLatin1String("merged_at")).isString();
    if (const QJsonValue login = object.value(QLatin1String("user")).toObject().value(QLatin1String("login")); login.isString())
        summary.authorLogin = login.toString();
    if (const QDateTime updated = QDateTime::fromString(object.value(QLatin1String("updated_at")).toString(), Qt::ISODate); updated.isValid())
        summary.updatedAt = updated;
    return summary;
}

QList<PRSummary> parseSummaries(const QByteArray &body)
{
    QList<PRSummary> summaries;
    for (const QJsonValue &entry : QJsonDocument::fromJson(body).array())
        if (auto summary = parseSummary(entry.toObject()))
            summaries.append(*summary);
    return summaries;
}

PRError failure(int status, const QByteArray &body, const QString &owner, const QString &repo)
{
    PRError error;
    switch (status) {
    case 401:
        error.kind = PRError::Kind::authenticationFailed;
        return error;
    case 403:
        error.kind = PRError::Kind::forbidden;
        return error;
    case 404:
        error.kind = PRError::Kind::repoNotFound;
        error.owner = owner;
        error.repo = repo;
        return error;
    case 422: {
        error.kind = PRError::Kind::validationFailed;
        const QJsonObject object = QJsonDocument::fromJson(body).object();
        const QJsonValue first = object.value(QLatin1String("errors")).toArray().first().toObject().value(QLatin1String("message"));
        const QJsonValue top = object.value(QLatin1String("message"));
        error.message = first.isString() ? first.toString() : top.isString() ? top.toString() : QStringLiteral("Validation failed");
        return error;
    }
    default:
        error.kind = PRError::Kind::httpError;
        error.statusCode = status;
        error.body = QString::fromUtf8(body);
        return error;
    }
}

QString stateOf(const PRSummary &summary)
{
    if (summary.isMerged)
        return QStringLiteral("merged");
    if (summary.state == QLatin1String("closed"))
        return QStringLiteral("closed");
    if (summary.isDraft)
        return QStringLiteral("draft");
    return QStringLiteral("open");
}

QString bareBase(const QString &base)
{
    return QString(base).remove(QStringLiteral("origin/"));
}

void connect(Workspace &workspace, const PRSummary &summary)
{
    workspace.prURL = summary.htmlURL;
    workspace.prNumber = summary.number;
    workspace.prTitle = summary.title;
    workspace.prStateRaw = stateOf(summary);
    workspace.prHeadBranch = summary.headBranch;
    workspace.prBaseBranch = summary.baseBranch;
    workspace.prAuthorLogin = summary.authorLogin;
    workspace.prUpdatedAt = summary.updatedAt;
    workspace.prLinkedAt = QDateTime::currentDateTime();
}

void refresh(Workspace &workspace, const PRSummary &summary)
{
    workspace.prTitle = summary.title;
    workspace.prStateRaw = stateOf(summary);
    workspace.prHeadBranch = summary.headBranch;
    workspace.prBaseBranch = summary.baseBranch;
    workspace.prAuthorLogin = summary.authorLogin;
    workspace.prUpdatedAt = summary.updatedAt;
}

void disconnect(Workspace &workspace)
{
    workspace.prURL.reset();
    workspace.prNumber.reset();
    workspace.prTitle.reset();
    workspace.prStateRaw.reset();
    workspace.prHeadBranch.reset();
    workspace.prBaseBranch.reset();
    workspace.prAuthorLogin.reset();
    workspace.prUpdatedAt.reset();
    workspace.prLinkedAt.reset();
}

QString badgeText(const Workspace &workspace)
{
    const QString state = workspace.prStateRaw.value_or(QString());
    if (state == QLatin1String("open") || state == QLatin1String("draft") || state == QLatin1String("closed")
        || state == QLatin1String("merged"))
        return state.left(1).toUpper() + state.mid(1);
    return QStringLiteral("Linked");
}

} // namespace github
} // namespace corvane
