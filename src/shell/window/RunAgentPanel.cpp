#include "shell/window/RunAgentPanel.h"

#include "automation/AutomationFlowsService.h"
#include "automation/RunLaunch.h"
#include "core/records/Issue.h"
#include "core/records/Project.h"
#include "core/store/StoreContext.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

namespace corvane {

namespace {

// Blanks and tabs only: a name of line breaks is no name either, but none can be typed.
QString trimmedOfBlanks(const QString &text)
{
    qsizetype start = 0, end = text.size();
    while (start < end && (text[start] == QLatin1Char(' ') || text[start] == QLatin1Char('\t')))
        ++start;
    while (end > start && (text[end - 1] == QLatin1Char(' ') || text[end - 1] == QLatin1Char('\t')))
        --end;
    return text.mid(start, end - start);
}

} // namespace

RunAgentPanel::RunAgentPanel(std::shared_ptr<Issue> issue, StoreContext &context, AutomatedAgentOrchestrator &orchestrator,
                             AutomationFlowsService &flows, QWidget *parent)
    : QDialog(parent), m_issue(std::move(issue)), m_context(context), m_flowService(flows),
      m_launcher(context, orchestrator)
{
    setWindowTitle(tr("Run Agent \u2014 %1").arg(m_issue->title));
    resize(460, 520);
    build();
    m_workspace->setText(m_issue->title);
    m_branch->setText(runlaunch::branchSlug(m_issue->title));
    connect(&m_flowService, &DefinitionService::reloaded, this, &RunAgentPanel::loadFlows);
    QStringList folders;
    for (const auto &project : m_context.fetchOrEmpty<Project>())
        folders.append(project->path);
    m_flowService.reload(folders);
    loadFlows();
}

void RunAgentPanel::build()
{
    auto *layout = new QVBoxLayout(this);
    auto *intro = new QLabel(tr("Pick a flow and let the agent plan, implement, and validate the work before review."), this);
    intro->setWordWrap(true);
    layout->addWidget(intro);

    auto *form = new QFormLayout;
    m_flows = new QComboBox(this);
    m_flows->setObjectName(QStringLiteral("runFlowList"));
    form->addRow(tr("Flow:"), m_flows);
    layout->addLayout(form);

    layout->addWidget(new QLabel(tr("<b>Where to run</b>"), this));
    m_modes = new QButtonGroup(this);
    m_worktree = new QRadioButton(tr("New worktree"), this);
    m_simple = new QRadioButton(tr("Current branch"), this);
    m_modes->addButton(m_worktree, int(WorkspaceCreationMode::worktree));
    m_modes->addButton(m_simple, int(WorkspaceCreationMode::simple));
    m_worktree->setChecked(true);
    layout->addWidget(m_worktree);
    layout->addWidget(m_simple);
    m_modeHint = new QLabel(this);
    m_modeHint->setWordWrap(true);
    m_modeHint->setForegroundRole(QPalette::PlaceholderText);
    layout->addWidget(m_modeHint);

    auto *names = new QFormLayout;
    m_workspace = new QLineEdit(this);
    m_workspace->setPlaceholderText(tr("Workspace name"));
    m_branch = new QLineEdit(this);
    m_branch->setPlaceholderText(QStringLiteral("branch-name"));
    names->addRow(tr("Workspace:"), m_workspace);
    m_branchLabel = new QLabel(tr("Branch:"), this);
    names->addRow(m_branchLabel, m_branch);
    layout->addLayout(names);
    m_open = new QCheckBox(tr("Open the workspace when the run starts"), this);
    layout->addWidget(m_open);

    m_message = new QLabel(this);
    m_message->setObjectName(QStringLiteral("runPanelMessage"));
    m_message->setWordWrap(true);
    layout->addWidget(m_message);
    layout->addStretch(1);

    auto *buttons = new QDialogButtonBox(this);
    m_start = buttons->addButton(tr("Start"), QDialogButtonBox::AcceptRole);
    m_start->setDefault(true);
    buttons->addButton(QDialogButtonBox::Cancel);
    layout->addWidget(buttons);

    connect(buttons, &QDialogButtonBox::accepted, this, &RunAgentPanel::start);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_flows, &QComboBox::currentIndexChanged, this, &RunAgentPanel::flowChosen);
    connect(m_modes, &QButtonGroup::idToggled, this, &RunAgentPanel::sync);
    connect(m_workspace, &QLineEdit::textChanged, this, &RunAgentPanel::sync);
    connect(m_branch, &QLineEdit::textChanged, this, &RunAgentPanel::sync);
}

QRadioButton *RunAgentPanel::modeButton(WorkspaceCreationMode mode) const
{
    return mode == WorkspaceCreationMode::simple ? m_simple : m_worktree;
}

void RunAgentPanel::loadFlows()
{
    const QString chosen = m_flows->currentText();
    m_offered = m_issue->projectId ? runlaunch::flowsFor(m_context.fetchOrEmpty<AutomationFlow>(), *m_issue->projectId)
                                   : QList<std::shared_ptr<AutomationFlow>>();
    const QSignalBlocker quiet(m_flows);
    m_flows->clear();
    for (const auto &flow : m_offered)
        m_flows->addItem(flow->name);
    const int again = m_flows->findText(chosen);
    m_flows->setCurrentIndex(again >= 0 ? again : (m_offered.isEmpty() ? -1 : 0));
    flowChosen();
}

void RunAgentPanel::flowChosen()
{
    const int row = m_flows->currentIndex();
    if (row >= 0 && row < m_offered.size())
        m_open->setChecked(m_offered[row]->defaultOpenWorkspace);
    sync();
}

bool RunAgentPanel::canStart() const
{
    const bool worktree = m_worktree->isChecked();
    return m_flows->currentIndex() >= 0 && !trimmedOfBlanks(m_workspace->text()).isEmpty()
        && (!worktree || !trimmedOfBlanks(m_branch->text()).isEmpty()) && !m_starting;
}

void RunAgentPanel::sync()
{
    const bool worktree = m_worktree->isChecked();
    m_modeHint->setText(worktree ? tr("Provisions an isolated git worktree so the agent doesn't disturb your current checkout.")
                                 : tr("Runs against the project's current checkout. The agent will modify files in place."));
    m_branch->setVisible(worktree);
    m_branchLabel->setVisible(worktree);
    if (m_offered.isEmpty() && !m_starting)
        m_message->setText(tr("No flows found. Create one in ~/.claude/flows/ or this project's .corvane/flows/ directory."));
    m_start->setText(m_starting ? tr("Starting\u2026") : tr("Start"));
    m_start->setEnabled(canStart());
}

void RunAgentPanel::start()
{
    if (!canStart())
        return;
    m_starting = true;
    m_message->clear();
    sync();
    RunLaunchRequest request{m_issue, m_offered[m_flows->currentIndex()],
                             m_worktree->isChecked() ? WorkspaceCreationMode::worktree : WorkspaceCreationMode::simple,
                             trimmedOfBlanks(m_workspace->text()), trimmedOfBlanks(m_branch->text())};
    m_launcher.start(request, [this](Result<std::shared_ptr<AutomationRun>> run) {
        m_starting = false;
        if (!run) {
            m_message->setText(run.error().message);
            sync();
            return;
        }
        emit started((*run)->workspaceId.value_or(QUuid()), (*run)->id);
        accept();
    });
}

} // namespace corvane
