#include "accounts/onboarding/OnboardingChecklistItem.h"

#include "agent/runtime/ToolLocator.h"

#include <QDir>
#include <QObject>
#include <QProcessEnvironment>

namespace corvane::onboarding {

namespace {

using Item = OnboardingChecklistItem;

Item row(const char *id, const QString &title, const QString &subtitle, const char *icon, Item::Kind kind,
         bool required, std::optional<QString> dependsOn = std::nullopt)
{
    Item item;
    item.id = QLatin1String(id);
    item.title = title;
    item.subtitle = subtitle;
    item.iconName = QLatin1String(icon);
    item.kind = kind;
    item.isRequired = required;
    item.dependsOn = std::move(dependsOn);
    return item;
}

Item dependency(Item item, QStringList paths, QString install)
{
    paths.removeDuplicates();
    item.checkPaths = std::move(paths);
    item.installCommand = std::move(install);
    return item;
}

// An agent tool's places: the usual ones, then wherever the agent launcher itself looks (npm's
// global folder, nvm's versions), so this row and a chat never disagree about the tool.
QStringList agentToolPaths(const QString &name, AgentTool tool, const Places &places)
{
    QStringList paths{QStringLiteral("/usr/local/bin/") + name, QStringLiteral("/opt/homebrew/bin/") + name,
                      places.home + QStringLiteral("/.local/bin/") + name,
                      places.home + QStringLiteral("/.npm-global/bin/") + name,
                      QStringLiteral("/Users/") + places.user + QStringLiteral("/.local/bin/") + name,
                      QStringLiteral("/usr/bin/") + name};
    if (tool == AgentTool::codex)
        paths.swapItemsAt(0, 1); // codex is looked for in Homebrew's folder first
    return paths + toolCandidates(tool, places.home, places.environment);
}

} // namespace

Places currentPlaces()
{
    const QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    return {QDir::homePath(), env.value(QStringLiteral("USER"), env.value(QStringLiteral("LOGNAME"))), env.toStringList()};
}

QString gitInstallCommand()
{
    // pkexec asks for the administrator password in a window of its own; the login shell has
    // no terminal to ask on.
    return QStringLiteral(
        "if ! command -v apt-get >/dev/null 2>&1; then\n"
        "  echo \"Install git with your package manager, e.g. sudo dnf install git or sudo pacman -S git\"\n"
        "  exit 1\n"
        "fi\n"
        "if ! command -v pkexec >/dev/null 2>&1; then\n"
        "  echo \"pkexec is not installed, so Corvane cannot ask for the administrator password.\"\n"
        "  echo \"Install git with your package manager, e.g. sudo apt install git\"\n"
        "  exit 1\n"
        "fi\n"
        "pkexec apt-get install -y git");
}

QString nodeInstallCommand()
{
    return QStringLiteral(
        "curl -o- https://raw.githubusercontent.com/nvm-sh/nvm/v0.40.1/install.sh | bash && "
        "export NVM_DIR=\"$HOME/.nvm\" && [ -s \"$NVM_DIR/nvm.sh\" ] && \\. \"$NVM_DIR/nvm.sh\" && "
        "nvm install node && nvm use node");
}

QString npmInstallCommand(const QString &package)
{
    // A global prefix owned by root (Debian's npm uses /usr/local) would fail with EACCES; the
    // user's own ~/.local then takes the tool, and ~/.local/bin is among the places we look.
    return QStringLiteral(
        "if ! command -v npm >/dev/null 2>&1; then\n"
        "  echo \"npm was not found. Install Node.js first.\"\n"
        "  exit 1\n"
        "fi\n"
        "prefix=\"$(npm prefix -g 2>/dev/null)\"\n"
        "if [ -n \"$prefix\" ] && [ -w \"$prefix\" ] && { [ ! -e \"$prefix/lib/node_modules\" ] || [ -w \"$prefix/lib/node_modules\" ]; }; then\n"
        "  npm i -g %1\n"
        "else\n"
        "  echo \"npm's global folder (${prefix:-unknown}) is not writable; installing into $HOME/.local instead.\"\n"
        "  npm i -g --prefix \"$HOME/.local\" %1\n"
        "fi")
        .arg(package);
}

QList<OnboardingChecklistItem> defaultItems(const Places &places)
{
    const QString home = places.home;
    QList<Item> items;
    items << dependency(row("git", QObject::tr("Git"), QObject::tr("Required for version control and tracking file changes."),
                            "vcs-branch", Item::Kind::dependency, true),
                        {QStringLiteral("/usr/bin/git"), QStringLiteral("/usr/local/bin/git"),
                         QStringLiteral("/opt/homebrew/bin/git"), QStringLiteral("/bin/git")},
                        gitInstallCommand());
    items << dependency(row("node", QObject::tr("Node.js"), QObject::tr("Required to install Claude Code and Codex CLI via npm."),
                            "package-x-generic", Item::Kind::dependency, true),
                        {QStringLiteral("/opt/homebrew/bin/node"), QStringLiteral("/usr/local/bin/node"),
                         home + QStringLiteral("/.nvm/versions/node"), home + QStringLiteral("/.local/bin/node"),
                         QStringLiteral("/usr/bin/node"), home + QStringLiteral("/.npm-global/bin/node")},
                        nodeInstallCommand());
    items << dependency(row("claude", QObject::tr("Claude Code"), QObject::tr("The CLI that powers Claude conversations in Corvane."),
                            "utilities-terminal", Item::Kind::dependency, false, QStringLiteral("node")),
                        agentToolPaths(QStringLiteral("claude"), AgentTool::claude, places),
                        npmInstallCommand(QStringLiteral("@anthropic-ai/claude-code")));
    items << row("claude-login", QObject::tr("Claude Login"), QObject::tr("Sign in so Corvane can talk to your Claude account."),
                 "system-users", Item::Kind::claudeLogin, false, QStringLiteral("claude"));
    items << dependency(row("codex", QObject::tr("Codex CLI"), QObject::tr("The CLI that powers ChatGPT conversations in Corvane."),
                            "utilities-terminal", Item::Kind::dependency, false, QStringLiteral("node")),
                        agentToolPaths(QStringLiteral("codex"), AgentTool::codex, places),
                        npmInstallCommand(QStringLiteral("@openai/codex")));
    items << row("codex-login", QObject::tr("ChatGPT Login"), QObject::tr("Sign in so Corvane can talk to your ChatGPT account."),
                 "system-users", Item::Kind::codexLogin, false, QStringLiteral("codex"));
    items << row("notifications", QObject::tr("Notifications"), QObject::tr("Lets Corvane notify you when chats finish or need input."),
                 "preferences-desktop-notification", Item::Kind::permissionNotifications, true);
    items << row("microphone", QObject::tr("Microphone (Optional)"), QObject::tr("Used for voice dictation in the chat input."),
                 "audio-input-microphone", Item::Kind::permissionMicrophone, false);
    return items;
}

QString stateName(OnboardingChecklistItem::State state)
{
    switch (state) {
    case Item::State::unknown: return QStringLiteral("unknown");
    case Item::State::checking: return QStringLiteral("checking");
    case Item::State::ok: return QStringLiteral("ok");
    case Item::State::missing: return QStringLiteral("missing");
    case Item::State::installing: return QStringLiteral("installing");
    case Item::State::failed: return QStringLiteral("failed");
    }
    return {};
}

} // namespace corvane::onboarding
