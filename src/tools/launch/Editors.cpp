#include "tools/launch/Editors.h"

#include "core/Log.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QStandardPaths>

namespace corvane {

namespace {

struct KnownEditor
{
    const char *id;
    const char *name;
    QStringList launchers;
    QStringList desktopEntries; // distribution packages first, then Flatpak and Snap
};

const QList<KnownEditor> &knownEditors()
{
    static const QList<KnownEditor> known{
        {"code", "Visual Studio Code", {"code"}, {"code.desktop", "com.visualstudio.code.desktop", "code_code.desktop"}},
        {"cursor", "Cursor", {"cursor"}, {"cursor.desktop"}},
        {"zed", "Zed", {"zed", "zeditor"}, {"dev.zed.Zed.desktop", "zed.desktop"}},
        {"webstorm", "WebStorm", {"webstorm"}, {"jetbrains-webstorm.desktop", "webstorm_webstorm.desktop"}},
        {"idea", "IntelliJ IDEA", {"idea", "intellij-idea-ultimate", "intellij-idea-community"},
         {"jetbrains-idea.desktop", "jetbrains-idea-ce.desktop", "intellij-idea-ultimate_intellij-idea-ultimate.desktop",
          "intellij-idea-community_intellij-idea-community.desktop"}},
        {"pycharm", "PyCharm", {"pycharm", "charm", "pycharm-professional", "pycharm-community"},
         {"jetbrains-pycharm.desktop", "jetbrains-pycharm-ce.desktop", "pycharm-professional_pycharm-professional.desktop",
          "pycharm-community_pycharm-community.desktop"}},
        {"subl", "Sublime Text", {"subl"}, {"sublime_text.desktop", "com.sublimetext.three.desktop"}},
        {"kate", "Kate", {"kate"}, {"org.kde.kate.desktop"}},
        {"gnome-text-editor", "GNOME Text Editor", {"gnome-text-editor"}, {"org.gnome.TextEditor.desktop"}},
    };
    return known;
}

// A desktop entry that is there and not hidden by the user.
std::optional<QString> findDesktopEntry(const QStringList &names, const QStringList &dataDirs)
{
    for (const QString &name : names) {
        for (const QString &dir : dataDirs) {
            const QString path = QDir(dir).filePath(QStringLiteral("applications/") + name);
            if (!QFileInfo(path).isFile())
                continue;
            QSettings entry(path, QSettings::IniFormat);
            entry.beginGroup(QStringLiteral("Desktop Entry"));
            if (entry.value(QStringLiteral("Hidden")).toString() == QLatin1String("true"))
                continue;
            return path;
        }
    }
    return std::nullopt;
}

// The Exec value of a desktop entry, read by hand: QSettings would take its commas for a list.
QString execLine(const QString &desktopEntry)
{
    QFile file(desktopEntry);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    bool inMain = false;
    while (!file.atEnd()) {
        const QString line = QString::fromUtf8(file.readLine()).trimmed();
        if (line.startsWith(QLatin1Char('[')))
            inMain = line == QLatin1String("[Desktop Entry]");
        else if (inMain && line.startsWith(QLatin1String("Exec=")))
            return line.mid(5);
    }
    return {};
}

} // namespace

EditorSearch EditorSearch::fromEnvironment()
{
    EditorSearch search;
    const QString path = qEnvironmentVariable("PATH");
    for (const QString &dir : path.split(QLatin1Char(':'), Qt::SkipEmptyParts))
        search.binDirs.append(dir);
    for (const QString &dir : {QDir::homePath() + QStringLiteral("/.local/bin"), QStringLiteral("/usr/local/bin"),
                               QStringLiteral("/snap/bin")})
        if (!search.binDirs.contains(dir))
            search.binDirs.append(dir);
    search.dataDirs = QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation);
    return search;
}

namespace editors {

QList<IDE> detect(const EditorSearch &search)
{
    QList<IDE> found;
    for (const KnownEditor &editor : knownEditors()) {
        IDE ide{QString::fromLatin1(editor.id), QString::fromLatin1(editor.name), {}, std::nullopt};
        for (const QString &launcher : editor.launchers) {
            const QString path = QStandardPaths::findExecutable(launcher, search.binDirs);
            if (!path.isEmpty() && !ide.cliPaths.contains(path))
                ide.cliPaths.append(path);
        }
        ide.desktopEntry = findDesktopEntry(editor.desktopEntries, search.dataDirs);
        if (!ide.cliPaths.isEmpty() || ide.desktopEntry)
            found.append(ide);
    }
    return found;
}

const QList<IDE> &installed()
{
    static const QList<IDE> editors = detect(EditorSearch::fromEnvironment());
    return editors;
}

QStringList execCommand(const QString &exec, const QString &folder)
{
    // Split as a shell would for the simple quoting desktop entries use.
    QStringList words;
    QString word;
    bool quoted = false, started = false;
    for (qsizetype i = 0; i < exec.size(); ++i) {
        const QChar c = exec.at(i);
        if (c == QLatin1Char('"')) {
            quoted = !quoted;
            started = true;
        } else if (c == QLatin1Char('\\') && quoted && i + 1 < exec.size()) {
            word.append(exec.at(++i));
        } else if (c.isSpace() && !quoted) {
            if (started)
                words.append(word);
            word.clear();
            started = false;
        } else {
            word.append(c);
            started = true;
        }
    }
    if (started)
        words.append(word);
    if (quoted)
        return {};
    QStringList command;
    for (const QString &w : std::as_const(words)) {
        if (w.size() == 2 && w.startsWith(QLatin1Char('%'))) {
            if (QStringLiteral("fFuU").contains(w.at(1)))
                command.append(folder);
            continue; // %i, %c, %k and the deprecated codes carry nothing we need
        }
        command.append(QString(w).replace(QLatin1String("%%"), QLatin1String("%")));
    }
    return command;
}

void open(const IDE &ide, const QString &folder)
{
    QStringList command;
    if (!ide.cliPaths.isEmpty())
        command = QStringList{ide.cliPaths.first(), folder};
    else if (ide.desktopEntry)
        command = execCommand(execLine(*ide.desktopEntry), folder);
    if (command.isEmpty()) {
        logLine("Launch", QStringLiteral("no way to start %1").arg(ide.name));
        return;
    }
    if (!QProcess::startDetached(command.first(), command.mid(1), folder))
        logLine("Launch", QStringLiteral("could not start %1 (%2)").arg(ide.name, command.first()));
}

} // namespace editors
} // namespace corvane
