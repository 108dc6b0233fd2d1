#include "shell/tools/FlowsToolPage.h"

#include "automation/AgentDefinitionsService.h"
#include "core/records/Project.h"
#include "core/records/QualityGate.h"
#include "core/store/StoreContext.h"
#include "shell/tools/ToolForm.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QScrollArea>
#include <QVBoxLayout>

namespace corvane {

namespace {

const QList<std::pair<const char *, const char *>> PermissionModes{
    {"Ask Permission", "ask"}, {"Auto Accept Edits", "acceptEdits"}, {"Bypass Permissions", "acceptAll"}};

} // namespace

FlowsToolPage::FlowsToolPage(AutomationFlowsService &flows, AgentDefinitionsService &agents, StoreContext &context,
                             QWidget *parent)
    : DefinitionToolPage(flows,
                         {tr("Flows"), tr("Scanning flows…"), tr("Create a flow to drive an automated agent run on an issue."),
                          tr("User"), tr("Name (e.g. Builder)"), tr("User (~/.claude/flows)")},
                         parent),
      m_flows(flows), m_agents(agents), m_context(context), m_name(toolform::line("nameField", tr("Name"))),
      m_description(toolform::line("descriptionField", tr("A short description of what this flow does"))),
      m_icon(toolform::line("iconField", tr("Icon (SF Symbol)"))), m_color(toolform::line("colorField", QStringLiteral("#3D8BFF"))),
      m_permission(new QComboBox), m_skipImplementation(new QCheckBox(tr("Skip implementation phase"))),
      m_skipReview(new QCheckBox(tr("Skip review phase"))),
      m_requiresDiff(new QCheckBox(tr("Requires an existing diff vs. base"))),
      m_openWorkspace(new QCheckBox(tr("Focus workspace on Start by default"))),
      m_agentBox(new QGroupBox(tr("Available subagents"))),
      m_filterGates(new QCheckBox(tr("Filter to a specific gate set"))), m_gateBox(new QGroupBox(tr("Quality gates"))),
      m_prompt(makeBodyEditor(this, QStringLiteral("bodyEditor")))
{
    m_permission->setObjectName(QStringLiteral("permissionChoice"));
    for (const auto &[label, raw] : PermissionModes)
        m_permission->addItem(tr(label), QString::fromLatin1(raw));
    m_filterGates->setObjectName(QStringLiteral("filterGates"));
    m_skipImplementation->setObjectName(QStringLiteral("skipImplementation"));
    m_skipReview->setObjectName(QStringLiteral("skipReview"));
    m_requiresDiff->setObjectName(QStringLiteral("requiresDiff"));
    m_openWorkspace->setObjectName(QStringLiteral("openWorkspace"));
    m_agentBox->setLayout(new QVBoxLayout);
    m_gateBox->setLayout(new QVBoxLayout);

    auto *form = new QFormLayout;
    form->addRow(tr("Name"), m_name);
    form->addRow(tr("Description"), m_description);
    form->addRow(tr("Icon"), m_icon);
    form->addRow(tr("Color"), toolform::colorRow(m_color));
    form->addRow(tr("Permissions"), m_permission);
    for (QCheckBox *box : {m_skipImplementation, m_skipReview, m_requiresDiff, m_openWorkspace})
        form->addRow(box);
    form->addRow(m_agentBox);
    form->addRow(m_filterGates);
    form->addRow(m_gateBox);
    auto *behavior = new QGroupBox(tr("Coordinator behavior"));
    auto *behaviorLayout = new QVBoxLayout(behavior);
    behaviorLayout->addWidget(new QLabel(tr("Coordinator system prompt")));
    m_prompt->setMinimumHeight(260);
    behaviorLayout->addWidget(m_prompt, 1);
    form->addRow(behavior);
    editorLayout()->addWidget(toolform::scrolling(form), 1);

    for (QLineEdit *field : {m_name, m_description, m_icon, m_color})
        connect(field, &QLineEdit::textChanged, this, &FlowsToolPage::readForm);
    for (QCheckBox *box : {m_skipImplementation, m_skipReview, m_requiresDiff, m_openWorkspace})
        connect(box, &QCheckBox::toggled, this, &FlowsToolPage::readForm);
    connect(m_permission, &QComboBox::currentIndexChanged, this, &FlowsToolPage::readForm);
    connect(m_prompt, &QPlainTextEdit::textChanged, this, &FlowsToolPage::readForm);
    connect(m_filterGates, &QCheckBox::toggled, this, [this](bool on) {
        if (m_filling)
            return;
        // Switching the filter on starts from no gate at all; off means every gate again.
        m_edit.enabledGateNames = on ? std::optional(m_edit.enabledGateNames.value_or(QStringList())) : std::nullopt;
        fillGates();
        editsChanged();
    });
    connect(&agents, &DefinitionService::reloaded, this, &FlowsToolPage::fillAgents);
    clearEditor();
}

void FlowsToolPage::refresh()
{
    DefinitionToolPage::refresh();
    m_agents.reload(projectFolders());
}

std::shared_ptr<AutomationFlow> FlowsToolPage::flowAt(const QString &filePath) const
{
    for (const auto &flow : m_flows.flows())
        if (flow->filePath == filePath)
            return flow;
    return nullptr;
}

QList<DefinitionToolPage::Row> FlowsToolPage::rows() const
{
    QList<Row> rows;
    for (const auto &flow : m_flows.flows()) {
        QString detail = flow->descriptionText;
        if (flow->isProjectScoped() && flow->projectId)
            if (const auto project = m_context.get<Project>(*flow->projectId))
                detail = project->name + QStringLiteral(" · ") + detail;
        rows.append({flow->filePath, flow->name, detail, flow->isProjectScoped()});
    }
    return rows;
}

void FlowsToolPage::open(const QString &filePath)
{
    const auto flow = flowAt(filePath);
    if (!flow) {
        clearEditor();
        return;
    }
    // The file is the truth; a file that cannot be read shows what the store last had.
    ScannedFlow read = m_flows.readFlowFile(flow).value_or(scannedFlowOf(*flow));
    read.filePath = flow->filePath;
    if (read == m_saved && m_edit == m_saved)
        return;
    m_saved = m_edit = read;
    fill();
}

void FlowsToolPage::clearEditor()
{
    m_saved = m_edit = ScannedFlow();
    fill();
}

void FlowsToolPage::fill()
{
    m_filling = true;
    m_name->setText(m_edit.name);
    m_description->setText(m_edit.description);
    m_icon->setText(m_edit.icon);
    m_color->setText(m_edit.colorHex);
    const int mode = m_permission->findData(m_edit.permissionModeRaw);
    m_permission->setCurrentIndex(mode >= 0 ? mode : m_permission->findData(QStringLiteral("acceptEdits")));
    m_skipImplementation->setChecked(m_edit.skipImplementationPhase);
    m_skipReview->setChecked(m_edit.skipReviewPhase);
    m_requiresDiff->setChecked(m_edit.requiresExistingDiff);
    m_openWorkspace->setChecked(m_edit.defaultOpenWorkspace);
    m_filterGates->setChecked(m_edit.enabledGateNames.has_value());
    if (m_prompt->toPlainText() != m_edit.coordinatorPrompt)
        m_prompt->setPlainText(m_edit.coordinatorPrompt);
    m_filling = false;
    fillAgents();
    fillGates();
    editsChanged();
}

void FlowsToolPage::fillAgents()
{
    toolform::clear(m_agentBox->layout());
    if (m_agents.agents().isEmpty()) {
        m_agentBox->layout()->addWidget(toolform::note(
            tr("No agents discovered. Create one in the Agents tool to allow the Coordinator to spawn it.")));
        return;
    }
    for (const auto &agent : m_agents.agents()) {
        QString label = agent->displayName.isEmpty() ? agent->name : agent->displayName;
        if (agent->isProjectScoped() && agent->projectId)
            if (const auto project = m_context.get<Project>(*agent->projectId))
                label += QStringLiteral(" · ") + project->name;
        auto *box = new QCheckBox(label);
        box->setObjectName(QStringLiteral("agent:") + agent->name);
        box->setChecked(m_edit.availableAgentNames.contains(agent->name));
        connect(box, &QCheckBox::toggled, this, [this, name = agent->name](bool on) {
            if (on && !m_edit.availableAgentNames.contains(name))
                m_edit.availableAgentNames.append(name);
            else if (!on)
                m_edit.availableAgentNames.removeAll(name);
            editsChanged();
        });
        m_agentBox->layout()->addWidget(box);
    }
}

void FlowsToolPage::fillGates()
{
    toolform::clear(m_gateBox->layout());
    if (!m_edit.enabledGateNames) {
        m_gateBox->layout()->addWidget(toolform::note(tr("All required gates on the run's project will execute.")));
        return;
    }
    QStringList names;
    for (const auto &gate : m_context.fetchOrEmpty<QualityGate>())
        if (!names.contains(gate->name))
            names.append(gate->name);
    names.sort();
    if (names.isEmpty()) {
        m_gateBox->layout()->addWidget(toolform::note(tr("No quality gates configured on any project yet.")));
        return;
    }
    for (const QString &name : names) {
        auto *box = new QCheckBox(name);
        box->setObjectName(QStringLiteral("gate:") + name);
        box->setChecked(m_edit.enabledGateNames->contains(name));
        connect(box, &QCheckBox::toggled, this, [this, name](bool on) {
            if (!m_edit.enabledGateNames)
                return;
            if (on && !m_edit.enabledGateNames->contains(name))
                m_edit.enabledGateNames->append(name);
            else if (!on)
                m_edit.enabledGateNames->removeAll(name);
            editsChanged();
        });
        m_gateBox->layout()->addWidget(box);
    }
}

void FlowsToolPage::readForm()
{
    if (m_filling)
        return;
    m_edit.name = m_name->text();
    m_edit.description = m_description->text();
    m_edit.icon = m_icon->text();
    m_edit.colorHex = m_color->text();
    m_edit.permissionModeRaw = m_permission->currentData().toString();
    m_edit.skipImplementationPhase = m_skipImplementation->isChecked();
    m_edit.skipReviewPhase = m_skipReview->isChecked();
    m_edit.requiresExistingDiff = m_requiresDiff->isChecked();
    m_edit.defaultOpenWorkspace = m_openWorkspace->isChecked();
    m_edit.coordinatorPrompt = m_prompt->toPlainText();
    editsChanged();
}

Result<QString> FlowsToolPage::saveEdits()
{
    const auto flow = flowAt(selectedFilePath());
    if (!flow)
        return Error(tr("The flow is no longer there; it may have been deleted outside."));
    if (Status saved = m_flows.saveFlow(flow, m_edit); !saved)
        return saved.error();
    m_edit.name = flow->name;
    m_edit.filePath = flow->filePath;
    m_saved = m_edit;
    return flow->filePath;
}

Result<QString> FlowsToolPage::create(const QString &name, const DefinitionLocation &location)
{
    return m_flows.createFlow(name, location);
}

Result<QString> FlowsToolPage::cloneSelected()
{
    const auto flow = flowAt(selectedFilePath());
    return flow ? m_flows.cloneFlow(flow) : Error(tr("Nothing is selected"));
}

Status FlowsToolPage::deleteSelected()
{
    const auto flow = flowAt(selectedFilePath());
    return flow ? m_flows.deleteFlow(flow) : Status();
}

QString FlowsToolPage::deleteQuestion() const
{
    return tr("Delete the flow \"%1\"? Its file %2 is removed.")
        .arg(m_saved.name, QFileInfo(selectedFilePath()).fileName());
}

} // namespace corvane
