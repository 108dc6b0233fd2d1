#include "shell/preferences/ArchivedChatsPage.h"

#include "core/records/Chat.h"
#include "core/settings/AppSettings.h"
#include "core/store/StoreContext.h"
#include "source_control/workspaces/LifecycleTexts.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"

namespace corvane {

namespace {

ArchivedRecordsPage::Kind chatKind()
{
    ArchivedRecordsPage::Kind kind;
    kind.emptyText = ArchivedChatsPage::tr("No archived chats");
    kind.load = [](StoreContext &context) { return archivedChats(context); };
    kind.retention = [](const AppSettings &s) { return s.archivedChatRetention(); };
    kind.setRetention = [](AppSettings &s, ArchiveRetention r) { s.setArchivedChatRetention(r); };
    kind.restore = [](WorkspaceLifecycleService &lifecycle, const QUuid &id) {
        const auto chat = lifecycle.context().get<Chat>(id);
        return chat ? lifecycle.restoreChat(chat) : LifecycleOutcome::done();
    };
    kind.remove = [](WorkspaceLifecycleService &lifecycle, const QUuid &id, bool confirmed) {
        return lifecycle.deleteChat(id, confirmed);
    };
    kind.deleteOneTitle = [](const QString &name) { return lifecycleText::deleteWorkspaceTitle(name); };
    kind.deleteOneText = lifecycleText::deleteChatText;
    kind.deleteAllTitle = ArchivedChatsPage::tr("Delete All Archived Chats?");
    kind.deleteAllText = [](int count) {
        return ArchivedChatsPage::tr("This will permanently delete all %1 archived chats. This action cannot be undone.").arg(count);
    };
    return kind;
}

} // namespace

ArchivedChatsPage::ArchivedChatsPage(AppSettings &settings, StoreContext &context, WorkspaceLifecycleService &lifecycle,
                                     QWidget *parent)
    : ArchivedRecordsPage(chatKind(), settings, context, lifecycle, parent)
{
}

} // namespace corvane
