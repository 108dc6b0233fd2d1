#include "shell/chat/PermissionCard.h"

#include "agent/session/PermissionRules.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace corvane {

PermissionCard::PermissionCard(const ChatStyle &style, QWidget *parent) : QFrame(parent)
{
    setObjectName(QStringLiteral("permissionCard"));
    setStyleSheet(style.cardSheet(objectName()));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(12, 10, 12, 10);
    layout->setSpacing(6);
    m_heading = new QLabel(this);
    QFont bold = style.bodyFont();
    bold.setBold(true);
    m_heading->setFont(bold);
    m_heading->setWordWrap(true);
    m_summary = new QLabel(this);
    m_summary->setFont(style.monoFont());
    m_summary->setWordWrap(true);
    m_summary->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_summary->setStyleSheet(QStringLiteral("background: %1; border-radius: 4px; padding: 4px;").arg(style.codeBackground.name()));
    m_outcome = new QLabel(this);
    m_outcome->setStyleSheet(QStringLiteral("color: %1;").arg(style.secondaryText.name()));
    m_buttons = new QWidget(this);
    auto *row = new QHBoxLayout(m_buttons);
    row->setContentsMargins(0, 0, 0, 0);
    m_once = new QPushButton(QStringLiteral("Allow Once (Ctrl+Y)"), m_buttons);
    m_session = new QPushButton(QStringLiteral("Allow for Session (Ctrl+Shift+Y)"), m_buttons);
    m_deny = new QPushButton(QStringLiteral("Deny"), m_buttons);
    m_once->setDefault(true);
    row->addWidget(m_once);
    row->addWidget(m_session);
    row->addStretch();
    row->addWidget(m_deny);
    layout->addWidget(m_heading);
    layout->addWidget(m_summary);
    layout->addWidget(m_outcome);
    layout->addWidget(m_buttons);
    connect(m_once, &QPushButton::clicked, this, &PermissionCard::allowOnce);
    connect(m_session, &QPushButton::clicked, this, &PermissionCard::allowForSession);
    connect(m_deny, &QPushButton::clicked, this, &PermissionCard::deny);
    setLive(false);
}

void PermissionCard::setRequest(const QString &toolName, const QString &summary)
{
    m_heading->setText(permissionrules::requestHeading(toolName));
    m_summary->setText(summary);
    m_summary->setVisible(!summary.isEmpty());
}

void PermissionCard::setLive(bool live, const QString &outcome)
{
    m_live = live;
    m_buttons->setVisible(live);
    m_outcome->setText(outcome);
    m_outcome->setVisible(!live && !outcome.isEmpty());
}

} // namespace corvane
