#pragma once

#include "automation/AgentDefinitionsService.h"
#include "shell/tools/DefinitionToolPage.h"

class QLineEdit;
class QPlainTextEdit;

namespace corvane {

class StoreContext;

// The Agents tool: the subagents of the user and the projects, and the editor of one.
class AgentsToolPage : public DefinitionToolPage
{
    Q_OBJECT

public:
    AgentsToolPage(AgentDefinitionsService &agents, StoreContext &context, QWidget *parent = nullptr);

protected:
    QList<Row> rows() const override;
    void open(const QString &filePath) override;
    void clearEditor() override;
    bool hasUnsavedEdits() const override;
    Result<QString> saveEdits() override;
    Result<QString> create(const QString &name, const DefinitionLocation &location) override;
    Result<QString> cloneSelected() override;
    Status deleteSelected() override;
    QString deleteQuestion() const override;

private:
    // The form's texts, compared with what was opened to tell whether anything changed.
    struct Fields
    {
        QString name, displayName, description, tools, model, icon, color, prompt;
        bool operator==(const Fields &) const = default;
    };
    std::shared_ptr<AgentDefinition> agentAt(const QString &filePath) const;
    Fields form() const;
    void fill(const Fields &fields);

    AgentDefinitionsService &m_agents;
    StoreContext &m_context;
    Fields m_saved;
    bool m_filling = false;
    QLineEdit *m_name;
    QLineEdit *m_displayName;
    QLineEdit *m_description;
    QLineEdit *m_tools;
    QLineEdit *m_model;
    QLineEdit *m_icon;
    QLineEdit *m_color;
    QPlainTextEdit *m_prompt;
};

} // namespace corvane
