#include "agent/claude/ClaudeProtocol.h"

#include <QFile>
#include <QJsonDocument>
#include <QStringDecoder>

namespace corvane::claudeprotocol {

namespace {

QJsonObject base64Source(const QString &mediaType, const QByteArray &data)
{
    return {{"type", "base64"}, {"media_type", mediaType}, {"data", QString::fromLatin1(data.toBase64())}};
}

QJsonObject textBlock(const QString &text)
{
    return {{"type", "text"}, {"text", text}};
}

QByteArray controlResponse(const QString &requestId, const QJsonObject &response)
{
    return line({{"type", "control_response"},
                 {"response", QJsonObject{{"subtype", "success"}, {"request_id", requestId}, {"response", response}}}});
}

} // namespace

QByteArray line(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

std::optional<QString> readTextFile(const QUrl &fileURL)
{
    if (!fileURL.isLocalFile())
        return std::nullopt;
    QFile file(fileURL.toLocalFile());
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString contents = utf8.decode(file.readAll());
    if (utf8.hasError())
        return std::nullopt;
    return contents;
}

QJsonArray contentBlocks(const QString &text, const QList<Attachment> &attachments, const TextFileReader &readText)
{
    QJsonArray blocks;
    if (!text.isEmpty())
        blocks.append(textBlock(text));
    for (const Attachment &attachment : attachments) {
        switch (attachment.type) {
        case AttachmentType::image:
            blocks.append(QJsonObject{{"type", "image"}, {"source", base64Source(attachment.mediaType, attachment.data)}});
            break;
        case AttachmentType::pdf:
            blocks.append(QJsonObject{{"type", "document"},
                                      {"source", base64Source(QStringLiteral("application/pdf"), attachment.data)}});
            break;
        case AttachmentType::tempFile:
            if (!attachment.fileURL || !readText)
                break;
            if (const auto contents = readText(*attachment.fileURL))
                blocks.append(textBlock(QStringLiteral("Content from file ") + attachment.fileName + QStringLiteral(":\n") + *contents));
            break;
        }
    }
    if (blocks.isEmpty())
        blocks.append(textBlock(QString()));
    return blocks;
}

QByteArray userTurn(const QJsonArray &blocks, const QString &sessionId)
{
    return line({{"type", "user"},
                 {"session_id", sessionId},
                 {"message", QJsonObject{{"role", "user"}, {"content", blocks}}},
                 {"parent_tool_use_id", QJsonValue::Null}});
}

QByteArray allow(const QString &requestId, const QVariantMap &updatedInput)
{
    return controlResponse(requestId, {{"behavior", "allow"}, {"updatedInput", QJsonObject::fromVariantMap(updatedInput)}});
}

QByteArray deny(const QString &requestId, const std::optional<QString> &message)
{
    return controlResponse(requestId, {{"behavior", "deny"}, {"message", message.value_or(QStringLiteral("User denied"))}});
}

QByteArray answerQuestion(const QString &requestId, const std::optional<QString> &answer)
{
    return deny(requestId, answer.value_or(QStringLiteral("User dismissed the question")));
}

QByteArray interruptRequest(const QString &requestId)
{
    return line({{"type", "control_request"}, {"request_id", requestId}, {"request", QJsonObject{{"subtype", "interrupt"}}}});
}

QByteArray setPermissionModeRequest(const QString &requestId, const QString &mode)
{
    return line({{"type", "control_request"},
                 {"request_id", requestId},
                 {"request", QJsonObject{{"subtype", "set_permission_mode"}, {"mode", mode}}}});
}

} // namespace corvane::claudeprotocol
