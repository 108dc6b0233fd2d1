#include "core/records/ValueTypes.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace corvane {

namespace {

QJsonArray toJsonArray(const QList<AttachmentReference> &list)
{
    QJsonArray array;
    for (const auto &item : list)
        array.append(item.toJson());
    return array;
}

QList<AttachmentReference> attachmentsFrom(const QJsonValue &value)
{
    QList<AttachmentReference> list;
    for (const QJsonValue &item : value.toArray())
        list.append(AttachmentReference::fromJson(item.toObject()));
    return list;
}

std::optional<QJsonObject> objectFrom(const QByteArray &json)
{
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject())
        return std::nullopt;
    return doc.object();
}

} // namespace

QJsonObject AttachmentReference::toJson() const
{
    QJsonObject o{{"id", id.toString(QUuid::WithoutBraces)},
                  {"type", corvane::toRaw(type)},
                  {"fileName", fileName},
                  {"mediaType", mediaType},
                  {"fileSize", fileSize}};
    if (tempFilePath)
        o.insert("tempFilePath", *tempFilePath);
    return o;
}

AttachmentReference AttachmentReference::fromJson(const QJsonObject &o)
{
    AttachmentReference r;
    r.id = QUuid::fromString(o.value("id").toString());
    r.type = fromRaw<AttachmentType>(o.value("type").toString());
    r.fileName = o.value("fileName").toString();
    r.mediaType = o.value("mediaType").toString();
    r.fileSize = o.value("fileSize").toInteger();
    if (o.value("tempFilePath").isString())
        r.tempFilePath = o.value("tempFilePath").toString();
    return r;
}

QJsonObject TaskContextReference::toJson() const
{
    return {{"issueTitle", issueTitle}, {"issueType", issueType}, {"issuePriority", issuePriority}};
}

TaskContextReference TaskContextReference::fromJson(const QJsonObject &o)
{
    return {o.value("issueTitle").toString(), o.value("issueType").toString(), o.value("issuePriority").toString()};
}

QByteArray MessageMetadata::toJson() const
{
    QJsonObject o;
    if (attachments)
        o.insert("attachments", toJsonArray(*attachments));
    if (taskContext)
        o.insert("taskContext", taskContext->toJson());
    return QJsonDocument(o).toJson(QJsonDocument::Compact);
}

std::optional<MessageMetadata> MessageMetadata::fromJson(const QByteArray &json)
{
    const auto object = objectFrom(json);
    if (!object)
        return std::nullopt;
    MessageMetadata m;
    if (object->value("attachments").isArray())
        m.attachments = attachmentsFrom(object->value("attachments"));
    if (object->value("taskContext").isObject())
        m.taskContext = TaskContextReference::fromJson(object->value("taskContext").toObject());
    return m;
}

QByteArray AttachmentMetadata::toJson() const
{
    return QJsonDocument(QJsonObject{{"attachments", toJsonArray(attachments)}}).toJson(QJsonDocument::Compact);
}

std::optional<AttachmentMetadata> AttachmentMetadata::fromJson(const QByteArray &json)
{
    const auto object = objectFrom(json);
    if (!object)
        return std::nullopt;
    return AttachmentMetadata{attachmentsFrom(object->value("attachments"))};
}

} // namespace corvane
