#pragma once

#include "core/window/PreferencesTab.h"

#include <QHash>

#include <optional>
#include <QWidget>

class QListWidget;
class QStackedWidget;

namespace corvane {

class AppSettings;
class NotificationCenter;
class ProfileAuthMonitor;
class ProfileService;
class StoreContext;
class WorkspaceLifecycleService;

// What the pages work on. Only the settings are always there; a page whose service is missing
// is left out (tests build the window with what they need).
struct PreferencesServices
{
    AppSettings &settings;
    StoreContext *context = nullptr;
    NotificationCenter *center = nullptr;
    WorkspaceLifecycleService *lifecycle = nullptr;
    ProfileService *profiles = nullptr;
    ProfileAuthMonitor *authMonitor = nullptr;
};

// The Preferences window: its tabs down the side, one page at a time. Only the tabs with a page
// are listed. One window serves the whole application: open() brings it back to the front.
class PreferencesWindow : public QWidget
{
    Q_OBJECT

public:
    explicit PreferencesWindow(const PreferencesServices &services, QWidget *parent = nullptr);

    // The application's window, made on first use, shown on `tab` (or its first page).
    static PreferencesWindow *open(const PreferencesServices &services,
                                   std::optional<PreferencesTab> tab = std::nullopt);

    void showTab(PreferencesTab tab);
    std::optional<PreferencesTab> currentTab() const;
    QWidget *page(PreferencesTab tab) const { return m_pages.value(tab); }
    QListWidget *tabList() const { return m_tabs; }

signals:
    // General's "Show Setup Checklist…": the application opens the checklist.
    void setupChecklistRequested();

private:
    void addPage(PreferencesTab tab, QWidget *page);

    QListWidget *m_tabs;
    QStackedWidget *m_stack;
    QHash<PreferencesTab, QWidget *> m_pages;
};

} // namespace corvane
