#include "agent/claude/ClaudeProtocol.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringDecoder>

namespace corvane::claudeprotocol {

namespace {

QByteArray line(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

QJsonObject base64Source(const QString &mediaType, const QByteArray &data)
{
    return {{"type", "base64"}, {"media_type", mediaType}, {"data", QString::fromLatin1(data.toBase64())}};
}

} // namespace

QJsonArray contentBlocks(const QString &text, const QList<Attachment> &attachments)
{
    QJsonArray blocks;
    if (!text.isEmpty())
        blocks.append(QJsonObject{{"type", "text"}, {"text", text}});
    for (const Attachment &a : attachments) {
        switch (a.type) {
        case AttachmentType::image:
            blocks.append(QJsonObject{{"type", "image"}, {"source", base64Source(a.mediaType, a.data)}});
            break;
        case AttachmentType::pdf:
            blocks.append(QJsonObject{{"type", "document"}, {"source", base64Source("application/pdf", a.data)}});
            break;
        case AttachmentType::tempFile: {
            if (!a.filePath)
                break;
            QFile file(*a.filePath);
            if (!file.open(QIODevice::ReadOnly))
                break;
            QStringDecoder utf8(QStringDecoder::Utf8);
            const QString contents = utf8.decode(file.readAll());
            if (utf8.hasError())
                break;
            blocks.append(QJsonObject{{"type", "text"}, {"text", "Content from file " + a.fileName + ":\n" + contents}});
            break;
        }
        }
    }
    if (blocks.isEmpty())
        blocks.append(QJsonObject{{"type", "text"}, {"text", ""}});
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
    return line({{"type", "control_response"},
                 {"response", QJsonObject{{"subtype", "success"},
                                          {"request_id", requestId},
                                          {"response", QJsonObject{{"behavior", "allow"},
                                                                   {"updatedInput", QJsonObject::fromVariantMap(updatedInput)}}}}}});
}

QByteArray deny(const QString &requestId, const std::optional<QString> &message)
{
    return line({{"type", "control_response"},
                 {"response", QJsonObject{{"subtype", "success"},
                                          {"request_id", requestId},
                                          {"response", QJsonObject{{"behavior", "deny"},
                                                                   {"message", message.value_or("User denied")}}}}}});
}

QByteArray interruptRequest(const QString &requestId)
{
    return line({{"type", "control_request"}, {"request_id", requestId}, {"request", QJsonObject{{"subtype", "interrupt"}}}});
}

} // namespace corvane::claudeprotocol
