#pragma once

#include "core/NotificationCenter.h"

#include <QUuid>
#include <QWidget>

#include <memory>

class QLabel;
class QListWidget;
class QPushButton;

namespace corvane {

class ProfileActions;
class ProfileAuthMonitor;
class ProfileCard;
class ProfileService;
struct PreferencesServices;
struct Profile;

// Preferences → Profiles: the profiles in their order (drag to reorder), a new one, the deletion
// of the selected one, and the card of the selected profile.
class ProfilesPage : public QWidget
{
    Q_OBJECT

public:
    explicit ProfilesPage(const PreferencesServices &services, QWidget *parent = nullptr);

    void selectProfile(const QUuid &id);
    std::shared_ptr<Profile> selectedProfile() const;
    // Reads the profiles again and asks the monitor about those not known yet.
    void reload();

    QListWidget *list() const { return m_list; }
    ProfileCard *card() const { return m_card; }
    ProfileActions *actions() const { return m_actions; }
    QPushButton *newButton() const { return m_new; }
    QPushButton *deleteButton() const { return m_delete; }
    QLabel *failureLine() const { return m_failure; }

protected:
    void showEvent(QShowEvent *event) override;

private:
    void reloadSoon();
    void saveOrder();
    void showSelected();

    ProfileService &m_profiles;
    ProfileAuthMonitor *m_monitor;
    ProfileActions *m_actions;
    QList<std::shared_ptr<Profile>> m_loaded;
    QListWidget *m_list;
    ProfileCard *m_card;
    QPushButton *m_new;
    QPushButton *m_delete;
    QLabel *m_failure;
    ObserverGuard m_changes;
    bool m_reloadQueued = false;
};

} // namespace corvane
