#include "presentation/timeline/ChatDisplayItem.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

namespace corvane {

QStringList ToolGroup::uniqueToolNames() const
{
    QStringList names;
    for (const MessagePtr &message : messages) {
        const QString name = message->toolName.value_or(QStringLiteral("Tool"));
        if (!names.contains(name))
            names << name;
    }
    return names;
}

ChatDisplayItem ChatDisplayItem::single(MessagePtr message)
{
    ChatDisplayItem item;
    item.kind = Kind::single;
    item.message = std::move(message);
    return item;
}

ChatDisplayItem ChatDisplayItem::toolGroupOf(QList<MessagePtr> messages)
{
    ChatDisplayItem item;
    item.kind = Kind::toolGroup;
    item.group.id = messages.first()->id;
    item.group.messages = std::move(messages);
    return item;
}

QList<MessagePtr> ChatDisplayItem::messages() const
{
    return kind == Kind::toolGroup ? group.messages : QList<MessagePtr>{message};
}

bool isGroupable(const Message &message)
{
    return message.role == MessageRole::tool
        && (message.contentType == MessageContentType::toolStart || message.contentType == MessageContentType::toolOutput
            || message.contentType == MessageContentType::toolComplete);
}

QList<ChatDisplayItem> buildDisplayItems(const QList<MessagePtr> &messages)
{
    QList<ChatDisplayItem> items;
    items.reserve(messages.size());
    QList<MessagePtr> run;
    auto flush = [&] {
        if (run.size() == 1)
            items.append(ChatDisplayItem::single(run.first()));
        else if (run.size() > 1)
            items.append(ChatDisplayItem::toolGroupOf(run));
        run.clear();
    };
    for (const MessagePtr &message : messages) {
        if (isGroupable(*message)) {
            run.append(message);
            continue;
        }
        flush();
        items.append(ChatDisplayItem::single(message));
    }
    flush();
    return items;
}

RowKind rowKind(const ChatDisplayItem &item)
{
    if (item.kind == ChatDisplayItem::Kind::toolGroup)
        return RowKind::toolGroup;
    const Message &m = *item.message;
    switch (m.contentType) {
    case MessageContentType::permissionRequest:
    case MessageContentType::permissionGranted:
    case MessageContentType::permissionDenied:
        return RowKind::permissionCard;
    case MessageContentType::planCard:
        return RowKind::planCard;
    case MessageContentType::subagentCard:
        return RowKind::subagentCard;
    case MessageContentType::authError:
        return RowKind::authErrorPrompt;
    default:
        break;
    }
    switch (m.role) {
    case MessageRole::user: return RowKind::userBubble;
    case MessageRole::assistant: return RowKind::assistantText;
    case MessageRole::system: return RowKind::systemNote;
    case MessageRole::thinking: return RowKind::thinking;
    case MessageRole::tool: return RowKind::tool;
    }
    return RowKind::systemNote;
}

DisplayItemsFingerprint displayItemsFingerprint(const QList<MessagePtr> &messages)
{
    size_t hash = 0;
    for (const MessagePtr &message : messages)
        hash = qHashMulti(hash, message->id, int(message->role), int(message->contentType));
    return {messages.size(), hash};
}

ToolDetail toolDetail(const Message &message)
{
    ToolDetail detail;
    const qsizetype lineEnd = message.content.indexOf(QLatin1Char('\n'));
    detail.summary = lineEnd < 0 ? message.content : message.content.left(lineEnd);
    detail.output = lineEnd < 0 ? QString() : message.content.mid(lineEnd + 1);
    const QString tool = message.toolName.value_or(QString());
    if (!message.metadata || (tool != QLatin1String("Write") && tool != QLatin1String("Edit")))
        return detail;
    const QJsonObject input = QJsonDocument::fromJson(*message.metadata).object();
    if (tool == QLatin1String("Write") && input.contains(QLatin1String("content"))) {
        detail.kind = ToolDetail::Kind::diff;
        detail.newText = input.value(QLatin1String("content")).toString();
    } else if (tool == QLatin1String("Edit")
               && (input.contains(QLatin1String("old_string")) || input.contains(QLatin1String("new_string")))) {
        detail.kind = ToolDetail::Kind::diff;
        detail.oldText = input.value(QLatin1String("old_string")).toString();
        detail.newText = input.value(QLatin1String("new_string")).toString();
    }
    return detail;
}

UserBubbleContent userBubbleContent(const QString &content)
{
    static const QLatin1String kinds[] = {QLatin1String("Image"), QLatin1String("PDF"), QLatin1String("File")};
    UserBubbleContent out;
    QStringList textLines;
    for (const QString &line : content.split(QLatin1Char('\n'))) {
        bool attachment = false;
        if (line.startsWith(QLatin1Char('[')) && line.endsWith(QLatin1Char(']'))) {
            for (QLatin1String kind : kinds) {
                const QString prefix = QLatin1Char('[') + kind + QStringLiteral(": ");
                if (line.startsWith(prefix)) {
                    out.attachments.append({kind, line.mid(prefix.size(), line.size() - prefix.size() - 1)});
                    attachment = true;
                    break;
                }
            }
        }
        if (!attachment)
            textLines << line;
    }
    out.text = textLines.join(QLatin1Char('\n'));
    return out;
}

} // namespace corvane
