#pragma once

#include "agent/session/PlanState.h"
#include "shell/chat/ChatStyle.h"

#include <QFrame>

class QLabel;
class QPushButton;

namespace corvane {

class MarkdownTextView;

// The live plan: its tasks with a status sign, and while it waits for the user, "Plan Ready for
// Review" with the plan's text and approve / reject.
class PlanCard : public QFrame
{
    Q_OBJECT
public:
    PlanCard(const ChatStyle &style, QWidget *parent = nullptr);

    void setPlan(const PlanState &plan);
    // A stored plan card: its text only.
    void setStoredPlan(const QString &content);

    QPushButton *approveButton() const { return m_approve; }
    QPushButton *rejectButton() const { return m_reject; }
    static QString statusSign(PlanTask::Status status);

signals:
    void approved();
    void rejected();

private:
    ChatStyle m_style;
    QLabel *m_title;
    QLabel *m_tasks;
    MarkdownTextView *m_content;
    QWidget *m_buttons;
    QPushButton *m_approve;
    QPushButton *m_reject;
};

} // namespace corvane
