#pragma once

#include "shell/chat/ChatStyle.h"

#include <QPointer>
#include <QUuid>
#include <QWidget>

namespace corvane {

class ChatSession;

// A prompt of a chat that no view shows, in a window of its own so a background agent is never
// left waiting: a permission (keyed by its request id), the question ("question") or the plan
// ("plan"). Answering goes to the session, whose promptClosed closes the window.
class FloatingPromptWindow : public QWidget
{
    Q_OBJECT
public:
    FloatingPromptWindow(ChatSession &session, const QString &key, QWidget *parent = nullptr);

    QString key() const { return m_key; }
    QUuid chatId() const { return m_chatId; }

private:
    void buildPermission(const ChatStyle &style, QLayout *layout);
    void buildQuestion(const ChatStyle &style, QLayout *layout);
    void buildPlan(const ChatStyle &style, QLayout *layout);

    QPointer<ChatSession> m_session;
    QString m_key;
    QUuid m_chatId;
};

} // namespace corvane
