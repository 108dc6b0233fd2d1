#include "shell/preferences/PreferencesWindow.h"

#include "core/settings/AppSettings.h"
#include "shell/preferences/AppearancePage.h"
#include "shell/preferences/ArchivedChatsPage.h"
#include "shell/preferences/ArchivedWorkspacesPage.h"
#include "shell/preferences/GeneralPage.h"
#include "shell/preferences/ModelsPage.h"
#include "shell/preferences/ShortcutsPage.h"
#include "shell/preferences/ProfilesPage.h"
#include "shell/preferences/SourceControlPage.h"
#include "shell/preferences/ToolsPage.h"
#include "shell/preferences/UpdatesPage.h"
#include "source_control/accounts/SourceControlAccounts.h"

#include <QCoreApplication>
#include <QHBoxLayout>
#include <QListWidget>
#include <QPointer>
#include <QStackedWidget>

namespace corvane {

PreferencesWindow::PreferencesWindow(const PreferencesServices &services, QWidget *parent)
    : QWidget(parent, Qt::Window)
{
    AppSettings &settings = services.settings;
    setWindowTitle(tr("Preferences"));
    resize(720, 560);
    auto *layout = new QHBoxLayout(this);
    m_tabs = new QListWidget;
    m_tabs->setObjectName(QStringLiteral("preferencesTabs"));
    m_tabs->setFixedWidth(170);
    m_stack = new QStackedWidget;
    layout->addWidget(m_tabs);
    layout->addWidget(m_stack, 1);
    connect(m_tabs, &QListWidget::currentRowChanged, m_stack, &QStackedWidget::setCurrentIndex);

    SourceControlAccounts::Options accounts;
    accounts.apiBase = settings.gitHubApiUrl();
    accounts.secretStoreHelper = findSecretStoreHelper(QCoreApplication::applicationDirPath());
    addPage(PreferencesTab::sourceControl, new SourceControlPage(settings, accounts));
    auto *general = new GeneralPage(settings);
    connect(general, &GeneralPage::setupChecklistRequested, this, &PreferencesWindow::setupChecklistRequested);
    addPage(PreferencesTab::general, general);
    addPage(PreferencesTab::appearance, new AppearancePage(settings));
    addPage(PreferencesTab::models, new ModelsPage(settings));
    addPage(PreferencesTab::tools, new ToolsPage(settings));
    addPage(PreferencesTab::shortcuts, new ShortcutsPage(settings));
    if (services.context && services.lifecycle) {
        addPage(PreferencesTab::archivedChats, new ArchivedChatsPage(settings, *services.context, *services.lifecycle));
        addPage(PreferencesTab::archivedWorkspaces, new ArchivedWorkspacesPage(settings, *services.context, *services.lifecycle));
    }
    addPage(PreferencesTab::updates, new UpdatesPage);
    if (services.profiles && services.context)
        addPage(PreferencesTab::profiles, new ProfilesPage(services));
    showTab(defaultPreferencesTab);
}

PreferencesWindow *PreferencesWindow::open(const PreferencesServices &services, std::optional<PreferencesTab> tab)
{
    static QPointer<PreferencesWindow> shared;
    if (!shared) {
        shared = new PreferencesWindow(services);
        shared->setAttribute(Qt::WA_DeleteOnClose);
    }
    if (tab)
        shared->showTab(*tab);
    shared->show();
    shared->raise();
    shared->activateWindow();
    return shared;
}

void PreferencesWindow::addPage(PreferencesTab tab, QWidget *page)
{
    // Pages keep the tabs' own order whatever order they are added in.
    int row = 0;
    for (PreferencesTab other : allPreferencesTabs()) {
        if (other == tab)
            break;
        if (m_pages.contains(other))
            ++row;
    }
    m_pages.insert(tab, page);
    auto *item = new QListWidgetItem(title(tab));
    item->setData(Qt::UserRole, int(tab));
    m_tabs->insertItem(row, item);
    m_stack->insertWidget(row, page);
}

void PreferencesWindow::showTab(PreferencesTab tab)
{
    QWidget *page = m_pages.value(tab);
    const int row = page ? m_stack->indexOf(page) : 0;
    m_tabs->setCurrentRow(row);
}

std::optional<PreferencesTab> PreferencesWindow::currentTab() const
{
    const QListWidgetItem *item = m_tabs->currentItem();
    if (!item)
        return std::nullopt;
    return PreferencesTab(item->data(Qt::UserRole).toInt());
}

} // namespace corvane
