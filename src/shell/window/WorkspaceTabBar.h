#pragma once

#include <QList>
#include <QRectF>
#include <QUuid>
#include <QWidget>

#include <optional>

class QPainter;

namespace corvane {

// One row of pills: one per open chat of the shown workspace, then one per open file, and a
// button that adds a chat. The geometry comes from tabBar::pillRects; a click only reports which
// pill it hit. A file pill carries a close button, drawn as a dot while the file has unsaved
// changes (and as the cross again under the pointer).
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

    struct FileTab
    {
        QString path;
        QString title;
        bool dirty = false;
    };

    explicit WorkspaceTabBar(QWidget *parent = nullptr);

    void setTabs(const QList<Tab> &tabs, std::optional<QUuid> selectedChatId);
    // The open files; with `frontPath` that file's editor is in front, and its pill is the
    // selected one instead of the chat's.
    void setFiles(const QList<FileTab> &files, const std::optional<QString> &frontPath);
    const QList<FileTab> &files() const { return m_files; }
    std::optional<QString> frontFile() const { return m_frontFile; }
    void setActivity(const QUuid &chatId, const QString &activity);
    const QList<Tab> &tabs() const { return m_tabs; }
    std::optional<QUuid> selectedChatId() const { return m_selected; }

    // Where each pill and the add button are drawn, in widget coordinates.
    QList<QRectF> pillRects() const;
    QRectF addButtonRect() const;
    // The close button of the file pill at `fileIndex`.
    QRectF closeButtonRect(int fileIndex) const;

    QSize sizeHint() const override;
    // The width the pills share: the visible width of the scroll area around the bar, else the
    // bar's own. Pills that do not fit make the bar wider than that, and it scrolls.
    void setLayoutWidth(int width);

signals:
    void chatSelected(const QUuid &chatId);
    void addChatRequested();
    void fileSelected(const QString &path);
    void fileCloseRequested(const QString &path);
    // A chat's pill was right-clicked; the menu is the caller's to show at `globalPos`.
    void chatMenuRequested(const QUuid &chatId, const QPoint &globalPos);

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;

private:
    void updateExtent();

    void paintPill(QPainter &painter, const QRectF &rect, bool selected) const;

    QList<Tab> m_tabs;
    QList<FileTab> m_files;
    std::optional<QString> m_frontFile;
    int m_hoveredClose = -1;
    int m_layoutWidth = -1;
    std::optional<QUuid> m_selected;
};

} // namespace corvane
