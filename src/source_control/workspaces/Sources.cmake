# The life of projects, workspaces and chats, and the new-chat sheet's logic.
target_sources(corvane_source_control PRIVATE
    workspaces/WorkspaceTypes.h
    workspaces/LifecycleTexts.h workspaces/LifecycleTexts.cpp
    workspaces/WorktreeRemoval.h workspaces/WorktreeRemoval.cpp
    workspaces/NewChatSheetModel.h workspaces/NewChatSheetModel.cpp
    workspaces/WorkspaceLifecycleService.h workspaces/WorkspaceLifecycleService.cpp
    workspaces/ArchivedRecords.h workspaces/ArchivedRecords.cpp
    workspaces/WorkspaceCreation.cpp workspaces/WorkspaceProfiles.cpp workspaces/WorkspaceCheckout.cpp
    workspaces/SidebarViewModel.h workspaces/SidebarViewModel.cpp
    workspaces/BranchSync.h workspaces/BranchSync.cpp)
