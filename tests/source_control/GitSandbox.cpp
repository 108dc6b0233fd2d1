#include "GitSandbox.h"

#include "source_control/GitExecutable.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTest>

namespace corvane::test {

GitSandbox::GitSandbox()
{
    const QString config = path("gitconfig");
    QFile file(config);
    if (file.open(QIODevice::WriteOnly))
        file.write("[user]\n\tname = Sandbox User\n\temail = sandbox@example.invalid\n"
                   "[init]\n\tdefaultBranch = main\n[advice]\n\tdetachedHead = false\n");
    qputenv("GIT_CONFIG_GLOBAL", QFile::encodeName(config));
    qputenv("GIT_CONFIG_NOSYSTEM", "1");
    qputenv("GIT_TERMINAL_PROMPT", "0");
    qputenv("LC_ALL", "C");
    qputenv("LANGUAGE", "C");
    // Never climb out of the sandbox looking for a repository.
    qputenv("GIT_CEILING_DIRECTORIES", QFile::encodeName(root()));
}

GitSandbox::Run GitSandbox::gitRun(const QString &directory, const QStringList &arguments, const QByteArray &input) const
{
    QProcess process;
    process.setWorkingDirectory(directory);
    process.start(gitExecutable(), arguments);
    process.write(input);
    process.closeWriteChannel();
    process.waitForFinished(30000);
    return Run{process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
               process.readAllStandardOutput(), process.readAllStandardError()};
}

QByteArray GitSandbox::git(const QString &directory, const QStringList &arguments, bool mayFail) const
{
    const Run run = gitRun(directory, arguments);
    if (run.exitCode != 0 && !mayFail)
        qWarning("git %s failed in %s: %s", qPrintable(arguments.join(' ')), qPrintable(directory),
                 run.errorOutput.constData());
    return run.output;
}

QString GitSandbox::makeRepository(const QString &name) const
{
    const QString directory = path(name);
    QDir().mkpath(directory);
    git(directory, {"init", "-q"});
    write(directory + "/README.md", "# Sandbox\n");
    commitAll(directory, "Initial commit");
    return directory;
}

QString GitSandbox::makeBareRepository(const QString &name) const
{
    const QString directory = path(name);
    QDir().mkpath(directory);
    git(directory, {"init", "-q", "--bare"});
    return directory;
}

QString GitSandbox::makeClone(const QString &name) const
{
    const QString bare = makeBareRepository(name + ".git");
    const QString seed = makeRepository(name + "-seed");
    git(seed, {"remote", "add", "origin", bare});
    git(seed, {"push", "-q", "origin", "main"});
    git(root(), {"clone", "-q", bare, path(name)});
    return path(name);
}

void GitSandbox::write(const QString &file, const QByteArray &content) const
{
    QDir().mkpath(QFileInfo(file).path());
    QFile out(file);
    if (!out.open(QIODevice::WriteOnly))
        QFAIL(qPrintable("cannot write " + file));
    out.write(content);
}

void GitSandbox::commitAll(const QString &directory, const QString &message) const
{
    git(directory, {"add", "-A"});
    git(directory, {"commit", "-q", "-m", message});
}

} // namespace corvane::test
