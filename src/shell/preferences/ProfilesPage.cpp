#include "shell/preferences/ProfilesPage.h"

#include "accounts/ProfileAuthMonitor.h"
#include "accounts/ProfileService.h"
#include "core/Broadcasts.h"
#include "core/records/Profile.h"
#include "shell/preferences/PreferencesWindow.h"
#include "shell/preferences/ProfileCard.h"
#include "shell/profiles/ProfileActions.h"

#include <QAbstractItemModel>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPainter>
#include <QPushButton>
#include <QScrollArea>
#include <QSignalBlocker>
#include <QTimer>
#include <QVBoxLayout>

namespace corvane {

namespace {

QIcon colorDot(const Profile &profile)
{
    QPixmap pixmap(12, 12);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(profile.colorHex ? QColor(*profile.colorHex) : QColor(0x8E, 0x8E, 0x93));
    painter.drawEllipse(QRectF(1, 1, 10, 10));
    return QIcon(pixmap);
}

} // namespace

ProfilesPage::ProfilesPage(const PreferencesServices &services, QWidget *parent)
    : QWidget(parent), m_profiles(*services.profiles), m_monitor(services.authMonitor),
      m_actions(new ProfileActions(*services.profiles, services.authMonitor, *services.context, &services.settings, this)),
      m_list(new QListWidget), m_new(new QPushButton(tr("New Profile\u2026"))),
      m_delete(new QPushButton(tr("Delete Profile\u2026"))), m_failure(new QLabel)
{
    setObjectName(QStringLiteral("profilesPage"));
    m_card = new ProfileCard(*m_actions, *services.context, &services.settings);
    auto *layout = new QHBoxLayout(this);
    auto *left = new QVBoxLayout;
    m_list->setObjectName(QStringLiteral("profileList"));
    m_list->setDragDropMode(QAbstractItemView::InternalMove);
    m_list->setDefaultDropAction(Qt::MoveAction);
    m_list->setFixedWidth(150);
    left->addWidget(m_list, 1);
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_new);
    buttons->addWidget(m_delete);
    left->addLayout(buttons);
    layout->addLayout(left);

    auto *right = new QVBoxLayout;
    m_failure->setObjectName(QStringLiteral("profilesFailure"));
    m_failure->setWordWrap(true);
    m_failure->setStyleSheet(QStringLiteral("color: #FF453A"));
    m_failure->hide();
    right->addWidget(m_failure);
    auto *scroll = new QScrollArea;
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->setWidget(m_card);
    right->addWidget(scroll, 1);
    layout->addLayout(right, 1);

    connect(m_list, &QListWidget::currentRowChanged, this, &ProfilesPage::showSelected);
    connect(m_list->model(), &QAbstractItemModel::rowsMoved, this, &ProfilesPage::saveOrder);
    connect(m_new, &QPushButton::clicked, m_actions, &ProfileActions::newProfile);
    connect(m_delete, &QPushButton::clicked, this, [this] {
        if (const auto profile = selectedProfile())
            m_actions->confirmDelete(profile, ProfileActions::Place::preferences);
    });
    connect(m_actions, &ProfileActions::profileCreated, this, [this](const QUuid &id) {
        reload();
        selectProfile(id);
    });
    connect(m_actions, &ProfileActions::failed, this, [this](const QString &text) {
        m_failure->setText(text);
        m_failure->show();
    });
    if (services.center)
        m_changes = ObserverGuard(*services.center, services.center->addObserver(broadcast::profilesDidChange,
                                                                                  [this](const Notification &) { reloadSoon(); },
                                                                                  nullptr, this));
    reload();
}

void ProfilesPage::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    // The page is loaded already; now that it shows, what is not known yet is asked for.
    if (m_monitor)
        m_monitor->probeAll(m_loaded);
}

void ProfilesPage::reloadSoon()
{
    // Posts arrive in the middle of the change that made them (a drop in this very list among
    // them): the list is read again once that is over.
    if (m_reloadQueued)
        return;
    m_reloadQueued = true;
    QTimer::singleShot(0, this, [this] {
        m_reloadQueued = false;
        reload();
        if (m_monitor && isVisible())
            m_monitor->probeAll(m_loaded);
    });
}

void ProfilesPage::reload()
{
    const auto selected = selectedProfile();
    m_loaded = m_profiles.fetchProfiles();
    {
        const QSignalBlocker blocker(m_list);
        m_list->clear();
        for (const auto &profile : std::as_const(m_loaded)) {
            auto *item = new QListWidgetItem(colorDot(*profile), profile->isDefault ? tr("%1 (default)").arg(profile->name)
                                                                                    : profile->name);
            item->setData(Qt::UserRole, profile->id);
            m_list->addItem(item);
        }
    }
    int row = 0;
    for (int i = 0; i < m_loaded.size(); ++i)
        if (selected && m_loaded[i]->id == selected->id)
            row = i;
    m_list->setCurrentRow(m_loaded.isEmpty() ? -1 : row);
    showSelected();
}

void ProfilesPage::selectProfile(const QUuid &id)
{
    for (int i = 0; i < m_list->count(); ++i)
        if (m_list->item(i)->data(Qt::UserRole).toUuid() == id)
            m_list->setCurrentRow(i);
}

std::shared_ptr<Profile> ProfilesPage::selectedProfile() const
{
    const QListWidgetItem *item = m_list->currentItem();
    if (!item)
        return nullptr;
    const QUuid id = item->data(Qt::UserRole).toUuid();
    for (const auto &profile : m_loaded)
        if (profile->id == id)
            return profile;
    return nullptr;
}

void ProfilesPage::showSelected()
{
    const auto profile = selectedProfile();
    if (m_card->profile() != profile)
        m_card->setProfile(profile);
    else
        m_card->refresh();
    m_delete->setEnabled(profile && !profile->isDefault);
}

void ProfilesPage::saveOrder()
{
    QList<std::shared_ptr<Profile>> order;
    for (int i = 0; i < m_list->count(); ++i) {
        const QUuid id = m_list->item(i)->data(Qt::UserRole).toUuid();
        for (const auto &profile : std::as_const(m_loaded))
            if (profile->id == id)
                order.append(profile);
    }
    if (Status saved = m_profiles.reorderProfiles(order); !saved) {
        m_failure->setText(saved.error().message);
        m_failure->show();
    }
}

} // namespace corvane
