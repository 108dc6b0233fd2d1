#include "app/SignInLauncher.h"

#include "accounts/ProfileAuthMonitor.h"
#include "accounts/SignInCommand.h"
#include "agent/runtime/ToolLocator.h"
#include "automation/LandingTexts.h"
#include "core/records/Chat.h"
#include "core/records/Profile.h"
#include "core/records/Workspace.h"
#include "core/settings/AppSettings.h"
#include "core/store/StoreContext.h"
#include "shell/terminal/SignInSheet.h"

#include <QMessageBox>

namespace corvane {

void openSignInSheet(StoreContext &context, AppSettings &settings, const QUuid &chatId, QWidget *parent,
                     ProfileAuthMonitor *monitor)
{
    const auto chat = context.get<Chat>(chatId);
    const auto workspace = chat && chat->workspaceId ? context.get<Workspace>(*chat->workspaceId) : nullptr;
    const std::shared_ptr<Profile> profile = landing::profileFor(context, workspace.get());
    const bool codex = chat && chat->agentType() == AgentType::codex;
    const AgentTool tool = codex ? AgentTool::codex : AgentTool::claude;
    const ToolLocation location = locateTool(tool, codex ? settings.codexPath() : settings.claudePath());
    if (!location.found()) {
        QMessageBox::warning(parent, QObject::tr("Sign In"),
                             QObject::tr("%1 was not found. Looked in:\n%2\n\nSet its path in Preferences.")
                                 .arg(toolName(tool), location.searched.join(QLatin1Char('\n'))));
        return;
    }
    const SignInCommand command =
        signin::command(codex ? SignInAgent::chatGpt : SignInAgent::claude, profile.get(), *location.path);
    auto *sheet = new SignInSheet(command, parent);
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    if (monitor && profile) {
        QObject::connect(sheet, &QDialog::finished, monitor, [monitor, profile, codex] {
            codex ? monitor->probeCodex(profile) : monitor->probeClaude(profile);
        });
    }
    sheet->open();
}

} // namespace corvane
