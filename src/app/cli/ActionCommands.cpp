#include "app/cli/ActionCommands.h"

#include "app/cli/CliOutput.h"
#include "core/records/Project.h"
#include "core/records/ProjectActions.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"

#include <QCommandLineParser>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>

#include <csignal>
#include <cstdio>
#include <sys/wait.h>
#include <unistd.h>

namespace corvane::cli {

namespace {

// The project whose folder DIR is, or null after saying so.
std::shared_ptr<Project> projectOrSay(StoreContext &context, const QString &command, const QString &folder)
{
    const QString path = QFileInfo(folder).canonicalFilePath();
    const auto project = path.isEmpty() ? nullptr : context.fetchFirst<Project>(Query(where::eq("path", path))).valueOr(nullptr);
    if (!project)
        printErr(QStringLiteral("corvane-cli %1: %2 is not a project (add it in Corvane first)").arg(command, folder));
    return project;
}

// One field of a tab-separated line: a script of several lines stays on one.
QString field(QString text)
{
    return text.replace(QLatin1Char('\\'), QLatin1String("\\\\")).replace(QLatin1Char('\t'), QLatin1String("\\t"))
        .replace(QLatin1Char('\n'), QLatin1String("\\n"));
}

// Runs `script` with `shell -c` in `folder`, sharing our terminal, and returns its exit status
// (128 + the signal for a script that was killed, as shells report it).
int runInShell(const QString &shell, const QString &script, const QString &folder)
{
    std::fflush(stdout);
    std::fflush(stderr);
    const QByteArray shellPath = QFile::encodeName(shell), command = script.toUtf8(), dir = QFile::encodeName(folder);
    const pid_t child = fork();
    if (child < 0) {
        printErr(QStringLiteral("corvane-cli action run: could not start %1").arg(shell));
        return 1;
    }
    if (child == 0) {
        if (chdir(dir.constData()) != 0) {
            std::perror("corvane-cli action run: chdir");
            _exit(127);
        }
        execl(shellPath.constData(), shellPath.constData(), "-c", command.constData(), static_cast<char *>(nullptr));
        std::perror("corvane-cli action run: exec");
        _exit(127);
    }
    // Ctrl-C reaches the script (our process group); we wait for it to end instead of dying first.
    struct sigaction ignore{}, oldInt{}, oldQuit{};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGINT, &ignore, &oldInt);
    sigaction(SIGQUIT, &ignore, &oldQuit);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    sigaction(SIGINT, &oldInt, nullptr);
    sigaction(SIGQUIT, &oldQuit, nullptr);
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : 1;
}

} // namespace

int listActions(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.addOption({"project", "The project folder.", "DIR"});
    if (!parser.parse(arguments) || !parser.isSet("project") || !parser.positionalArguments().isEmpty()) {
        printErr(QStringLiteral("corvane-cli actions: usage: corvane-cli actions --project DIR"));
        return 2;
    }
    const auto store = openStoreOrSay();
    if (!store)
        return 1;
    StoreContext &context = store->mainContext();
    const auto project = projectOrSay(context, QStringLiteral("actions"), parser.value("project"));
    if (!project)
        return 1;
    const auto actions = projectactions::sorted(context, project->id);
    for (int i = 0; i < actions.size(); ++i)
        printOut(QStringList{QString::number(i), field(actions.at(i)->name), field(actions.at(i)->script)}.join(QLatin1Char('\t')));
    return 0;
}

int actionCommand(const QStringList &arguments)
{
    const QString usage = QStringLiteral("corvane-cli action: usage: corvane-cli action run --project DIR --name NAME");
    QCommandLineParser parser;
    parser.addOption({"project", "The project folder.", "DIR"});
    parser.addOption({"name", "The action's name.", "NAME"});
    if (arguments.value(1) != QLatin1String("run") || !parser.parse(withoutVerb(arguments)) || !parser.isSet("project")
        || !parser.isSet("name") || !parser.positionalArguments().isEmpty()) {
        printErr(usage);
        return 2;
    }
    QString folder, script;
    {
        const auto store = openStoreOrSay();
        if (!store)
            return 1;
        StoreContext &context = store->mainContext();
        const auto project = projectOrSay(context, QStringLiteral("action run"), parser.value("project"));
        if (!project)
            return 1;
        const QString name = parser.value("name");
        const auto actions = projectactions::sorted(context, project->id);
        const auto found = std::find_if(actions.cbegin(), actions.cend(), [&](const auto &a) { return a->name == name; });
        if (found == actions.cend()) {
            QStringList names;
            for (const auto &action : actions)
                names.append(QLatin1Char('"') + action->name + QLatin1Char('"'));
            printErr(QStringLiteral("corvane-cli action run: %1 has no action named \"%2\" (%3)")
                         .arg(project->name, name,
                              names.isEmpty() ? QStringLiteral("it has none") : QStringLiteral("it has ") + names.join(QStringLiteral(", "))));
            return 1;
        }
        folder = project->path;
        script = (*found)->script;
    } // the store is closed before the script runs, which may take as long as it likes
    if (!QFileInfo(folder).isDir()) {
        printErr(QStringLiteral("corvane-cli action run: the project's folder %1 is missing").arg(folder));
        return 1;
    }
    const QString shell = qEnvironmentVariable("SHELL");
    return runInShell(QFileInfo(shell).isExecutable() ? shell : QStringLiteral("/bin/sh"), script, folder);
}

} // namespace corvane::cli
