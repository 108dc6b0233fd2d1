#include "shell/profiles/ProfileDotsView.h"

#include "accounts/ProfileService.h"
#include "core/records/Profile.h"
#include "shell/profiles/ProfileActions.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QDrag>
#include <QHelpEvent>
#include <QMenu>
#include <QMimeData>
#include <QPainter>
#include <QTimer>
#include <QToolButton>
#include <QToolTip>

namespace corvane {

namespace {

constexpr int margin = 4;
constexpr int markSize = 6;

QList<QUuid> idsOf(const QList<std::shared_ptr<Profile>> &profiles)
{
    QList<QUuid> ids;
    for (const auto &profile : profiles)
        ids.append(profile->id);
    return ids;
}

QColor markColor(const AuthState &state, const QPalette &palette)
{
    switch (state.kind) {
    case AuthState::Kind::signedIn:
        return QColor(0x30, 0xD1, 0x58);
    case AuthState::Kind::signedOut:
        return QColor(0x8E, 0x8E, 0x93);
    case AuthState::Kind::probing:
        return QColor(0xFF, 0xD6, 0x0A);
    case AuthState::Kind::error:
        return QColor(0xFF, 0x45, 0x3A);
    case AuthState::Kind::unknown:
        break;
    }
    return palette.color(QPalette::Mid);
}

} // namespace

ProfileDotsView::ProfileDotsView(QWidget *parent) : QWidget(parent), m_add(new QToolButton(this))
{
    setObjectName(QStringLiteral("profileDots"));
    setAcceptDrops(true);
    setMouseTracking(false);
    m_add->setObjectName(QStringLiteral("newProfileButton"));
    m_add->setText(QStringLiteral("+"));
    m_add->setToolTip(tr("New Profile\u2026"));
    m_add->setAutoRaise(true);
    m_add->setFixedSize(dotSize + 4, dotSize + 4);
    m_add->hide();
    connect(m_add, &QToolButton::clicked, this, [this] {
        if (m_actions)
            m_actions->newProfile();
    });
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void ProfileDotsView::setActions(ProfileActions *actions)
{
    m_actions = actions;
    m_add->setVisible(actions != nullptr);
    if (actions && actions->monitor()) {
        connect(actions->monitor(), &ProfileAuthMonitor::stateChanged, this, qOverload<>(&QWidget::update));
        connect(actions->monitor(), &ProfileAuthMonitor::codexStateChanged, this, qOverload<>(&QWidget::update));
    }
    layoutAddButton();
    probeSoon();
}

void ProfileDotsView::setProfiles(const QList<std::shared_ptr<Profile>> &profiles)
{
    const QList<QUuid> before = order();
    m_saved = profiles;
    if (!m_dragging)
        m_shown = profiles;
    layoutAddButton();
    updateGeometry();
    update();
    if (order() != before)
        probeSoon();
}

void ProfileDotsView::setActiveProfile(std::optional<QUuid> id)
{
    if (m_active == id)
        return;
    m_active = id;
    update();
}

QList<QUuid> ProfileDotsView::order() const
{
    return idsOf(m_shown);
}

QRect ProfileDotsView::dotRect(int index) const
{
    return QRect(margin + index * (dotSize + spacing), margin, dotSize, dotSize);
}

QRect ProfileDotsView::dotRect(const QUuid &id) const
{
    const int index = int(order().indexOf(id));
    return index < 0 ? QRect() : dotRect(index);
}

int ProfileDotsView::indexAt(const QPoint &at) const
{
    for (int i = 0; i < m_shown.size(); ++i) {
        // The whole column of a dot, marks included, so that a drop just below it still lands.
        const QRect column = dotRect(i).adjusted(-spacing / 2, -margin, spacing / 2, markSize + 2 * margin);
        if (column.contains(at))
            return i;
    }
    return -1;
}

std::shared_ptr<Profile> ProfileDotsView::profileAt(int index) const
{
    return index >= 0 && index < m_shown.size() ? m_shown[index] : nullptr;
}

QSize ProfileDotsView::sizeHint() const
{
    const int width = 2 * margin + int(m_shown.size()) * (dotSize + spacing) + (m_actions ? dotSize + 4 : 0);
    return QSize(width, 2 * margin + dotSize + 3 + markSize);
}

void ProfileDotsView::layoutAddButton()
{
    const QRect after = dotRect(int(m_shown.size()));
    m_add->move(after.left() - 2, after.top() - 2);
}

void ProfileDotsView::probeSoon()
{
    // After the strip is on screen and never in the way of showing it: the checks only start
    // child processes, and their answers come back later.
    QTimer::singleShot(0, this, [this] {
        if (m_actions && m_actions->monitor() && isVisible())
            m_actions->monitor()->probeAll(m_saved);
    });
}

void ProfileDotsView::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    probeSoon();
}

void ProfileDotsView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    ProfileAuthMonitor *monitor = m_actions ? m_actions->monitor() : nullptr;
    for (int i = 0; i < m_shown.size(); ++i) {
        const Profile &profile = *m_shown[i];
        const QRectF dot = QRectF(dotRect(i)).adjusted(2, 2, -2, -2);
        const QColor color = profile.colorHex ? QColor(*profile.colorHex) : palette().color(QPalette::Mid);
        if (m_active == profile.id) {
            painter.setPen(QPen(palette().color(QPalette::Highlight), 2));
            painter.setBrush(Qt::NoBrush);
            painter.drawEllipse(QRectF(dotRect(i)).adjusted(0.5, 0.5, -0.5, -0.5));
        }
        painter.setPen(Qt::NoPen);
        painter.setBrush(m_dragging == profile.id ? color.lighter(140) : color);
        painter.drawEllipse(dot);
        if (profile.iconName && !profile.iconName->isEmpty()) {
            painter.setPen(Qt::white);
            QFont small = font();
            small.setPixelSize(9);
            small.setBold(true);
            painter.setFont(small);
            painter.drawText(dot, Qt::AlignCenter, profile.iconName->left(1).toUpper());
        }
        // Claude's mark on the left, ChatGPT's on the right, under the dot.
        const AuthState states[2] = {monitor ? monitor->state(profile.id) : AuthState(),
                                     monitor ? monitor->codexState(profile.id) : AuthState()};
        for (int agent = 0; agent < 2; ++agent) {
            const QRectF mark(dotRect(i).center().x() - markSize - 1 + agent * (markSize + 2), dotRect(i).bottom() + 3,
                              markSize, markSize);
            const QColor tone = markColor(states[agent], palette());
            if (states[agent].kind == AuthState::Kind::signedIn || states[agent].kind == AuthState::Kind::error
                || states[agent].kind == AuthState::Kind::probing) {
                painter.setPen(Qt::NoPen);
                painter.setBrush(tone);
            } else {
                painter.setPen(QPen(tone, 1));
                painter.setBrush(Qt::NoBrush);
            }
            painter.drawEllipse(mark.adjusted(0.5, 0.5, -0.5, -0.5));
        }
    }
}

