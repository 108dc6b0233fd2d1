#pragma once

#include "shell/preferences/ArchivedRecordsPage.h"

namespace corvane {

// The Archived Workspaces page of Preferences: archived workspaces, each with its chats, and how
// long they are kept.
class ArchivedWorkspacesPage : public ArchivedRecordsPage
{
    Q_OBJECT

public:
    ArchivedWorkspacesPage(AppSettings &settings, StoreContext &context, WorkspaceLifecycleService &lifecycle,
                           QWidget *parent = nullptr);
};

} // namespace corvane
