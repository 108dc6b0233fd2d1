#pragma once

#include "automation/AutomationFlowsService.h"
#include "shell/tools/DefinitionToolPage.h"

class QCheckBox;
class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;

namespace corvane {

class AgentDefinitionsService;
class StoreContext;

// The Flows tool: every flow of the user and the projects, and the editor of one, with the
// subagents its coordinator may call and the gates its runs check.
class FlowsToolPage : public DefinitionToolPage
{
    Q_OBJECT

public:
    FlowsToolPage(AutomationFlowsService &flows, AgentDefinitionsService &agents, StoreContext &context,
                  QWidget *parent = nullptr);

    // The subagents a flow can offer are read again too.
    void refresh() override;

protected:
    QList<Row> rows() const override;
    void open(const QString &filePath) override;
    void clearEditor() override;
    bool hasUnsavedEdits() const override { return m_edit != m_saved; }
    Result<QString> saveEdits() override;
    Result<QString> create(const QString &name, const DefinitionLocation &location) override;
    Result<QString> cloneSelected() override;
    Status deleteSelected() override;
    QString deleteQuestion() const override;

private:
    std::shared_ptr<AutomationFlow> flowAt(const QString &filePath) const;
    void fill();
    void fillAgents();
    void fillGates();
    void readForm();

    AutomationFlowsService &m_flows;
    AgentDefinitionsService &m_agents;
    StoreContext &m_context;
    ScannedFlow m_saved;
    ScannedFlow m_edit;
    bool m_filling = false;
    QLineEdit *m_name;
    QLineEdit *m_description;
    QLineEdit *m_icon;
    QLineEdit *m_color;
    QComboBox *m_permission;
    QCheckBox *m_skipImplementation;
    QCheckBox *m_skipReview;
    QCheckBox *m_requiresDiff;
    QCheckBox *m_openWorkspace;
    QGroupBox *m_agentBox;
    QCheckBox *m_filterGates;
    QGroupBox *m_gateBox;
    QPlainTextEdit *m_prompt;
};

} // namespace corvane
