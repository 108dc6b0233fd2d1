#include "shell/window/WorkspaceTabBar.h"

#include "core/window/TabBarLayout.h"
#include "shell/window/ActivityColors.h"

#include <QMouseEvent>

#include <cmath>
#include <QPainter>
#include <QPainterPath>

namespace corvane {

WorkspaceTabBar::WorkspaceTabBar(QWidget *parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("workspaceTabBar"));
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setFixedHeight(int(tabBar::tabHeight) + 12);
}

QSize WorkspaceTabBar::sizeHint() const
{
    return {400, int(tabBar::tabHeight) + 12};
}

void WorkspaceTabBar::setTabs(const QList<Tab> &tabs, std::optional<QUuid> selectedChatId)
{
    m_tabs = tabs;
    m_selected = selectedChatId;
    updateExtent();
    update();
}

void WorkspaceTabBar::setLayoutWidth(int width)
{
    if (width == m_layoutWidth)
        return;
    m_layoutWidth = width;
    updateExtent();
    update();
}

void WorkspaceTabBar::updateExtent()
{
    const QRectF add = addButtonRect();
    setMinimumWidth(int(std::ceil(add.right() + tabBar::horizontalPadding)));
}

void WorkspaceTabBar::setActivity(const QUuid &chatId, const QString &activity)
{
    for (Tab &tab : m_tabs)
        if (tab.chatId == chatId && tab.activity != activity) {
            tab.activity = activity;
            update();
        }
}

QList<QRectF> WorkspaceTabBar::pillRects() const
{
    return tabBar::pillRects(m_layoutWidth >= 0 ? m_layoutWidth : width(), height(), int(m_tabs.size()));
}

QRectF WorkspaceTabBar::addButtonRect() const
{
    const QList<QRectF> pills = pillRects();
    const double x = pills.isEmpty() ? tabBar::horizontalPadding : pills.last().right() + tabBar::tabSpacing;
    return {x, (height() - tabBar::tabHeight) / 2, tabBar::addButtonWidth, tabBar::tabHeight};
}

void WorkspaceTabBar::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPalette &pal = palette();
    const QList<QRectF> pills = pillRects();
    for (int i = 0; i < pills.size(); ++i) {
        const Tab &tab = m_tabs[i];
        const QRectF rect = pills[i].adjusted(0.5, 0.5, -0.5, -0.5);
        const bool selected = m_selected == tab.chatId;
        QPainterPath path;
        path.addRoundedRect(rect, 8, 8);
        painter.fillPath(path, selected ? pal.color(QPalette::Base) : pal.color(QPalette::Button));
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(selected ? pal.color(QPalette::Highlight) : pal.color(QPalette::Mid), selected ? 1.5 : 1));
        painter.drawPath(path);

        QRectF textRect = rect.adjusted(10, 0, -10, 0);
        if (const auto colour = activityColor(tab.activity)) {
            painter.setPen(Qt::NoPen);
            painter.setBrush(*colour);
            painter.drawEllipse(QPointF(rect.left() + 12, rect.center().y()), 3.5, 3.5);
            textRect.setLeft(textRect.left() + 10);
        }
        painter.setPen(pal.color(selected ? QPalette::Text : QPalette::ButtonText));
        const QString text = fontMetrics().elidedText(tab.title, Qt::ElideRight, int(textRect.width()));
        painter.drawText(textRect, Qt::AlignVCenter | Qt::AlignLeft, text);
    }
    const QRectF add = addButtonRect();
    painter.setPen(pal.color(QPalette::ButtonText));
    painter.drawText(add, Qt::AlignCenter, QStringLiteral("+"));
}

void WorkspaceTabBar::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return QWidget::mousePressEvent(event);
    const QPointF at = event->position();
    if (addButtonRect().contains(at))
        return emit addChatRequested();
    const QList<QRectF> pills = pillRects();
    for (int i = 0; i < pills.size(); ++i)
        if (pills[i].contains(at))
            return emit chatSelected(m_tabs[i].chatId);
}

} // namespace corvane
