#include "shell/tools/TerminalsToolPage.h"

#include "shell/tools/ToolForm.h"
#include "tools/terminal/TerminalService.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

namespace corvane {

TerminalsToolPage::TerminalsToolPage(TerminalService &service, QWidget *parent)
    : QWidget(parent), m_service(service), m_rows(new QVBoxLayout), m_empty(new QLabel)
{
    auto *layout = new QVBoxLayout(this);
    auto *title = new QLabel(tr("Terminals"));
    QFont big = title->font();
    big.setPointSizeF(big.pointSizeF() * 1.4);
    big.setBold(true);
    title->setFont(big);
    layout->addWidget(title);
    layout->addWidget(toolform::note(tr("View and manage terminal sessions across all chats.")));
    m_empty->setObjectName(QStringLiteral("noTerminals"));
    m_empty->setText(tr("No Terminals\nShow a workspace's terminal with View → Show Terminal (Ctrl+`)."));
    m_empty->setAlignment(Qt::AlignCenter);
    m_empty->setEnabled(false);
    layout->addWidget(m_empty);
    auto *content = new QWidget;
    content->setLayout(m_rows);
    m_rows->setContentsMargins(0, 0, 0, 0);
    auto *scroll = new QScrollArea;
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidgetResizable(true);
    scroll->setWidget(content);
    layout->addWidget(scroll, 1);
    connect(&m_service, &TerminalService::terminalsChanged, this, &TerminalsToolPage::rebuild);
    rebuild();
}

TerminalsToolPage::~TerminalsToolPage()
{
    if (m_polling)
        m_service.stopPolling();
}

void TerminalsToolPage::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (!m_polling) {
        m_polling = true;
        m_service.startPolling(pollSeconds);
    }
}

void TerminalsToolPage::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    if (m_polling) {
        m_polling = false;
        m_service.stopPolling();
    }
}

void TerminalsToolPage::rebuild()
{
    toolform::clear(m_rows);
    const QList<TerminalInfo> terminals = m_service.terminals();
    m_empty->setVisible(terminals.isEmpty());
    for (const TerminalInfo &info : terminals) {
        auto *row = new QWidget;
        row->setObjectName(QStringLiteral("terminal:") + info.name);
        auto *line = new QHBoxLayout(row);
        auto *dot = new QLabel(QStringLiteral("●"));
        dot->setStyleSheet(QStringLiteral("color: %1;").arg(info.profileColorHex.value_or(QStringLiteral("#8e8e93"))));
        line->addWidget(dot);
        auto *text = new QLabel(QStringLiteral("<b>%1</b> — %2%3<br><span style='color: gray'>%4</span>")
                                    .arg(info.name.toHtmlEscaped(), info.chatName.toHtmlEscaped(),
                                         info.projectName ? QStringLiteral(" · ") + info.projectName->toHtmlEscaped() : QString(),
                                         info.workingDirectory.toHtmlEscaped()));
        line->addWidget(text, 1);
        auto *state = new QLabel(info.isRunning ? tr("Running") : tr("Idle"));
        state->setObjectName(QStringLiteral("state"));
        state->setStyleSheet(info.isRunning ? QStringLiteral("color: #34c759;") : QStringLiteral("color: gray;"));
        line->addWidget(state);
        if (info.workspaceId) {
            auto *open = new QPushButton(tr("Open"));
            connect(open, &QPushButton::clicked, this, [this, id = *info.workspaceId] { emit workspaceActivated(id); });
            line->addWidget(open);
        }
        auto *stop = new QPushButton(tr("Stop"));
        stop->setToolTip(tr("End this terminal's shell and everything running in it"));
        connect(stop, &QPushButton::clicked, this, [this, id = info.id] { m_service.stopTerminal(id); });
        line->addWidget(stop);
        m_rows->addWidget(row);
    }
    m_rows->addStretch();
}

} // namespace corvane
