#include "app/OnboardingSignIn.h"

#include "agent/runtime/ToolLocator.h"
#include "core/settings/AppSettings.h"
#include "shell/terminal/SignInSheet.h"

#include <QApplication>

namespace corvane {

namespace {

QWidget *sheetParent()
{
    if (QWidget *active = QApplication::activeWindow())
        return active;
    for (QWidget *window : QApplication::topLevelWidgets())
        if (window->isWindow() && window->isVisible())
            return window;
    return nullptr;
}

} // namespace

OnboardingValidator::SignInOpener onboardingSignInOpener(AppSettings &settings)
{
    return [&settings](SignInAgent agent, std::function<void(bool)> closed) {
        QWidget *parent = sheetParent();
        if (!parent)
            return false;
        const bool claude = agent == SignInAgent::claude;
        const ToolLocation tool = locateTool(claude ? AgentTool::claude : AgentTool::codex,
                                             claude ? settings.claudePath() : settings.codexPath());
        // Not found here: the login shell's own PATH may still know it.
        auto *sheet = new SignInSheet(signin::command(agent, nullptr, tool.path.value_or(QString())), parent);
        sheet->setAttribute(Qt::WA_DeleteOnClose);
        QObject::connect(sheet, &QDialog::finished, sheet,
                         [closed = std::move(closed)](int result) { closed(result == QDialog::Accepted); });
        sheet->open();
        return true;
    };
}

} // namespace corvane
