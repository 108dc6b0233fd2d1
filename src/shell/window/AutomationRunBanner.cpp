#include "shell/window/AutomationRunBanner.h"

#include "automation/AutomatedAgentOrchestrator.h"
#include "core/Broadcasts.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace corvane {

namespace {

struct Words
{
    QString title;
    QString text;
};

Words wordsFor(const AutomationRun &run)
{
    switch (run.status()) {
    case AutomationRunStatus::reviewing:
        return {QObject::tr("Reviewer running"), QObject::tr("The reviewer subagent is finalizing its verdict.")};
    case AutomationRunStatus::awaitingUserReview: {
        const auto verdict = run.reviewVerdict();
        QString text = QObject::tr("The agent finished its run. Approve the result or request changes.");
        if (verdict == ReviewVerdict::approved)
            text = QObject::tr("Reviewer approved the changes. Confirm to finalize the run.");
        else if (verdict == ReviewVerdict::needsChanges)
            text = QObject::tr("Reviewer flagged changes. Approve to override or send feedback to iterate.");
        else if (verdict == ReviewVerdict::rejected)
            text = QObject::tr("Reviewer rejected the changes. Approve to override or discard the run.");
        return {QObject::tr("Review Required"), text};
    }
    case AutomationRunStatus::blocked:
        return {QObject::tr("Run blocked"), run.failureReason.value_or(QObject::tr("The run hit a cap or was cancelled."))};
    case AutomationRunStatus::done:
        return {QObject::tr("Run approved"), QObject::tr("You approved this run. The workspace is ready for follow-up.")};
    case AutomationRunStatus::failed:
        return {QObject::tr("Run failed"), run.failureReason.value_or(QObject::tr("The run failed without a recoverable error."))};
    default:
        return {};
    }
}

} // namespace

AutomationRunBanner::AutomationRunBanner(AutomatedAgentOrchestrator &orchestrator, NotificationCenter &center, QWidget *parent)
    : QWidget(parent), m_orchestrator(orchestrator), m_title(new QLabel), m_iteration(new QLabel), m_text(new QLabel),
      m_approve(new QPushButton(tr("Approve"))), m_requestChanges(new QPushButton(tr("Request changes"))),
      m_discard(new QPushButton(tr("Discard"))), m_feedbackRow(new QWidget), m_feedback(new QLineEdit)
{
    setObjectName(QStringLiteral("automationRunBanner"));
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::AlternateBase);
    QFont bold = m_title->font();
    bold.setBold(true);
    m_title->setFont(bold);
    m_iteration->setEnabled(false);
    m_text->setWordWrap(true);
    m_approve->setObjectName(QStringLiteral("approveRunButton"));
    m_requestChanges->setObjectName(QStringLiteral("requestChangesButton"));
    m_discard->setObjectName(QStringLiteral("discardRunButton"));
    m_feedback->setObjectName(QStringLiteral("runFeedbackField"));
    m_feedback->setPlaceholderText(tr("What needs to change?"));

    auto *head = new QHBoxLayout;
    head->addWidget(m_title);
    head->addWidget(m_iteration);
    head->addStretch();
    head->addWidget(m_discard);
    head->addWidget(m_requestChanges);
    head->addWidget(m_approve);
    auto *send = new QPushButton(tr("Send"));
    send->setObjectName(QStringLiteral("sendFeedbackButton"));
    auto *feedback = new QHBoxLayout(m_feedbackRow);
    feedback->setContentsMargins(0, 0, 0, 0);
    feedback->addWidget(m_feedback, 1);
    feedback->addWidget(send);
    m_feedbackRow->hide();
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(12, 8, 12, 8);
    layout->addLayout(head);
    layout->addWidget(m_text);
    layout->addWidget(m_feedbackRow);

    auto current = [this] { return m_workspaceId ? m_orchestrator.latestRun(*m_workspaceId) : nullptr; };
    connect(m_approve, &QPushButton::clicked, this, [this, current] {
        if (const auto run = current())
            m_orchestrator.finish(run, AutomationRunStatus::done);
    });
    connect(m_discard, &QPushButton::clicked, this, [this, current] {
        if (const auto run = current())
            m_orchestrator.finish(run, AutomationRunStatus::blocked, tr("Discarded by user from the review banner."));
    });
    connect(m_requestChanges, &QPushButton::clicked, this, [this] {
        m_feedbackRow->setVisible(!m_feedbackRow->isVisible());
        if (m_feedbackRow->isVisible())
            m_feedback->setFocus();
    });
    auto sendFeedback = [this, current] {
        const auto run = current();
        if (!run)
            return;
        const QString text = m_feedback->text().trimmed();
        m_feedback->clear();
        m_feedbackRow->hide();
        m_orchestrator.userRequestedChanges(run, text.isEmpty() ? std::nullopt : std::optional(text));
    };
    connect(send, &QPushButton::clicked, this, sendFeedback);
    connect(m_feedback, &QLineEdit::returnPressed, this, sendFeedback);
    m_observer = broadcast::observe<broadcast::AutomationRunUpdated>(center, this, [this](const broadcast::AutomationRunUpdated &u) {
        if (m_workspaceId && u.workspaceId == *m_workspaceId)
            refresh();
    });
    hide();
}

void AutomationRunBanner::setWorkspace(std::optional<QUuid> workspaceId)
{
    m_workspaceId = workspaceId;
    refresh();
}

void AutomationRunBanner::refresh()
{
    const auto run = m_workspaceId ? m_orchestrator.latestRun(*m_workspaceId) : nullptr;
    const Words words = run ? wordsFor(*run) : Words();
    setVisible(!words.title.isEmpty());
    if (words.title.isEmpty())
        return;
    m_title->setText(words.title);
    m_iteration->setText(tr("Iter %1").arg(run->iterationCount));
    m_text->setText(words.text);
    const bool deciding = run->status() == AutomationRunStatus::awaitingUserReview;
    for (QPushButton *button : {m_approve, m_requestChanges, m_discard})
        button->setVisible(deciding);
    if (!deciding)
        m_feedbackRow->hide();
}

} // namespace corvane
