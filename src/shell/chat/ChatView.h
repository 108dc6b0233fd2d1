#pragma once

#include "agent/session/ChatSession.h"
#include "presentation/timeline/ChatTimelineModel.h"

#include <QPointer>
#include <QUuid>
#include <QWidget>

class QLabel;
class QScrollArea;

namespace corvane {

class AppSettings;
class ChatController;
class ChatInputView;
class ChatSession;
class PlanCard;
class QuestionCard;
class SessionManager;
class Store;
class TimelineView;
struct Attachment;

// The chat area of a window: a header, the timeline of one chat, the open question or plan, and
// the input. It attaches to the chat's live session while it shows it; the session goes on in
// the background when the view shows another chat or goes away.
class ChatView : public QWidget
{
    Q_OBJECT
public:
    ChatView(SessionManager &sessions, ChatController &controller, Store &store, AppSettings &settings,
             QWidget *parent = nullptr);
    ~ChatView() override;

    // Shows a chat (a null id shows none): binds its session, loads its messages, starts or
    // resumes its agent as needed.
    void setChat(const QUuid &chatId);
    QUuid chatId() const { return m_chatId; }
    ChatSession *session() const { return m_session; }

    // Brings the row that shows the message into view and marks it for a moment; false when the
    // shown chat has no such message.
    bool revealMessage(const QUuid &messageId);

    TimelineView *timeline() const { return m_timeline; }
    ChatTimelineModel &timelineModel() { return m_model; }
    ChatInputView *input() const { return m_input; }
    QuestionCard *questionCard() const { return m_question; }
    PlanCard *planCard() const { return m_plan; }
    QLabel *titleLabel() const { return m_title; }

signals:
    // The view took over the chat's open prompts: floating windows of that chat can close.
    void chatAttached(const QUuid &chatId);
    // The sign-in prompt of an authentication error was pressed.
    void signInRequested(const QUuid &chatId);

protected:
    void changeEvent(QEvent *event) override;

private:
    void detach();
    void showNoChat();
    void refreshHeader();
    void refreshPrompts();
    void showMessages();
    void showInputStatus(const InputStatus &status);
    void submit(const QString &text, const QList<Attachment> &attachments);
    void stop();
    void changePermissionMode(PermissionMode mode);
    void restyle();

    SessionManager &m_sessions;
    ChatController &m_controller;
    Store &m_store;
    AppSettings &m_settings;
    QUuid m_chatId;
    QPointer<ChatSession> m_session;
    ChatTimelineModel m_model;

    QLabel *m_title;
    QLabel *m_agent;
    QLabel *m_activity;
    TimelineView *m_timeline;
    QScrollArea *m_promptArea;
    QuestionCard *m_question;
    PlanCard *m_plan;
    ChatInputView *m_input;
    QString m_shownQuestion;
};

} // namespace corvane
