#pragma once

#include "shell/preferences/ArchivedRecordsPage.h"

namespace corvane {

// The Archived Chats page of Preferences: chats archived on their own (those of an archived
// workspace go with it) and how long they are kept.
class ArchivedChatsPage : public ArchivedRecordsPage
{
    Q_OBJECT

public:
    ArchivedChatsPage(AppSettings &settings, StoreContext &context, WorkspaceLifecycleService &lifecycle,
                      QWidget *parent = nullptr);
};

} // namespace corvane
