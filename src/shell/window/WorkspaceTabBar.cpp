#include "shell/window/WorkspaceTabBar.h"

#include "core/window/TabBarLayout.h"
#include "shell/window/ActivityColors.h"

#include <QContextMenuEvent>
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
    setMouseTracking(true);
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

void WorkspaceTabBar::setFiles(const QList<FileTab> &files, const std::optional<QString> &frontPath)
{
    m_files = files;
    m_frontFile = frontPath;
    m_hoveredClose = -1;
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
    return tabBar::pillRects(m_layoutWidth >= 0 ? m_layoutWidth : width(), height(), int(m_tabs.size() + m_files.size()));
}

QRectF WorkspaceTabBar::closeButtonRect(int fileIndex) const
{
    const QList<QRectF> pills = pillRects();
    const qsizetype at = m_tabs.size() + fileIndex;
    if (fileIndex < 0 || at >= pills.size())
        return {};
    const QRectF pill = pills[at];
    return {pill.right() - 24, pill.top() + 4, 20, pill.height() - 8};
}

QRectF WorkspaceTabBar::addButtonRect() const
{
    const QList<QRectF> pills = pillRects();
    const double x = pills.isEmpty() ? tabBar::horizontalPadding : pills.last().right() + tabBar::tabSpacing;
    return {x, (height() - tabBar::tabHeight) / 2, tabBar::addButtonWidth, tabBar::tabHeight};
}

void WorkspaceTabBar::paintPill(QPainter &painter, const QRectF &rect, bool selected) const
{
    const QPalette &pal = palette();
    QPainterPath path;
    path.addRoundedRect(rect, 8, 8);
    painter.fillPath(path, selected ? pal.color(QPalette::Base) : pal.color(QPalette::Button));
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(selected ? pal.color(QPalette::Highlight) : pal.color(QPalette::Mid), selected ? 1.5 : 1));
    painter.drawPath(path);
}

void WorkspaceTabBar::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPalette &pal = palette();
    const QList<QRectF> pills = pillRects();
    for (int i = 0; i < pills.size() && i < m_tabs.size(); ++i) {
        const Tab &tab = m_tabs[i];
        const QRectF rect = pills[i].adjusted(0.5, 0.5, -0.5, -0.5);
        const bool selected = !m_frontFile && m_selected == tab.chatId;
        paintPill(painter, rect, selected);
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
    for (int f = 0; f < m_files.size() && m_tabs.size() + f < pills.size(); ++f) {
        const FileTab &file = m_files[f];
        const QRectF rect = pills[m_tabs.size() + f].adjusted(0.5, 0.5, -0.5, -0.5);
        const bool selected = m_frontFile == file.path;
        paintPill(painter, rect, selected);
        const QRectF close = closeButtonRect(f);
        const QRectF textRect(rect.left() + 10, rect.top(), close.left() - rect.left() - 12, rect.height());
        painter.setPen(pal.color(selected ? QPalette::Text : QPalette::ButtonText));
        QFont italic = font();
        italic.setItalic(true); // files read apart from chats at a glance
        painter.setFont(italic);
        painter.drawText(textRect, Qt::AlignVCenter | Qt::AlignLeft,
                         QFontMetrics(italic).elidedText(file.title, Qt::ElideMiddle, int(textRect.width())));
        painter.setFont(font());
        if (file.dirty && m_hoveredClose != f) {
            painter.setPen(Qt::NoPen);
            painter.setBrush(pal.color(QPalette::ButtonText));
            painter.drawEllipse(close.center(), 3.5, 3.5);
        } else {
            if (m_hoveredClose == f) {
                QPainterPath hover;
                hover.addRoundedRect(close, 4, 4);
                painter.fillPath(hover, pal.color(QPalette::Midlight));
            }
            painter.setPen(QPen(pal.color(QPalette::ButtonText), 1.2));
            const QPointF c = close.center();
            painter.drawLine(c + QPointF(-3.5, -3.5), c + QPointF(3.5, 3.5));
            painter.drawLine(c + QPointF(-3.5, 3.5), c + QPointF(3.5, -3.5));
        }
    }
    const QRectF add = addButtonRect();
    painter.setPen(pal.color(QPalette::ButtonText));
    painter.drawText(add, Qt::AlignCenter, QStringLiteral("+"));
}

void WorkspaceTabBar::mousePressEvent(QMouseEvent *event)
{
    const QPointF at = event->position();
    const QList<QRectF> pills = pillRects();
    if (event->button() == Qt::MiddleButton) {
        // As in a browser, the middle button closes a file's pill.
        for (int f = 0; f < m_files.size() && m_tabs.size() + f < pills.size(); ++f)
            if (pills[m_tabs.size() + f].contains(at))
                return emit fileCloseRequested(m_files[f].path);
        return QWidget::mousePressEvent(event);
    }
    if (event->button() != Qt::LeftButton)
        return QWidget::mousePressEvent(event);
    if (addButtonRect().contains(at))
        return emit addChatRequested();
    for (int i = 0; i < pills.size(); ++i) {
        if (!pills[i].contains(at))
            continue;
        if (i < m_tabs.size())
            return emit chatSelected(m_tabs[i].chatId);
        const int f = int(i - m_tabs.size());
        if (closeButtonRect(f).contains(at))
            return emit fileCloseRequested(m_files[f].path);
        return emit fileSelected(m_files[f].path);
    }
}

void WorkspaceTabBar::mouseMoveEvent(QMouseEvent *event)
{
    int hovered = -1;
    for (int f = 0; f < m_files.size(); ++f)
        if (closeButtonRect(f).contains(event->position()))
            hovered = f;
    if (hovered != m_hoveredClose) {
        m_hoveredClose = hovered;
        update();
    }
    QWidget::mouseMoveEvent(event);
}

void WorkspaceTabBar::contextMenuEvent(QContextMenuEvent *event)
{
    const QList<QRectF> pills = pillRects();
    for (int i = 0; i < pills.size() && i < m_tabs.size(); ++i)
        if (pills[i].contains(event->pos()))
            return emit chatMenuRequested(m_tabs[i].chatId, event->globalPos());
    QWidget::contextMenuEvent(event);
}

void WorkspaceTabBar::leaveEvent(QEvent *event)
{
    if (m_hoveredClose != -1) {
        m_hoveredClose = -1;
        update();
    }
    QWidget::leaveEvent(event);
}

} // namespace corvane