bool ProfileDotsView::event(QEvent *event)
{
    if (event->type() == QEvent::ToolTip) {
        auto *help = static_cast<QHelpEvent *>(event);
        if (const auto profile = profileAt(indexAt(help->pos())))
            QToolTip::showText(help->globalPos(), profile->name, this, dotRect(int(m_shown.indexOf(profile))));
        else
            QToolTip::hideText();
        return true;
    }
    return QWidget::event(event);
}

void ProfileDotsView::mousePressEvent(QMouseEvent *event)
{
    m_pressed = event->button() == Qt::LeftButton ? indexAt(event->position().toPoint()) : -1;
    m_pressAt = event->position().toPoint();
    QWidget::mousePressEvent(event);
}

void ProfileDotsView::mouseMoveEvent(QMouseEvent *event)
{
    const auto profile = profileAt(m_pressed);
    if (!profile || !m_actions || !(event->buttons() & Qt::LeftButton)
        || (event->position().toPoint() - m_pressAt).manhattanLength() < QApplication::startDragDistance())
        return;
    m_pressed = -1;
    m_dragging = profile->id;
    auto *data = new QMimeData;
    data->setText(QString::fromLatin1(profileDragPrefix) + profile->id.toString(QUuid::WithoutBraces).toUpper());
    auto *drag = new QDrag(this);
    drag->setMimeData(data);
    drag->exec(Qt::MoveAction);
    // Dropped elsewhere or cancelled: the strip goes back to the saved order.
    if (m_dragging) {
        m_dragging.reset();
        m_shown = m_saved;
        update();
    }
}

