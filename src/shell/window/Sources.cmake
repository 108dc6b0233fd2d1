target_sources(corvane_shell PRIVATE
    window/ActivityColors.h
    window/KeySequences.h window/KeySequences.cpp
    window/WorkspaceTabBar.h window/WorkspaceTabBar.cpp
    window/SidebarView.h window/SidebarView.cpp
    window/SidebarTreeWidget.h window/SidebarTreeWidget.cpp
    window/RenameDialog.h window/RenameDialog.cpp
    window/BranchSwitchButton.h window/BranchSwitchButton.cpp
    window/ContentArea.h window/ContentArea.cpp
    window/InspectorView.h window/InspectorView.cpp
    window/WindowActions.h window/WindowActions.cpp
    window/NewWorkspaceDialog.h window/NewWorkspaceDialog.cpp
    window/AutomationRunBanner.h window/AutomationRunBanner.cpp
    window/QualityGatesDialog.h window/QualityGatesDialog.cpp
    window/ProjectActionsBar.h window/ProjectActionsBar.cpp window/ProjectActionsDialog.h window/ProjectActionsDialog.cpp
    window/RunAgentPanel.h window/RunAgentPanel.cpp
    window/NewIssueDialog.h window/NewIssueDialog.cpp
    window/CommitSyncPanel.h window/CommitSyncPanel.cpp
    window/PullRequestSection.h window/PullRequestSection.cpp
    window/MainWindow.h window/MainWindow.cpp window/MainWindowCommands.cpp
    window/MainWindowTerminals.cpp window/MainWindowFiles.cpp window/MainWindowProfiles.cpp
    window/MainWindowRecordActions.cpp)
# The sidebar draws the workspace lifecycle's view model.
target_link_libraries(corvane_shell PUBLIC corvane_source_control)
