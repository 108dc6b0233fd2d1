#include "shell/profiles/ProfileActions.h"

#include "accounts/ProfileAuthMonitor.h"
#include "accounts/ProfileColor.h"
#include "accounts/ProfileService.h"
#include "accounts/ProfileTexts.h"
#include "agent/runtime/ToolLocator.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/settings/AppSettings.h"
#include "core/store/StoreContext.h"
#include "shell/profiles/ProfileSheets.h"
#include "shell/terminal/SignInSheet.h"

#include <QInputDialog>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>

namespace corvane {

ProfileActions::ProfileActions(ProfileService &profiles, ProfileAuthMonitor *monitor, StoreContext &context,
                               AppSettings *settings, QWidget *parent)
    : QObject(parent), m_profiles(profiles), m_monitor(monitor), m_context(context), m_settings(settings),
      m_parent(parent)
{
}

void ProfileActions::show(QWidget *sheet)
{
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    m_last = sheet;
    if (auto *dialog = qobject_cast<QDialog *>(sheet))
        dialog->open();
    else
        sheet->show();
}

QDialog *ProfileActions::newProfile()
{
    auto *sheet = new NewProfileDialog(m_profiles, m_parent);
    connect(sheet, &QDialog::accepted, this, [this, sheet] {
        if (const auto created = sheet->created())
            emit profileCreated(created->id);
    });
    show(sheet);
    return sheet;
}

QDialog *ProfileActions::rename(const std::shared_ptr<Profile> &profile)
{
    auto *sheet = new QInputDialog(m_parent);
    sheet->setObjectName(QStringLiteral("renameProfileSheet"));
    sheet->setWindowTitle(tr("Rename Profile"));
    sheet->setLabelText(tr("Name"));
    sheet->setTextValue(profile->name);
    sheet->setOkButtonText(tr("Rename"));
    connect(sheet, &QInputDialog::textValueSelected, this, [this, profile](const QString &name) {
        if (Status renamed = m_profiles.renameProfile(profile, name); !renamed)
            emit failed(renamed.error().message);
    });
    show(sheet);
    return sheet;
}

void ProfileActions::setDefault(const std::shared_ptr<Profile> &profile)
{
    if (Status done = m_profiles.setDefaultProfile(profile); !done)
        emit failed(done.error().message);
}

void ProfileActions::setColor(const std::shared_ptr<Profile> &profile, ProfileColor color)
{
    if (Status done = m_profiles.updateAppearance(profile, color, std::nullopt); !done)
        emit failed(done.error().message);
}

QString ProfileActions::toolPath(SignInAgent agent) const
{
    const bool claude = agent == SignInAgent::claude;
    const QString chosen = m_settings ? (claude ? m_settings->claudePath() : m_settings->codexPath()) : QString();
    return locateTool(claude ? AgentTool::claude : AgentTool::codex, chosen).path.value_or(QString());
}

QDialog *ProfileActions::signIn(SignInAgent agent, const std::shared_ptr<Profile> &profile)
{
    auto *sheet = new SignInSheet(signin::command(agent, profile.get(), toolPath(agent)), m_parent);
    // However the login went, what is on disk now is the answer.
    connect(sheet, &QDialog::finished, this, [this, agent, profile] {
        if (!m_monitor)
            return;
        agent == SignInAgent::claude ? m_monitor->probeClaude(profile) : m_monitor->probeCodex(profile);
    });
    show(sheet);
    return sheet;
}

QDialog *ProfileActions::useApiKey(const std::shared_ptr<Profile> &profile)
{
    auto *sheet = new ApiKeyDialog(m_profiles, profile, m_parent);
    connect(sheet, &QDialog::finished, this, [this, profile] {
        if (m_monitor)
            m_monitor->probeCodex(profile);
    });
    show(sheet);
    return sheet;
}

int ProfileActions::projectCount(const QUuid &profileId) const
{
    return int(m_context.fetchOrEmpty<Project>(Query(where::eq("profileId", profileId))).size());
}

QMessageBox *ProfileActions::confirmDelete(const std::shared_ptr<Profile> &profile, Place place)
{
    const QString text = place == Place::sidebar
        ? profileText::deleteTextInSidebar(projectCount(profile->id), profile->configDirPath)
        : profileText::deleteTextInPreferences(profile->name, profile->configDirPath);
    auto *box = new QMessageBox(QMessageBox::Warning, profileText::deleteTitle(profile->name), text,
                                QMessageBox::NoButton, m_parent);
    box->setObjectName(QStringLiteral("deleteProfilePrompt"));
    QPushButton *keepFiles = box->addButton(tr("Delete Profile"), QMessageBox::DestructiveRole);
    QPushButton *withFiles = box->addButton(tr("Delete Profile and Files"), QMessageBox::DestructiveRole);
    box->addButton(QMessageBox::Cancel);
    const auto remove = [this, profile](bool files) {
        const Status deleted = m_profiles.deleteProfile(profile, files, [this](Status removed) {
            if (!removed)
                emit failed(removed.error().message);
        });
        if (!deleted)
            emit failed(deleted.error().message);
    };
    connect(keepFiles, &QPushButton::clicked, this, [remove] { remove(false); });
    connect(withFiles, &QPushButton::clicked, this, [remove] { remove(true); });
    show(box);
    return box;
}

QMenu *ProfileActions::menu(const std::shared_ptr<Profile> &profile, QWidget *owner)
{
    auto *menu = new QMenu(owner);
    menu->setObjectName(QStringLiteral("profileMenu"));
    menu->addAction(tr("Rename Profile\u2026"), this, [this, profile] { rename(profile); });
    QAction *makeDefault = menu->addAction(tr("Set as Default"), this, [this, profile] { setDefault(profile); });
    makeDefault->setEnabled(!profile->isDefault);
    QMenu *colors = menu->addMenu(tr("Color"));
    for (ProfileColor color : allProfileColors()) {
        QString name = store::EnumCodec<ProfileColor>::toRaw(color);
        name[0] = name[0].toUpper();
        QAction *item = colors->addAction(name, this, [this, profile, color] { setColor(profile, color); });
        item->setCheckable(true);
        item->setChecked(profile->colorHex && profile->colorHex->compare(profileColorHex(color), Qt::CaseInsensitive) == 0);
    }
    menu->addSeparator();
    menu->addAction(tr("Sign in to Claude\u2026"), this, [this, profile] { signIn(SignInAgent::claude, profile); });
    menu->addAction(tr("Sign in with ChatGPT\u2026"), this, [this, profile] { signIn(SignInAgent::chatGpt, profile); });
    menu->addAction(tr("Use ChatGPT API Key\u2026"), this, [this, profile] { useApiKey(profile); });
    menu->addSeparator();
    QAction *remove = menu->addAction(tr("Delete Profile\u2026"), this,
                                      [this, profile] { confirmDelete(profile, Place::sidebar); });
    remove->setEnabled(!profile->isDefault); // the default profile is where the projects go
    return menu;
}

} // namespace corvane
