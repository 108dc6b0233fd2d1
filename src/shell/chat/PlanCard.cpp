#include "shell/chat/PlanCard.h"

#include "shell/chat/MarkdownTextView.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace corvane {

PlanCard::PlanCard(const ChatStyle &style, QWidget *parent) : QFrame(parent), m_style(style)
{
    setObjectName(QStringLiteral("planCard"));
    setStyleSheet(style.cardSheet(objectName()));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(12, 10, 12, 10);
    m_title = new QLabel(this);
    QFont bold = style.bodyFont();
    bold.setBold(true);
    m_title->setFont(bold);
    m_tasks = new QLabel(this);
    m_tasks->setWordWrap(true);
    m_tasks->setTextFormat(Qt::PlainText);
    m_content = new MarkdownTextView(this);
    m_buttons = new QWidget(this);
    auto *row = new QHBoxLayout(m_buttons);
    row->setContentsMargins(0, 0, 0, 0);
    m_reject = new QPushButton(QStringLiteral("Reject"), m_buttons);
    m_approve = new QPushButton(QStringLiteral("Approve"), m_buttons);
    m_approve->setDefault(true);
    row->addStretch();
    row->addWidget(m_reject);
    row->addWidget(m_approve);
    layout->addWidget(m_title);
    layout->addWidget(m_tasks);
    layout->addWidget(m_content);
    layout->addWidget(m_buttons);
    connect(m_approve, &QPushButton::clicked, this, &PlanCard::approved);
    connect(m_reject, &QPushButton::clicked, this, &PlanCard::rejected);
}

QString PlanCard::statusSign(PlanTask::Status status)
{
    switch (status) {
    case PlanTask::Status::pending: return QStringLiteral("○");
    case PlanTask::Status::inProgress: return QStringLiteral("◐");
    case PlanTask::Status::completed: return QStringLiteral("●");
    }
    return QStringLiteral("○");
}

void PlanCard::setPlan(const PlanState &plan)
{
    m_title->setText(plan.isAwaitingApproval ? QStringLiteral("Plan Ready for Review") : QStringLiteral("Plan"));
    QStringList lines;
    for (const PlanTask &task : plan.tasks) {
        const QString text = task.status == PlanTask::Status::inProgress && task.activeForm ? *task.activeForm : task.subject;
        lines << statusSign(task.status) + QLatin1Char(' ') + text;
    }
    m_tasks->setText(lines.join(QLatin1Char('\n')));
    m_tasks->setVisible(!lines.isEmpty());
    const QString content = plan.shownText();
    m_content->setMarkdown(content, m_style);
    m_content->setVisible(!content.trimmed().isEmpty());
    m_buttons->setVisible(plan.isAwaitingApproval);
}

void PlanCard::setStoredPlan(const QString &content)
{
    m_title->setText(QStringLiteral("Plan"));
    m_tasks->hide();
    m_content->setMarkdown(content, m_style);
    m_buttons->hide();
}

} // namespace corvane
