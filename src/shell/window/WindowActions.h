#pragma once

#include "core/settings/KeyboardShortcutAction.h"
#include "core/window/ShortcutBindings.h"
#include "core/window/WindowCommands.h"

#include <QHash>
#include <QList>
#include <QObject>

#include <functional>

class QAction;
class QMenuBar;
class QUrl;
class QWidget;

namespace corvane {

// The menu items of a main window: one per shortcut action in the menu of its category, plus
// Quit, Preferences and About. Choosing an item calls the handler with its action; which items
// are enabled, their titles and their keys come from the logic layer.
class WindowActions : public QObject
{
    Q_OBJECT

public:
    using Handler = std::function<void(KeyboardShortcutAction)>;

    WindowActions(QMenuBar *menuBar, QWidget *window, Handler handler);

    QAction *action(KeyboardShortcutAction action) const { return m_actions.value(action); }
    QAction *quitAction() const { return m_quit; }
    QAction *preferencesAction() const { return m_preferences; }
    // Every action of the window, the menus' own, Quit and Preferences, for checks on their keys.
    QList<QAction *> allActions() const;

    // How the Help menu opens its web pages; the desktop's browser unless a test says otherwise.
    void setUrlOpener(std::function<void(const QUrl &)> opener) { m_openUrl = std::move(opener); }

    void applyBindings(const QList<ShortcutBinding> &bindings);
    void update(const CommandContext &context, bool isFullScreen);

signals:
    void aboutRequested();
    void preferencesRequested();
    // "Check for Updates…": the Updates page of Preferences.
    void updatesRequested();
    // "Show Setup Checklist…": the first-run checklist again.
    void setupChecklistRequested();

private:
    QHash<KeyboardShortcutAction, QAction *> m_actions;
    QAction *m_quit = nullptr;
    QAction *m_preferences = nullptr;
    std::function<void(const QUrl &)> m_openUrl;
};

} // namespace corvane
