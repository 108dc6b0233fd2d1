#include "accounts/AuthStatus.h"

#include <QDir>
#include <QFile>
#include <QFileDevice>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

namespace corvane::auth {

namespace {

std::optional<QString> stringField(const QJsonObject &object, const char *key)
{
    const QJsonValue value = object.value(QLatin1String(key));
    if (!value.isString())
        return std::nullopt;
    return value.toString();
}

QString defaultCodexHome()
{
    return QDir::homePath() + QStringLiteral("/.codex");
}

} // namespace

std::optional<AuthStatus> parseClaudeAuthStatus(const QByteArray &output)
{
    const QJsonDocument doc = QJsonDocument::fromJson(output.trimmed());
    if (!doc.isObject())
        return std::nullopt;
    const QJsonObject object = doc.object();
    AuthStatus status;
    status.loggedIn = object.value(QLatin1String("loggedIn")).toBool(false);
    status.email = stringField(object, "email");
    status.orgName = stringField(object, "orgName");
    status.subscriptionType = stringField(object, "subscriptionType");
    status.authMethod = stringField(object, "authMethod");
    status.apiKeySource = stringField(object, "apiKeySource");
    return status;
}

CodexAuthStatus parseCodexAuth(const QByteArray &contents)
{
    CodexAuthStatus status;
    const QJsonDocument doc = QJsonDocument::fromJson(contents);
    if (!doc.isObject())
        return status;
    const QJsonObject object = doc.object();
    status.authMode = stringField(object, "auth_mode");
    if (!object.value(QLatin1String("OPENAI_API_KEY")).toString().isEmpty())
        status.loggedIn = true;
    const QJsonValue tokens = object.value(QLatin1String("tokens"));
    if (tokens.isObject()) {
        const QString idToken = tokens.toObject().value(QLatin1String("id_token")).toString();
        if (!idToken.isEmpty()) {
            status.loggedIn = true;
            status.email = emailFromIdToken(idToken);
        }
    }
    return status;
}

CodexAuthStatus readCodexAuth(const std::optional<QString> &codexHomeDir)
{
    const QString dir = codexHomeDir && !codexHomeDir->trimmed().isEmpty() ? *codexHomeDir : defaultCodexHome();
    QFile file(dir + QStringLiteral("/auth.json"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return parseCodexAuth(file.readAll());
}

std::optional<QString> emailFromIdToken(const QString &token)
{
    const QStringList pieces = token.split(QLatin1Char('.'), Qt::SkipEmptyParts);
    if (pieces.size() < 2)
        return std::nullopt;
    QByteArray payload = pieces.at(1).toLatin1();
    payload.replace('-', '+').replace('_', '/');
    while (payload.size() % 4 != 0)
        payload.append('=');
    const auto decoded = QByteArray::fromBase64Encoding(payload, QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
        return std::nullopt;
    const QJsonDocument doc = QJsonDocument::fromJson(*decoded);
    if (!doc.isObject())
        return std::nullopt;
    return stringField(doc.object(), "email");
}

QByteArray apiKeyAuthJson(const QString &key)
{
    QJsonObject object{{QStringLiteral("auth_mode"), QStringLiteral("apikey")},
                       {QStringLiteral("OPENAI_API_KEY"), key.trimmed()},
                       {QStringLiteral("tokens"), QJsonValue::Null}};
    return QJsonDocument(object).toJson(QJsonDocument::Indented);
}

Result<QString> writeApiKeyAuth(const QString &codexHomeDir, const QString &key)
{
    if (key.trimmed().isEmpty())
        return Error(QStringLiteral("The API key is empty."));
    if (!QDir().mkpath(codexHomeDir))
        return Error(QStringLiteral("Could not create the folder %1").arg(codexHomeDir));
    const QString path = codexHomeDir + QStringLiteral("/auth.json");
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return Error(file.errorString());
    // The temporary file gets the owner-only bits before the key goes in, so no other user can
    // read it even for the moment before the rename.
    if (!file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner)) {
        file.cancelWriting();
        return Error(QStringLiteral("Could not restrict the permissions of %1").arg(path));
    }
    file.write(apiKeyAuthJson(key));
    if (!file.commit())
        return Error(file.errorString());
    if (!QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner))
        return Error(QStringLiteral("Could not restrict the permissions of %1").arg(path));
    return path;
}

} // namespace corvane::auth
