#pragma once

#include <QHash>
#include <QObject>
#include <QPair>
#include <QPointer>
#include <QUuid>

namespace corvane {

class ChatSession;
class FloatingPromptWindow;
class SessionManager;

// Opens a FloatingPromptWindow when a session with no view attached waits for an answer, and
// closes it when the prompt is answered or withdrawn, or when a view takes the chat over.
class FloatingPromptCoordinator : public QObject
{
    Q_OBJECT
public:
    explicit FloatingPromptCoordinator(SessionManager &sessions, QObject *parent = nullptr);
    ~FloatingPromptCoordinator() override;

    // A view now shows the chat and its prompts inline.
    void closePromptsOf(const QUuid &chatId);
    FloatingPromptWindow *window(const QUuid &chatId, const QString &key) const;
    QList<FloatingPromptWindow *> windows() const;

private:
    void watch(ChatSession *session);
    void open(ChatSession *session, const QString &key);
    void close(const QUuid &chatId, const QString &key);

    SessionManager &m_sessions;
    QHash<QPair<QUuid, QString>, QPointer<FloatingPromptWindow>> m_windows;
};

} // namespace corvane
