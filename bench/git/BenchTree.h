#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

// Work trees for the git benchmarks, made on disk once per run with an isolated git setup.
namespace corvane::bench {

inline void isolateGit(const QString &root)
{
    const QString config = root + "/gitconfig";
    QFile file(config);
    if (file.open(QIODevice::WriteOnly))
        file.write("[user]\n\tname = Bench\n\temail = bench@example.invalid\n[init]\n\tdefaultBranch = main\n");
    qputenv("HOME", QFile::encodeName(root));
    qputenv("GIT_CONFIG_GLOBAL", QFile::encodeName(config));
    qputenv("GIT_CONFIG_NOSYSTEM", "1");
    qputenv("GIT_TERMINAL_PROMPT", "0");
}

inline bool git(const QString &directory, const QStringList &arguments)
{
    QProcess process;
    process.setWorkingDirectory(directory);
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QStringLiteral("git"), arguments);
    process.closeWriteChannel();
    process.waitForFinished(-1);
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

// `folders` folders (a two-level tree: 50 at the top, the rest spread below them) holding
// `filesPerFolder` small files each, so a file's path is tree/dNN/sNNN/fN.txt.
inline QStringList makeTree(const QString &root, int folders, int filesPerFolder)
{
    QStringList made;
    const int top = 50;
    for (int i = 0; i < folders; ++i) {
        const QString folder = i < top ? QStringLiteral("%1/d%2").arg(root).arg(i)
                                       : QStringLiteral("%1/d%2/s%3").arg(root).arg(i % top).arg(i);
        QDir().mkpath(folder);
        made << folder;
        for (int f = 0; f < filesPerFolder; ++f) {
            QFile file(QStringLiteral("%1/f%2.txt").arg(folder).arg(f));
            if (file.open(QIODevice::WriteOnly))
                file.write(QByteArray("line one\nline two of ") + QByteArray::number(i * 100 + f) + "\n");
        }
    }
    return made;
}

inline void appendTo(const QString &file, const QByteArray &text)
{
    QFile out(file);
    if (out.open(QIODevice::WriteOnly | QIODevice::Append))
        out.write(text);
}

} // namespace corvane::bench
