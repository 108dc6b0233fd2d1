#pragma once

#include "agent/AgentModelCatalogue.h"
#include "agent/Attachment.h"
#include "core/Result.h"

#include <QElapsedTimer>
#include <QHash>
#include <QList>
#include <QString>
#include <QUuid>

#include <functional>
#include <memory>

namespace corvane {

class AgentAdapter;
class ChatSession;

// The decisions behind a chat's input, without any widget: loading a chat into its session,
// starting or resuming its agent, and sending what the user typed. The window and corvane-cli
// both go through here, so a chat behaves the same from either.
class ChatController
{
public:
    using AdapterFactory = std::function<std::unique_ptr<AgentAdapter>(AgentType)>;

    explicit ChatController(AdapterFactory factory) : m_factory(std::move(factory)) {}

    // Fills the session from the stored chat when it holds nothing yet: rows of an earlier
    // process's thinking are dropped, unfinished rows are finished. A fresh chat waits for its
    // first message; a chat with history starts its agent at once, resuming its session.
    void bind(ChatSession &session, const AgentModelDescriptor &model, PermissionMode mode);

    // Starts the agent for the chat: a new session, a resume, or a replay after a profile move.
    Status startAgent(ChatSession &session, const AgentModelDescriptor &model, PermissionMode mode);

    // Stores the user's message and sends it, starting the agent first when needed and
    // restarting it when the chosen model belongs to the other agent. Slash commands are
    // translated ("/clear" resets the chat in place), "@task" is expanded, a chat with a
    // placeholder name is named after the message, and temporary files are removed after.
    Status sendMessage(ChatSession &session, const QString &text, const QList<Attachment> &attachments,
                       const AgentModelDescriptor &model, PermissionMode mode);

    // The stop button and command: the first press asks the agent to stop the turn; a second
    // press in the same chat within 5 s ends the process. Each chat has its own two presses.
    enum class StopOutcome { interrupted, forced };
    StopOutcome stop(ChatSession &session);

    // "/clear": the conversation and its agent session go, and a new session starts at once.
    void clearConversation(ChatSession &session, const AgentModelDescriptor &model, PermissionMode mode);

    // Told when a chat got its name from its first message (for "chatDidRename").
    void setRenameObserver(std::function<void(const QUuid &chatId)> observer) { m_onRename = std::move(observer); }

    // Asked after a typed message has been stored and before it goes to the agent: true when
    // the text was taken elsewhere (a coordinator chat whose run waits for review takes it as
    // the user's request for changes), so it is not sent as an ordinary message.
    using InputRoute = std::function<bool(ChatSession &session, const QString &text)>;
    void setInputRoute(InputRoute route) { m_inputRoute = std::move(route); }

private:
    void nameChat(ChatSession &session, const QString &text, int attachmentCount);
    Status ensureAgent(ChatSession &session, const AgentModelDescriptor &model, PermissionMode mode);

    AdapterFactory m_factory;
    std::function<void(const QUuid &)> m_onRename;
    InputRoute m_inputRoute;
    QHash<QUuid, QElapsedTimer> m_firstStopPress; // chats whose two-press stop is armed
};

} // namespace corvane
