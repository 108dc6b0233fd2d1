#pragma once

#include "core/window/PinnedTool.h"
#include "shell/window/WorkspaceTabBar.h"

#include <QHash>
#include <QPointer>
#include <QStackedWidget>
#include <QUuid>

#include <functional>
#include <optional>

class QBoxLayout;
class QLabel;
class QScrollArea;
class QSplitter;
class QVBoxLayout;

namespace corvane {

// Makes the widget that shows one chat; the window owns what it returns.
using ChatViewFactory = std::function<QWidget *(const QUuid &chatId)>;
// Makes the page of a tool, or null for a tool that has none yet; made once and kept.
using ToolPageFactory = std::function<QWidget *(const QString &toolId)>;

// The content column: one page at a time, for the empty state, a project, a workspace with its
// tab bar of chats, a chat on its own, or a tool. The chat itself is drawn by the widget the
// factory makes; without a factory a placeholder names the chat.
class ContentArea : public QStackedWidget
{
    Q_OBJECT

public:
    explicit ContentArea(QWidget *parent = nullptr);

    void setChatViewFactory(ChatViewFactory factory);
    void setToolPageFactory(ToolPageFactory factory) { m_toolFactory = std::move(factory); }
    // A strip over a workspace's chats, under its tab bar (the automation run's banner).
    void setWorkspaceBanner(QWidget *banner);

    // A widget at the chat's end of the header, beside a workspace's tab bar or over a chat shown
    // on its own (the branch switch).
    void setChatHeaderWidget(QWidget *widget);

    // The shown workspace's terminal panel under its chats, `height` high when it appears; null
    // hides the terminal. Panels are kept once given, so a workspace's shells keep their views.
    void setTerminalPanel(QWidget *panel, int height);
    QWidget *terminalPanel() const;
    // A file editor of the shown workspace in front of its chats; null puts the chat back in
    // front. Editors are kept once given, so each keeps its documents and their undo history.
    void setFileEditor(QWidget *editor);
    QWidget *fileEditor() const;

    void showEmpty();
    void showProject(const QString &name, const QString &path);
    // The page that stands for a project from now on, in place of its name and folder.
    void setProjectPage(QWidget *page);
    bool isShowingProject() const { return currentWidget() == m_projectPage; }
    void showWorkspace(const QString &name, const QList<WorkspaceTabBar::Tab> &tabs, std::optional<QUuid> chatId,
                       const QString &chatTitle);
    void showChat(const QUuid &chatId, const QString &title);
    // The tool's own page when it has one, else its name and description. Returns that page.
    QWidget *showTool(const PinnedTool &tool);

    WorkspaceTabBar *tabBar() const { return m_tabBar; }
    // The widget that shows the current chat, or null.
    QWidget *chatView() const { return m_chatView; }
    std::optional<QUuid> chatViewId() const { return m_chatViewId; }

signals:
    void addProjectRequested();
    // The user dragged the terminal's edge.
    void terminalHeightChanged(int height);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QWidget *page(const QString &name);
    void placeChatView(QVBoxLayout *host, std::optional<QUuid> chatId, const QString &title);
    void placeHeaderWidget(QBoxLayout *row);

    ChatViewFactory m_factory;
    ToolPageFactory m_toolFactory;
    QHash<QString, QWidget *> m_toolPages;
    QWidget *m_emptyPage;
    QWidget *m_projectPage;
    QWidget *m_workspacePage;
    QWidget *m_chatPage;
    QWidget *m_toolPage;
    QLabel *m_projectTitle;
    QLabel *m_projectPath;
    QLabel *m_toolTitle;
    QLabel *m_toolDescription;
    WorkspaceTabBar *m_tabBar;
    QScrollArea *m_tabScroller;
    QVBoxLayout *m_workspaceHost;
    QSplitter *m_workspaceSplit = nullptr;
    QStackedWidget *m_terminals = nullptr;
    QStackedWidget *m_editors = nullptr;
    QVBoxLayout *m_workspaceColumn = nullptr;
    QVBoxLayout *m_chatHost;
    QBoxLayout *m_workspaceHeader = nullptr;
    QBoxLayout *m_chatHeader = nullptr;
    QPointer<QWidget> m_headerWidget;
    QBoxLayout *m_headerRow = nullptr;
    QPointer<QWidget> m_chatView;
    std::optional<QUuid> m_chatViewId;
};

} // namespace corvane
