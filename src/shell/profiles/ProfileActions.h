#pragma once

#include "accounts/SignInCommand.h"
#include "core/records/Enums.h"

#include <QObject>
#include <QPointer>
#include <QUuid>

#include <memory>

class QAction;
class QDialog;
class QMenu;
class QMessageBox;
class QWidget;

namespace corvane {

class AppSettings;
class ProfileAuthMonitor;
class ProfileService;
class StoreContext;
struct Profile;

// What the user can do to a profile from the sidebar's dots and from Preferences: each opens its
// sheet over `parent` without waiting, does the work through ProfileService, and asks the monitor
// again when a sign-in sheet closes, whatever became of the sign-in.
class ProfileActions : public QObject
{
    Q_OBJECT

public:
    enum class Place { sidebar, preferences }; // the deletion prompt reads differently in each

    ProfileActions(ProfileService &profiles, ProfileAuthMonitor *monitor, StoreContext &context,
                   AppSettings *settings, QWidget *parent);

    ProfileService &profiles() const { return m_profiles; }
    ProfileAuthMonitor *monitor() const { return m_monitor; }

    QDialog *newProfile();
    QDialog *rename(const std::shared_ptr<Profile> &profile);
    void setDefault(const std::shared_ptr<Profile> &profile);
    void setColor(const std::shared_ptr<Profile> &profile, ProfileColor color);
    QDialog *signIn(SignInAgent agent, const std::shared_ptr<Profile> &profile);
    QDialog *useApiKey(const std::shared_ptr<Profile> &profile);
    QMessageBox *confirmDelete(const std::shared_ptr<Profile> &profile, Place place);

    // The dot's menu: rename, default, colour, the sign-ins, delete. Owned by `owner`.
    QMenu *menu(const std::shared_ptr<Profile> &profile, QWidget *owner);

    // The last sheet or prompt opened, for tests and for the caller to keep an eye on.
    QWidget *lastSheet() const { return m_last; }

signals:
    void profileCreated(const QUuid &profileId);
    // A failure the user should see (a deletion whose files stayed, a save that failed).
    void failed(const QString &text);

private:
    QString toolPath(SignInAgent agent) const;
    int projectCount(const QUuid &profileId) const;
    void show(QWidget *sheet);

    ProfileService &m_profiles;
    QPointer<ProfileAuthMonitor> m_monitor;
    StoreContext &m_context;
    AppSettings *m_settings;
    QWidget *m_parent;
    QPointer<QWidget> m_last;
};

} // namespace corvane
