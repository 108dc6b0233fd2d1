#pragma once

#include "accounts/ProfileAuthMonitor.h"

#include <QList>
#include <QPointer>
#include <QUuid>
#include <QWidget>

#include <memory>
#include <optional>

class QToolButton;

namespace corvane {

class ProfileActions;
struct Profile;

// The sidebar's strip of profiles: one coloured dot each, with two small marks for the Claude
// and ChatGPT sign-ins, the active one ringed, and a "+" for a new profile. A click picks the
// profile's page. Dragging a dot reorders the strip as the pointer passes the others, and the
// order is saved once, on the drop. A project dropped on a dot moves to that profile.
class ProfileDotsView : public QWidget
{
    Q_OBJECT

public:
    static constexpr int dotSize = 18;
    static constexpr int spacing = 8;
    static constexpr const char *profileDragPrefix = "profile:";

    explicit ProfileDotsView(QWidget *parent = nullptr);

    // Without actions the strip only shows and picks: no menu, no "+", no drops.
    void setActions(ProfileActions *actions);
    void setProfiles(const QList<std::shared_ptr<Profile>> &profiles);
    void setActiveProfile(std::optional<QUuid> id);

    // The strip's order as shown, which during a drag differs from the saved one.
    QList<QUuid> order() const;
    QRect dotRect(int index) const;
    QRect dotRect(const QUuid &id) const;
    int indexAt(const QPoint &at) const;
    QToolButton *addButton() const { return m_add; }
    // The menu for a dot, as its right click shows it; owned by the caller's `owner`.
    QMenu *menuFor(const QUuid &id, QWidget *owner);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

signals:
    void profileActivated(const QUuid &profileId);
    // A project's row was dropped on a dot: the same request as the sidebar's Move to Profile,
    // which ends the project's sessions under the old account.
    void projectDropped(const QUuid &projectId, const QUuid &profileId);

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dragMoveEvent(QDragMoveEvent *event) override;
    void dragLeaveEvent(QDragLeaveEvent *event) override;
    void dropEvent(QDropEvent *event) override;
    void showEvent(QShowEvent *event) override;
    bool event(QEvent *event) override;

private:
    std::shared_ptr<Profile> profileAt(int index) const;
    std::optional<QUuid> draggedProfile(const QString &text) const;
    void probeSoon();
    void layoutAddButton();

    QPointer<ProfileActions> m_actions;
    QList<std::shared_ptr<Profile>> m_saved; // as the store orders them
    QList<std::shared_ptr<Profile>> m_shown; // as the strip shows them
    std::optional<QUuid> m_active;
    std::optional<QUuid> m_dragging;
    QPoint m_pressAt;
    int m_pressed = -1;
    QToolButton *m_add;
};

} // namespace corvane
