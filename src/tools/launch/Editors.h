#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace corvane {

// An editor the user has installed, and how to hand it a folder.
struct IDE
{
    QString id; // stable across machines: the editor's usual launcher name
    QString name;
    QStringList cliPaths; // launchers found, in the order they are tried
    std::optional<QString> desktopEntry; // the .desktop file, for an editor without a launcher on the PATH
    bool operator==(const IDE &) const = default;
};

// Where to look: folders of programs, and data folders whose "applications" hold desktop entries.
struct EditorSearch
{
    QStringList binDirs;
    QStringList dataDirs;

    // The PATH, then ~/.local/bin, /usr/local/bin and /snap/bin; the XDG data folders.
    static EditorSearch fromEnvironment();
};

namespace editors {

// The known editors that `search` finds, in their fixed order.
QList<IDE> detect(const EditorSearch &search);
// detect() over this machine, done at the first call and kept for the process's life: an editor
// installed meanwhile shows after a restart.
const QList<IDE> &installed();

// The program and arguments of a desktop entry's Exec line with `folder` for its file field
// codes (%f %F %u %U); the other field codes are dropped. Empty when the line is unusable.
QStringList execCommand(const QString &exec, const QString &folder);

// Opens `folder` in the editor without waiting for it; a failure is only logged.
void open(const IDE &ide, const QString &folder);

} // namespace editors
} // namespace corvane
