#include "shell/window/MainWindow.h"

#include "accounts/ProfileAuthMonitor.h"
#include "accounts/ProfileService.h"
#include "accounts/ProfileTexts.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/store/StoreContext.h"
#include "core/window/WindowStateModel.h"
#include "shell/preferences/PreferencesWindow.h"
#include "shell/preferences/ProfilesPage.h"
#include "shell/profiles/ProfileActions.h"
#include "shell/window/SidebarView.h"

#include <QMessageBox>
#include <QPushButton>

// The window's side of the agent accounts: the sidebar's profile strip with its sheets, and the
// gate that sends a user who never signed in to Preferences before their first chat.

namespace corvane {

void MainWindow::setUpProfiles()
{
    if (!m_services.profiles)
        return;
    m_profileActions = new ProfileActions(*m_services.profiles, m_services.authMonitor, m_services.context,
                                          &m_services.settings, this);
    connect(m_profileActions, &ProfileActions::failed, this, [this](const QString &text) {
        auto *box = new QMessageBox(QMessageBox::Warning, tr("Profiles"), text, QMessageBox::Ok, this);
        box->setAttribute(Qt::WA_DeleteOnClose);
        box->open();
    });
    // A new profile opens on its own (empty) page, ready for its first project.
    connect(m_profileActions, &ProfileActions::profileCreated, this, [this](const QUuid &id) {
        m_sidebar->profileActivated(id);
    });
    m_sidebar->setProfileActions(m_profileActions);
}

bool MainWindow::passesSignInGate(const std::optional<QUuid> &projectId)
{
    if (!m_services.profiles || !m_services.authMonitor || !projectId)
        return true;
    const auto project = m_services.context.get<Project>(*projectId);
    std::shared_ptr<Profile> profile =
        project && project->profileId ? m_services.context.get<Profile>(*project->profileId) : nullptr;
    if (!profile)
        profile = m_services.profiles->defaultProfile();
    if (!profile)
        return true;
    const ProfileAuthMonitor &monitor = *m_services.authMonitor;
    if (profileText::passesGate(*profile, monitor.state(profile->id), monitor.codexState(profile->id)))
        return true;

    auto *alert = new QMessageBox(QMessageBox::Information, profileText::gateTitle(), profileText::gateText(profile->name),
                                  QMessageBox::NoButton, this);
    alert->setObjectName(QStringLiteral("signInGate"));
    alert->setAttribute(Qt::WA_DeleteOnClose);
    QPushButton *settings = alert->addButton(tr("Open Settings"), QMessageBox::AcceptRole);
    alert->addButton(QMessageBox::Cancel);
    alert->setDefaultButton(settings);
    connect(settings, &QPushButton::clicked, this, [this, id = profile->id] {
        PreferencesWindow *preferences = openPreferences(PreferencesTab::profiles);
        if (auto *page = qobject_cast<ProfilesPage *>(preferences->page(PreferencesTab::profiles)))
            page->selectProfile(id);
    });
    alert->open();
    return false;
}

} // namespace corvane
