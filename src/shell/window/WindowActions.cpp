#include "shell/window/WindowActions.h"

#include "core/window/HelpLinks.h"
#include "shell/window/KeySequences.h"

#include <QAction>
#include <QApplication>
#include <QDesktopServices>
#include <QMenu>
#include <QMenuBar>

namespace corvane {

WindowActions::WindowActions(QMenuBar *menuBar, QWidget *window, Handler handler) : QObject(window)
{
    using A = KeyboardShortcutAction;
    QHash<ShortcutCategory, QMenu *> menus;
    for (ShortcutCategory category : {ShortcutCategory::file, ShortcutCategory::edit, ShortcutCategory::view})
        menus.insert(category, menuBar->addMenu(QLatin1Char('&') + menuTitle(category)));

    // Groups inside a menu, in the order the actions come.
    const QList<A> separatedBefore{A::closeWindow, A::toggleSidebar, A::quickOpen, A::toggleFullScreen};
    for (A action : allKeyboardShortcutActions()) {
        QMenu *menu = menus.value(category(action));
        if (separatedBefore.contains(action))
            menu->addSeparator();
        auto *item = menu->addAction(displayName(action));
        item->setObjectName(QStringLiteral("action:") + rawName(action));
        // Window-wide: a shortcut fires wherever focus is inside the window, menus open or not.
        item->setShortcutContext(Qt::WindowShortcut);
        connect(item, &QAction::triggered, this, [handler, action] { handler(action); });
        m_actions.insert(action, item);
    }

    QMenu *edit = menus.value(ShortcutCategory::edit);
    edit->addSeparator();
    m_preferences = edit->addAction(tr("Preferences…"), this, &WindowActions::preferencesRequested);
    m_preferences->setObjectName(QStringLiteral("action:preferences"));
    m_preferences->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Comma));
    m_preferences->setShortcutContext(Qt::WindowShortcut);
    m_preferences->setMenuRole(QAction::PreferencesRole);

    QMenu *file = menus.value(ShortcutCategory::file);
    file->addSeparator();
    m_quit = file->addAction(tr("Quit"), qApp, &QApplication::closeAllWindows);
    m_quit->setObjectName(QStringLiteral("action:quit"));
    m_quit->setShortcut(keySequence(quitCombo()));
    m_quit->setMenuRole(QAction::QuitRole);

    m_openUrl = [](const QUrl &url) { QDesktopServices::openUrl(url); };
    QMenu *help = menuBar->addMenu(tr("&Help"));
    for (const HelpLink &link : helpLinks()) {
        // The site's pages, then the ways to write to us, then support.
        if (link.id == QLatin1String("featureRequest") || link.id == QLatin1String("donate"))
            help->addSeparator();
        QAction *item = help->addAction(link.title, this, [this, url = link.url] { m_openUrl(url); });
        item->setObjectName(QStringLiteral("help:") + link.id);
    }
    help->addSeparator();
    QAction *checklist = help->addAction(tr("Show Setup Checklist…"), this, &WindowActions::setupChecklistRequested);
    checklist->setObjectName(QStringLiteral("action:setupChecklist"));
    QAction *updates = help->addAction(tr("Check for Updates…"), this, &WindowActions::updatesRequested);
    updates->setObjectName(QStringLiteral("action:checkForUpdates"));
    updates->setMenuRole(QAction::ApplicationSpecificRole);
    QAction *about = help->addAction(tr("About Corvane"), this, &WindowActions::aboutRequested);
    about->setObjectName(QStringLiteral("action:about"));
    about->setMenuRole(QAction::AboutRole);
}

QList<QAction *> WindowActions::allActions() const
{
    QList<QAction *> all = m_actions.values();
    all.append(m_quit);
    all.append(m_preferences);
    return all;
}

void WindowActions::applyBindings(const QList<ShortcutBinding> &bindings)
{
    for (const ShortcutBinding &binding : bindings) {
        QAction *item = m_actions.value(binding.action);
        item->setShortcut(binding.combo ? keySequence(*binding.combo) : QKeySequence());
        item->setToolTip(binding.note.isEmpty() ? item->text() : binding.note);
    }
}

void WindowActions::update(const CommandContext &context, bool isFullScreen)
{
    for (auto it = m_actions.cbegin(); it != m_actions.cend(); ++it) {
        it.value()->setEnabled(isCommandEnabled(it.key(), context));
        it.value()->setText(menuItemTitle(it.key(), context));
    }
    if (isFullScreen)
        m_actions.value(KeyboardShortcutAction::toggleFullScreen)->setText(tr("Exit Full Screen"));
}

} // namespace corvane
