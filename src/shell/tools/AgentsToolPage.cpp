#include "shell/tools/AgentsToolPage.h"

#include "automation/DefinitionFiles.h"
#include "core/records/Project.h"
#include "core/store/StoreContext.h"
#include "shell/tools/ToolForm.h"

#include <QFileInfo>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>

namespace corvane {

AgentsToolPage::AgentsToolPage(AgentDefinitionsService &agents, StoreContext &context, QWidget *parent)
    : DefinitionToolPage(agents,
                         {tr("Agents"), tr("Scanning agents…"), tr("Create a subagent to reuse a system prompt and toolset."),
                          tr("User"), tr("Name (e.g. implementer)"), tr("User (~/.claude/agents)")},
                         parent),
      m_agents(agents), m_context(context), m_name(toolform::line("nameField", tr("Name (file stem)"))),
      m_displayName(toolform::line("displayNameField", tr("Display name"))),
      m_description(toolform::line("descriptionField", tr("Use this agent when…"))),
      m_tools(toolform::line("toolsField", tr("Read, Edit, Bash"))), m_model(toolform::line("modelField", tr("Model"))),
      m_icon(toolform::line("iconField", tr("Icon (SF Symbol)"))), m_color(toolform::line("colorField", QStringLiteral("#7B61FF"))),
      m_prompt(makeBodyEditor(this, QStringLiteral("bodyEditor")))
{
    auto *form = new QFormLayout;
    form->addRow(tr("Name"), m_name);
    form->addRow(tr("Display name"), m_displayName);
    form->addRow(tr("Description"), m_description);
    form->addRow(tr("Allowed tools (comma-separated, blank = inherit)"), m_tools);
    form->addRow(tr("Model (blank = inherit)"), m_model);
    form->addRow(tr("Icon"), m_icon);
    form->addRow(tr("Color"), toolform::colorRow(m_color));
    form->addRow(new QLabel(tr("System prompt")));
    m_prompt->setMinimumHeight(300);
    form->addRow(m_prompt);
    editorLayout()->addWidget(toolform::scrolling(form), 1);

    for (QLineEdit *field : {m_name, m_displayName, m_description, m_tools, m_model, m_icon, m_color})
        connect(field, &QLineEdit::textChanged, this, [this] {
            if (!m_filling)
                editsChanged();
        });
    connect(m_prompt, &QPlainTextEdit::textChanged, this, [this] {
        if (!m_filling)
            editsChanged();
    });
    clearEditor();
}

std::shared_ptr<AgentDefinition> AgentsToolPage::agentAt(const QString &filePath) const
{
    for (const auto &agent : m_agents.agents())
        if (agent->filePath == filePath)
            return agent;
    return nullptr;
}

QList<DefinitionToolPage::Row> AgentsToolPage::rows() const
{
    QList<Row> rows;
    for (const auto &agent : m_agents.agents()) {
        QString title = agent->displayName.isEmpty() ? agent->name : agent->displayName;
        QString detail = agent->descriptionText;
        if (agent->isProjectScoped() && agent->projectId)
            if (const auto project = m_context.get<Project>(*agent->projectId))
                detail = project->name + QStringLiteral(" · ") + detail;
        rows.append({agent->filePath, title, detail, agent->isProjectScoped()});
    }
    return rows;
}

AgentsToolPage::Fields AgentsToolPage::form() const
{
    return {m_name->text(), m_displayName->text(), m_description->text(), m_tools->text(),
            m_model->text(), m_icon->text(), m_color->text(), m_prompt->toPlainText()};
}

void AgentsToolPage::fill(const Fields &fields)
{
    m_filling = true;
    m_name->setText(fields.name);
    m_displayName->setText(fields.displayName);
    m_description->setText(fields.description);
    m_tools->setText(fields.tools);
    m_model->setText(fields.model);
    m_icon->setText(fields.icon);
    m_color->setText(fields.color);
    if (m_prompt->toPlainText() != fields.prompt)
        m_prompt->setPlainText(fields.prompt);
    m_filling = false;
    editsChanged();
}

void AgentsToolPage::open(const QString &filePath)
{
    const auto agent = agentAt(filePath);
    if (!agent) {
        clearEditor();
        return;
    }
    // The file as it is now, all of it: the record may be a scan behind an edit made outside.
    const auto content = definitionfiles::readUtf8(agent->filePath);
    const ScannedAgent read = content ? agentfile::parse(*content, agent->filePath) : scannedAgentOf(*agent);
    const Fields opened{read.name, read.displayName, read.description,
                        read.allowedTools ? read.allowedTools->join(QStringLiteral(", ")) : QString(),
                        read.model.value_or(QString()), read.icon, read.colorHex, read.systemPrompt};
    if (opened == m_saved && form() == m_saved)
        return;
    m_saved = opened;
    fill(opened);
}

void AgentsToolPage::clearEditor()
{
    m_saved = {};
    fill(m_saved);
}

bool AgentsToolPage::hasUnsavedEdits() const
{
    return form() != m_saved;
}

Result<QString> AgentsToolPage::saveEdits()
{
    const auto agent = agentAt(selectedFilePath());
    if (!agent)
        return Error(tr("The agent is no longer there; it may have been deleted outside."));
    const Fields edited = form();
    ScannedAgent saved;
    saved.name = edited.name;
    saved.displayName = edited.displayName.trimmed();
    saved.description = edited.description.trimmed();
    // Blank means the agent inherits every tool, and the model of the session.
    const QString tools = edited.tools.trimmed();
    if (!tools.isEmpty()) {
        QStringList list;
        for (const QString &piece : tools.split(QLatin1Char(',')))
            if (!piece.trimmed().isEmpty())
                list.append(piece.trimmed());
        saved.allowedTools = list;
    }
    if (!edited.model.trimmed().isEmpty())
        saved.model = edited.model.trimmed();
    saved.icon = edited.icon.trimmed();
    saved.colorHex = edited.color.trimmed();
    saved.systemPrompt = edited.prompt;
    if (Status written = m_agents.saveAgent(agent, saved); !written)
        return written.error();
    m_saved = edited;
    m_saved.name = agent->name;
    fill(m_saved);
    return agent->filePath;
}

Result<QString> AgentsToolPage::create(const QString &name, const DefinitionLocation &location)
{
    return m_agents.createAgent(name, location);
}

Result<QString> AgentsToolPage::cloneSelected()
{
    const auto agent = agentAt(selectedFilePath());
    return agent ? m_agents.cloneAgent(agent) : Error(tr("Nothing is selected"));
}

Status AgentsToolPage::deleteSelected()
{
    const auto agent = agentAt(selectedFilePath());
    return agent ? m_agents.deleteAgent(agent) : Status();
}

QString AgentsToolPage::deleteQuestion() const
{
    return tr("Delete the agent \"%1\"? Its file %2 is removed.")
        .arg(m_saved.name, QFileInfo(selectedFilePath()).fileName());
}

} // namespace corvane
