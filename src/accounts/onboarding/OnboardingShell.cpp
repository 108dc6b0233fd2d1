#include "accounts/onboarding/OnboardingShell.h"

#include "accounts/SignInCommand.h"

#include <QDir>
#include <QFileInfo>
#include <QVersionNumber>

#include <algorithm>

namespace corvane::onboarding {

namespace {

bool isExecutableFile(const QString &path)
{
    const QFileInfo info(path);
    return info.isFile() && info.isExecutable();
}

// Shells that understand the nvm line and `export`; fish and the like get bash instead.
QString posixShell(const QString &shell)
{
    static const QStringList known{QStringLiteral("bash"), QStringLiteral("zsh"), QStringLiteral("sh"),
                                   QStringLiteral("dash"), QStringLiteral("ksh")};
    if (!shell.isEmpty() && known.contains(QFileInfo(shell).fileName()) && isExecutableFile(shell))
        return shell;
    return QStringLiteral("/bin/bash");
}

} // namespace

QStringList nvmBinFolders(const QString &home)
{
    QDir versions(home + QStringLiteral("/.nvm/versions/node"));
    QStringList names = versions.entryList({QStringLiteral("v*")}, QDir::Dirs | QDir::NoDotAndDotDot);
    std::sort(names.begin(), names.end(), [](const QString &a, const QString &b) {
        return QVersionNumber::fromString(a.mid(1)) > QVersionNumber::fromString(b.mid(1));
    });
    QStringList out;
    for (const QString &name : names) {
        const QString bin = versions.filePath(name + QStringLiteral("/bin"));
        if (QFileInfo(bin).isDir())
            out << bin;
    }
    return out;
}

QStringList toolFolders(const QString &home, const QString &environmentPath)
{
    QStringList folders = nvmBinFolders(home);
    folders << home + QStringLiteral("/.local/bin") << home + QStringLiteral("/.npm-global/bin")
            << QStringLiteral("/usr/local/bin") << QStringLiteral("/opt/homebrew/bin") << QStringLiteral("/usr/bin")
            << QStringLiteral("/bin");
    const QString path = environmentPath.isEmpty() ? QStringLiteral("/usr/bin:/bin") : environmentPath;
    for (const QString &folder : path.split(QLatin1Char(':'), Qt::SkipEmptyParts))
        folders << folder;
    folders.removeDuplicates();
    return folders;
}

bool dependencyPresent(const QStringList &checkPaths, const QStringList &folders)
{
    for (const QString &path : checkPaths)
        if (QFileInfo::exists(path))
            return true;
    const QString name = checkPaths.isEmpty() ? QString() : QFileInfo(checkPaths.first()).fileName();
    if (name.isEmpty())
        return false;
    return std::any_of(folders.cbegin(), folders.cend(),
                       [&](const QString &folder) { return isExecutableFile(folder + QLatin1Char('/') + name); });
}

ProcessCommand shellCommand(const QString &command, const QProcessEnvironment &ours, const QString &home)
{
    const QString path = toolFolders(home, ours.value(QStringLiteral("PATH"))).join(QLatin1Char(':'));
    // A login shell reads the user's profile files, and Debian's /etc/profile sets PATH anew:
    // our folders go in front again after that, keeping what the profile added.
    const QString script = QStringLiteral("exec 2>&1\n"
                                          "[ -s \"$HOME/.nvm/nvm.sh\" ] && \\. \"$HOME/.nvm/nvm.sh\" >/dev/null 2>&1\n"
                                          "export PATH=%1:\"$PATH\"\n")
                               .arg(signin::shellQuote(path))
                           + command;
    ProcessCommand out;
    out.program = posixShell(ours.value(QStringLiteral("SHELL")));
    out.arguments = {QStringLiteral("-l"), QStringLiteral("-c"), script};
    out.environment = ours;
    out.environment.insert(QStringLiteral("PATH"), path);
    out.environment.insert(QStringLiteral("HOME"), home);
    out.workingDirectory = QFileInfo(home).isDir() ? home : QDir::rootPath();
    return out;
}

} // namespace corvane::onboarding
