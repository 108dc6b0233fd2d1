#pragma once

#include "automation/RunLauncher.h"

#include <QDialog>

#include <memory>

class QButtonGroup;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;

namespace corvane {

class AutomationFlowsService;
struct Issue;

// Where an automation run begins: pick a flow, a new worktree or the current branch, and start.
// The flows are read from their files first, so one written a moment ago is offered. A failed
// start says why and keeps the panel open; a started run closes it with started().
class RunAgentPanel : public QDialog
{
    Q_OBJECT

public:
    RunAgentPanel(std::shared_ptr<Issue> issue, StoreContext &context, AutomatedAgentOrchestrator &orchestrator,
                  AutomationFlowsService &flows, QWidget *parent = nullptr);

    QComboBox *flowList() const { return m_flows; }
    QRadioButton *modeButton(WorkspaceCreationMode mode) const;
    QLineEdit *workspaceField() const { return m_workspace; }
    QLineEdit *branchField() const { return m_branch; }
    QCheckBox *openBox() const { return m_open; }
    QLabel *messageLabel() const { return m_message; }
    QPushButton *startButton() const { return m_start; }
    bool canStart() const;

signals:
    // The run is under way in `workspaceId`, which the window then shows.
    void started(const QUuid &workspaceId, const QUuid &runId);

private:
    void build();
    void loadFlows();
    void flowChosen();
    void sync();
    void start();

    std::shared_ptr<Issue> m_issue;
    StoreContext &m_context;
    AutomationFlowsService &m_flowService;
    RunLauncher m_launcher;
    QList<std::shared_ptr<AutomationFlow>> m_offered;
    bool m_starting = false;

    QComboBox *m_flows = nullptr;
    QButtonGroup *m_modes = nullptr;
    QRadioButton *m_worktree = nullptr;
    QRadioButton *m_simple = nullptr;
    QLabel *m_modeHint = nullptr;
    QLineEdit *m_workspace = nullptr;
    QLabel *m_branchLabel = nullptr;
    QLineEdit *m_branch = nullptr;
    QCheckBox *m_open = nullptr;
    QLabel *m_message = nullptr;
    QPushButton *m_start = nullptr;
};

} // namespace corvane
