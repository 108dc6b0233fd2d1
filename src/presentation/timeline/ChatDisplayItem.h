#pragma once

#include "core/records/Message.h"

#include <QList>
#include <QStringList>
#include <QUuid>

#include <memory>

namespace corvane {

// Messages are shared with the chat session, which grows a streaming row in place: a display
// item keeps pointing at the live record, so a longer text needs no rebuild of the list.
using MessagePtr = std::shared_ptr<Message>;

// Two or more neighbouring tool messages shown as one collapsible row.
struct ToolGroup
{
    QUuid id; // the first message's id: the group keeps its identity (and expansion) while it grows
    QList<MessagePtr> messages;

    // The tool names in order of first occurrence, each once; "Tool" for a row without one.
    QStringList uniqueToolNames() const;
};

// One row of the timeline: a single message, or a group of tool messages.
struct ChatDisplayItem
{
    enum class Kind { single, toolGroup };
    Kind kind = Kind::single;
    MessagePtr message; // single
    ToolGroup group;    // toolGroup

    static ChatDisplayItem single(MessagePtr message);
    static ChatDisplayItem toolGroupOf(QList<MessagePtr> messages);

    // The row's identity: the message's id, or the group's.
    QUuid id() const { return kind == Kind::single ? message->id : group.id; }
    // The row's messages: the group's, or the single one.
    QList<MessagePtr> messages() const;
};

// What a row draws, decided from the message (see ChatTimelineModel::RowKindRole).
enum class RowKind {
    userBubble,      // trailing bubble; attachments from the "[Image: ...]" lines of the text
    assistantText,   // the Markdown blocks of the text, streaming until the message is complete
    systemNote,      // a centred note
    authErrorPrompt, // a sign-in prompt
    permissionCard,  // permissionRequest, permissionGranted, permissionDenied
    planCard,
    subagentCard,
    thinking,        // a collapsed thinking row
    tool,            // one expandable tool row
    toolGroup,
};

// Tool rows that group: role tool and one of the tool content types. Cards with role tool
// (a subagent card, say) stand alone.
bool isGroupable(const Message &message);

// One pass, order kept, nothing dropped: each run of two or more groupable messages becomes a
// toolGroup, everything else (and a run of one) a single.
QList<ChatDisplayItem> buildDisplayItems(const QList<MessagePtr> &messages);

RowKind rowKind(const ChatDisplayItem &item);

// The count and a hash of each message's id, role and content type. Content is left out on
// purpose: a text that only grows never changes it, so the list is not rebuilt per token.
struct DisplayItemsFingerprint
{
    qsizetype count = 0;
    size_t hash = 0;
    bool operator==(const DisplayItemsFingerprint &) const = default;
};
DisplayItemsFingerprint displayItemsFingerprint(const QList<MessagePtr> &messages);

// What an expanded tool row shows: for "Write" the new file content as an addition-only diff,
// for "Edit" the old and new strings as a diff, for other tools their output.
struct ToolDetail
{
    enum class Kind { output, diff };
    Kind kind = Kind::output;
    QString summary; // the row's first line
    QString output;  // the rest of the row's text (the tool's output preview)
    QString oldText; // diff
    QString newText; // diff
};
ToolDetail toolDetail(const Message &message);

// A user message split for its bubble: the text, and the attachments listed by
// "[Image: name]", "[PDF: name]" and "[File: name]" lines.
struct UserBubbleContent
{
    struct Attachment
    {
        QString kind; // "Image", "PDF" or "File"
        QString name;
        bool operator==(const Attachment &) const = default;
    };
    QString text;
    QList<Attachment> attachments;
};
UserBubbleContent userBubbleContent(const QString &content);

} // namespace corvane
