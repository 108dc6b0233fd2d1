#pragma once

#include "core/NotificationCenter.h"
#include "core/records/Chat.h"
#include "core/records/Enums.h"

#include <QDialog>

#include <memory>

class QButtonGroup;
class QComboBox;
class QDialogButtonBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QRadioButton;
class QTabBar;
class QWidget;

namespace corvane {

class NewChatSheetModel;
struct Project;

// Makes a workspace for a project: on the project's checkout as it is, on a new branch in the
// checkout, or in a new worktree (on a new or an existing branch). It draws NewChatSheetModel and
// forwards input to it; the model runs git and decides. Each change of mode starts a fresh model.
class NewWorkspaceDialog : public QDialog
{
    Q_OBJECT

public:
    NewWorkspaceDialog(std::shared_ptr<Project> project, WorkspaceCreationMode mode, NotificationCenter &center,
                       QWidget *parent = nullptr);

    WorkspaceCreationMode mode() const;
    void setMode(WorkspaceCreationMode mode);
    NewChatSheetModel &model() const { return *m_model; }

    QLineEdit *branchField() const { return m_branchName; }
    QComboBox *baseBranchList() const { return m_baseBranch; }
    QListWidget *existingBranchList() const { return m_existingList; }
    QLabel *errorLabel() const { return m_error; }
    QPushButton *createButton() const { return m_create; }
    QRadioButton *modeButton(WorkspaceCreationMode mode) const;
    QRadioButton *existingSourceButton() const { return m_existingSource; }
    QTabBar *branchTabs() const { return m_tabs; }

    void reject() override;

signals:
    // A branch or a worktree was made: the chat, not yet inserted, to receive.
    void chatCreated(const corvane::Chat &chat);
    // The checkout as it is was chosen: no git work, the caller makes a simple workspace.
    void simpleWorkspaceChosen();

private:
    void build();
    void create();
    void sync();
    void syncBranchLists();
    void showExistingBranches();

    std::shared_ptr<Project> m_project;
    NotificationCenter &m_center;
    NewChatSheetModel *m_model = nullptr;

    QButtonGroup *m_modes = nullptr;
    QWidget *m_sourceRow = nullptr;
    QRadioButton *m_newSource = nullptr;
    QRadioButton *m_existingSource = nullptr;
    QWidget *m_newBranchBox = nullptr;
    QLineEdit *m_branchName = nullptr;
    QComboBox *m_baseBranch = nullptr;
    QWidget *m_existingBox = nullptr;
    QTabBar *m_tabs = nullptr;
    QLineEdit *m_search = nullptr;
    QListWidget *m_existingList = nullptr;
    QLabel *m_hint = nullptr;
    QLabel *m_error = nullptr;
    QLabel *m_busy = nullptr;
    QDialogButtonBox *m_buttons = nullptr;
    QPushButton *m_create = nullptr;
    // Set while the widgets are being filled from the model, so that their signals are not
    // taken as input.
    bool m_syncing = false;
};

} // namespace corvane
