#pragma once

#include "core/NotificationCenter.h"

#include <QUuid>
#include <QWidget>

#include <optional>

class QLabel;
class QLineEdit;
class QPushButton;

namespace corvane {

class AutomatedAgentOrchestrator;

// Over a workspace's chats: where its latest automation run stands once the coordinator's work
// is done ("Reviewer running", "Review Required", "Run blocked", ...), with the user's decision
// while it waits for review: Approve, Request changes (a line of feedback for the next
// iteration) and Discard. Hidden while the coordinator is still at work.
class AutomationRunBanner : public QWidget
{
    Q_OBJECT

public:
    AutomationRunBanner(AutomatedAgentOrchestrator &orchestrator, NotificationCenter &center, QWidget *parent = nullptr);

    void setWorkspace(std::optional<QUuid> workspaceId);
    void refresh();

    QLabel *title() const { return m_title; }
    QLabel *text() const { return m_text; }

private:
    AutomatedAgentOrchestrator &m_orchestrator;
    std::optional<QUuid> m_workspaceId;
    ObserverGuard m_observer;
    QLabel *m_title;
    QLabel *m_iteration;
    QLabel *m_text;
    QPushButton *m_approve;
    QPushButton *m_requestChanges;
    QPushButton *m_discard;
    QWidget *m_feedbackRow;
    QLineEdit *m_feedback;
};

} // namespace corvane
