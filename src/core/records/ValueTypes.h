#pragma once

#include "core/records/Enums.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QUuid>

#include <optional>

namespace corvane {

// Value types kept inside records as JSON, with the field names as keys. Reading is lenient:
// a missing or mistyped key gives the field's empty value, never a failure.

struct AttachmentReference
{
    QUuid id;
    AttachmentType type = AttachmentType::image;
    QString fileName;
    QString mediaType;
    qint64 fileSize = 0;
    std::optional<QString> tempFilePath;

    QJsonObject toJson() const;
    static AttachmentReference fromJson(const QJsonObject &object);
    bool operator==(const AttachmentReference &) const = default;
};

struct TaskContextReference
{
    QString issueTitle;
    QString issueType;
    QString issuePriority;

    QJsonObject toJson() const;
    static TaskContextReference fromJson(const QJsonObject &object);
    bool operator==(const TaskContextReference &) const = default;
};

struct MessageMetadata
{
    std::optional<QList<AttachmentReference>> attachments;
    std::optional<TaskContextReference> taskContext;

    QByteArray toJson() const;
    // Absent when the bytes are not a JSON object.
    static std::optional<MessageMetadata> fromJson(const QByteArray &json);
    bool operator==(const MessageMetadata &) const = default;
};

struct AttachmentMetadata
{
    QList<AttachmentReference> attachments;

    QByteArray toJson() const;
    static std::optional<AttachmentMetadata> fromJson(const QByteArray &json);
};

} // namespace corvane