void ProfileDotsView::mouseReleaseEvent(QMouseEvent *event)
{
    const int released = indexAt(event->position().toPoint());
    if (m_pressed >= 0 && released == m_pressed)
        if (const auto profile = profileAt(released))
            emit profileActivated(profile->id);
    m_pressed = -1;
    QWidget::mouseReleaseEvent(event);
}

QMenu *ProfileDotsView::menuFor(const QUuid &id, QWidget *owner)
{
    const int index = int(order().indexOf(id));
    if (!m_actions || index < 0)
        return nullptr;
    return m_actions->menu(m_shown[index], owner);
}

void ProfileDotsView::contextMenuEvent(QContextMenuEvent *event)
{
    const auto profile = profileAt(indexAt(event->pos()));
    if (!profile)
        return;
    QMenu *menu = menuFor(profile->id, this);
    if (!menu)
        return;
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->popup(event->globalPos());
}

std::optional<QUuid> ProfileDotsView::draggedProfile(const QString &text) const
{
    if (!text.startsWith(QLatin1String(profileDragPrefix)))
        return std::nullopt;
    const QUuid id = QUuid::fromString(text.mid(int(qstrlen(profileDragPrefix))).trimmed());
    if (id.isNull() || !order().contains(id))
        return std::nullopt;
    return id;
}

void ProfileDotsView::dragEnterEvent(QDragEnterEvent *event)
{
    const QString text = event->mimeData()->hasText() ? event->mimeData()->text() : QString();
    const bool profile = draggedProfile(text).has_value();
    const bool project = !text.startsWith(QLatin1String(profileDragPrefix)) && !QUuid::fromString(text.trimmed()).isNull();
    if (m_actions && (profile || project))
        event->acceptProposedAction();
}

void ProfileDotsView::dragMoveEvent(QDragMoveEvent *event)
{
    const QString text = event->mimeData()->text();
    const int over = indexAt(event->position().toPoint());
    if (const auto id = draggedProfile(text)) {
        m_dragging = id;
        const int from = int(order().indexOf(*id));
        if (over >= 0 && over != from) {
            m_shown.move(from, over);
            update();
        }
        event->acceptProposedAction();
        return;
    }
    if (over >= 0)
        event->acceptProposedAction();
    else
        event->ignore();
}

void ProfileDotsView::dragLeaveEvent(QDragLeaveEvent *event)
{
    QWidget::dragLeaveEvent(event);
}

void ProfileDotsView::dropEvent(QDropEvent *event)
{
    if (!m_actions)
        return event->ignore();
    const QString text = event->mimeData()->text();
    if (draggedProfile(text)) {
        m_dragging.reset();
        // One save for the whole drag, however many dots it passed.
        if (order() != idsOf(m_saved)) {
            m_saved = m_shown;
            if (Status saved = m_actions->profiles().reorderProfiles(m_shown); !saved)
                emit m_actions->failed(saved.error().message);
        }
        update();
        return event->acceptProposedAction();
    }
    const auto target = profileAt(indexAt(event->position().toPoint()));
    const QUuid projectId = QUuid::fromString(text.trimmed());
    if (!target || projectId.isNull())
        return event->ignore();
    emit projectDropped(projectId, target->id);
    event->acceptProposedAction();
}

} // namespace corvane
