#pragma once

#include "core/records/Enums.h"
#include "core/records/ValueTypes.h"
#include "core/store/RecordTraits.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QUuid>

#include <optional>

namespace corvane {

// One item of a chat's timeline: text, tool cards, permission cards and system notices alike.
struct Message
{
    QUuid id = QUuid::createUuid();
    MessageRole role = MessageRole::user;
    QString content;
    MessageContentType contentType = MessageContentType::text;
    std::optional<QString> toolName;
    QDateTime timestamp = QDateTime::currentDateTime();
    std::optional<QByteArray> metadata;
    bool isComplete = true;
    std::optional<QUuid> chatId;

    std::optional<MessageMetadata> metadataValue() const
    {
        return metadata ? MessageMetadata::fromJson(*metadata) : std::nullopt;
    }
    void setMetadataValue(const std::optional<MessageMetadata> &value)
    {
        metadata = value ? std::optional<QByteArray>(value->toJson()) : std::nullopt;
    }
};

template <>
struct store::RecordTraits<Message>
{
    static constexpr const char *entity = "Message";
    static const auto &columns()
    {
        using R = Message;
        static const auto c = std::make_tuple(
            column("id", &R::id), column("role", &R::role), column("content", &R::content),
            column("contentType", &R::contentType), column("toolName", &R::toolName),
            column("timestamp", &R::timestamp), column("metadata", &R::metadata),
            column("isComplete", &R::isComplete), column("chatId", &R::chatId));
        return c;
    }
};

} // namespace corvane
