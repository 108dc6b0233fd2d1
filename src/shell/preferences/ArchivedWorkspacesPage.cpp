#include "shell/preferences/ArchivedWorkspacesPage.h"

#include "core/records/Workspace.h"
#include "core/settings/AppSettings.h"
#include "core/store/StoreContext.h"
#include "source_control/workspaces/LifecycleTexts.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"

namespace corvane {

namespace {

ArchivedRecordsPage::Kind workspaceKind()
{
    ArchivedRecordsPage::Kind kind;
    kind.emptyText = ArchivedWorkspacesPage::tr("No archived workspaces");
    kind.load = [](StoreContext &context) { return archivedWorkspaces(context); };
    kind.retention = [](const AppSettings &s) { return s.archivedWorkspaceRetention(); };
    kind.setRetention = [](AppSettings &s, ArchiveRetention r) { s.setArchivedWorkspaceRetention(r); };
    kind.restore = [](WorkspaceLifecycleService &lifecycle, const QUuid &id) {
        const auto workspace = lifecycle.context().get<Workspace>(id);
        return workspace ? lifecycle.restoreWorkspace(workspace) : LifecycleOutcome::done();
    };
    kind.remove = [](WorkspaceLifecycleService &lifecycle, const QUuid &id, bool confirmed) {
        return lifecycle.deleteWorkspace(id, confirmed);
    };
    kind.deleteOneTitle = [](const QString &name) { return lifecycleText::deleteWorkspaceTitle(name); };
    // Here the chats' messages are named too: the list shows no chats, only their workspace.
    kind.deleteOneText = ArchivedWorkspacesPage::tr(
        "This will permanently delete this workspace and all its chats and messages. This action cannot be undone.");
    kind.deleteAllTitle = lifecycleText::deleteAllArchivedTitle;
    kind.deleteAllText = [](int count) { return lifecycleText::deleteAllArchivedText(count); };
    return kind;
}

} // namespace

ArchivedWorkspacesPage::ArchivedWorkspacesPage(AppSettings &settings, StoreContext &context,
                                               WorkspaceLifecycleService &lifecycle, QWidget *parent)
    : ArchivedRecordsPage(workspaceKind(), settings, context, lifecycle, parent)
{
}

} // namespace corvane
