#include "shell/terminal/LaunchMenus.h"

#include "tools/launch/Editors.h"
#include "tools/launch/RunCommandPresets.h"
#include "tools/launch/TerminalLaunch.h"

#include <QMenu>

namespace corvane {

QMenu *openInMenu(const QString &folder, QWidget *parent)
{
    auto *menu = new QMenu(QObject::tr("Open in"), parent);
    menu->setObjectName(QStringLiteral("openInMenu"));
    for (const IDE &ide : editors::installed())
        menu->addAction(ide.name, menu, [ide, folder] { editors::open(ide, folder); });
    if (!menu->isEmpty())
        menu->addSeparator();
    menu->addAction(QObject::tr("Terminal"), menu, [folder] { terminallaunch::openInTerminal(folder); });
    return menu;
}

QMenu *runMenu(const QString &folder, std::function<void(const QString &, const QString &)> run, QWidget *parent)
{
    auto *menu = new QMenu(QObject::tr("Run"), parent);
    menu->setObjectName(QStringLiteral("runMenu"));
    // Read when the menu opens: the folder's files change while the program runs.
    QObject::connect(menu, &QMenu::aboutToShow, menu, [menu, folder, run] {
        menu->clear();
        const QList<RunCommandPreset> presets = detectPresets(folder);
        for (const RunCommandPreset &preset : presets) {
            QAction *item = menu->addAction(preset.name, menu, [run, preset] { run(preset.command, preset.name); });
            item->setToolTip(QObject::tr("From %1").arg(preset.detectedBy));
            item->setStatusTip(preset.command);
        }
        if (presets.isEmpty())
            menu->addAction(QObject::tr("Nothing to run found in this folder"))->setEnabled(false);
    });
    return menu;
}

} // namespace corvane
