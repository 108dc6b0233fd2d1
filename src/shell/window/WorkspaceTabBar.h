#pragma once

#include <QList>
#include <QRectF>
#include <QUuid>
#include <QWidget>

#include <optional>

namespace corvane {

// One row of pills, one per open chat of the shown workspace, and a button that adds a chat.
// The geometry comes from tabBar::pillRects; a click only reports which pill it hit.
class WorkspaceTabBar : public QWidget
{
    Q_OBJECT

public:
    struct Tab
    {
        QUuid chatId;
        QString title;
        QString activity; // the raw activity state; empty or "idle" draws no dot
    };

    explicit WorkspaceTabBar(QWidget *parent = nullptr);

    void setTabs(const QList<Tab> &tabs, std::optional<QUuid> selectedChatId);
    void setActivity(const QUuid &chatId, const QString &activity);
    const QList<Tab> &tabs() const { return m_tabs; }
    std::optional<QUuid> selectedChatId() const { return m_selected; }

    // Where each pill and the add button are drawn, in widget coordinates.
    QList<QRectF> pillRects() const;
    QRectF addButtonRect() const;

    QSize sizeHint() const override;
    // The width the pills share: the visible width of the scroll area around the bar, else the
    // bar's own. Pills that do not fit make the bar wider than that, and it scrolls.
    void setLayoutWidth(int width);

signals:
    void chatSelected(const QUuid &chatId);
    void addChatRequested();

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;

private:
    void updateExtent();

    QList<Tab> m_tabs;
    int m_layoutWidth = -1;
    std::optional<QUuid> m_selected;
};

} // namespace corvane
