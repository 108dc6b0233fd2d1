#include "shell/window/ContentArea.h"

#include <QLabel>
#include <QEvent>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSplitter>
#include <QVBoxLayout>

namespace corvane {

namespace {

QLabel *title(const QString &text, int pointDelta = 6)
{
    auto *label = new QLabel(text);
    QFont font = label->font();
    font.setPointSize(font.pointSize() + pointDelta);
    font.setBold(true);
    label->setFont(font);
    label->setAlignment(Qt::AlignCenter);
    label->setWordWrap(true);
    return label;
}

QLabel *quiet(const QString &text = {})
{
    auto *label = new QLabel(text);
    label->setAlignment(Qt::AlignCenter);
    label->setWordWrap(true);
    label->setEnabled(false);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

} // namespace

ContentArea::ContentArea(QWidget *parent)
    : QStackedWidget(parent), m_emptyPage(page(QStringLiteral("emptyState"))),
      m_projectPage(page(QStringLiteral("projectPage"))), m_workspacePage(page(QStringLiteral("workspacePage"))),
      m_chatPage(page(QStringLiteral("chatPage"))), m_toolPage(page(QStringLiteral("toolPage"))),
      m_projectTitle(title({})), m_projectPath(quiet()), m_toolTitle(title({})), m_toolDescription(quiet()),
      m_tabBar(new WorkspaceTabBar), m_tabScroller(new QScrollArea), m_workspaceHost(new QVBoxLayout), m_chatHost(new QVBoxLayout)
{
    setObjectName(QStringLiteral("content"));
    setMinimumWidth(400);
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::Base);

    auto *empty = new QVBoxLayout(m_emptyPage);
    empty->addStretch();
    empty->addWidget(title(tr("Nothing selected")));
    empty->addWidget(quiet(tr("Pick a workspace or a chat in the sidebar, or add a project folder.")));
    auto *add = new QPushButton(tr("Add Project"));
    add->setObjectName(QStringLiteral("emptyAddProjectButton"));
    connect(add, &QPushButton::clicked, this, &ContentArea::addProjectRequested);
    empty->addWidget(add, 0, Qt::AlignHCenter);
    empty->addStretch();

    auto *project = new QVBoxLayout(m_projectPage);
    project->addStretch();
    project->addWidget(m_projectTitle);
    project->addWidget(m_projectPath);
    project->addStretch();

    auto *workspace = m_workspaceColumn = new QVBoxLayout(m_workspacePage);
    workspace->setContentsMargins(0, 0, 0, 0);
    workspace->setSpacing(0);
    // Many chats make the row wider than the column; it scrolls sideways, the + stays reachable.
    m_tabScroller->setObjectName(QStringLiteral("tabScroller"));
    m_tabScroller->setFrameShape(QFrame::NoFrame);
    m_tabScroller->setWidgetResizable(true);
    m_tabScroller->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_tabScroller->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    m_tabScroller->setWidget(m_tabBar);
    m_tabScroller->setFixedHeight(m_tabBar->height() + m_tabScroller->horizontalScrollBar()->sizeHint().height());
    m_tabScroller->viewport()->installEventFilter(this);
    m_workspaceHeader = new QHBoxLayout;
    m_workspaceHeader->setContentsMargins(0, 0, 8, 0);
    m_workspaceHeader->addWidget(m_tabScroller, 1);
    workspace->addLayout(m_workspaceHeader);
    // The chats above, the workspace's terminal panel below when it shows one.
    m_workspaceSplit = new QSplitter(Qt::Vertical);
    m_workspaceSplit->setObjectName(QStringLiteral("workspaceSplit"));
    m_workspaceSplit->setChildrenCollapsible(false);
    auto *chats = new QWidget;
    m_workspaceHost->setContentsMargins(0, 0, 0, 0);
    chats->setLayout(m_workspaceHost);
    m_terminals = new QStackedWidget;
    m_terminals->setObjectName(QStringLiteral("terminalSlot"));
    m_terminals->setMinimumHeight(80);
    m_terminals->hide();
    m_workspaceSplit->addWidget(chats);
    m_workspaceSplit->addWidget(m_terminals);
    m_workspaceSplit->setStretchFactor(0, 1);
    connect(m_workspaceSplit, &QSplitter::splitterMoved, this, [this] {
        if (m_terminals->isVisible())
            emit terminalHeightChanged(m_terminals->height());
    });
    workspace->addWidget(m_workspaceSplit, 1);

    m_chatHost->setContentsMargins(0, 0, 0, 0);
    auto *chat = new QVBoxLayout(m_chatPage);
    chat->setContentsMargins(0, 0, 0, 0);
    m_chatHeader = new QHBoxLayout;
    m_chatHeader->setContentsMargins(8, 4, 8, 0);
    m_chatHeader->addStretch();
    chat->addLayout(m_chatHeader);
    chat->addLayout(m_chatHost, 1);

    auto *tool = new QVBoxLayout(m_toolPage);
    tool->addStretch();
    tool->addWidget(m_toolTitle);
    tool->addWidget(m_toolDescription);
    tool->addStretch();

    setCurrentWidget(m_emptyPage);
}

bool ContentArea::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_tabScroller->viewport() && event->type() == QEvent::Resize)
        m_tabBar->setLayoutWidth(m_tabScroller->viewport()->width());
    return QStackedWidget::eventFilter(watched, event);
}

QWidget *ContentArea::page(const QString &name)
{
    auto *widget = new QWidget;
    widget->setObjectName(name);
    addWidget(widget);
    return widget;
}

void ContentArea::setTerminalPanel(QWidget *panel, int height)
{
    if (!panel) {
        m_terminals->hide();
        return;
    }
    if (m_terminals->indexOf(panel) < 0)
        m_terminals->addWidget(panel);
    const bool wasHidden = m_terminals->isHidden() || m_terminals->currentWidget() != panel;
    m_terminals->setCurrentWidget(panel);
    m_terminals->show();
    if (wasHidden) {
        const int total = qMax(m_workspaceSplit->height(), height + 200);
        m_workspaceSplit->setSizes({total - height, height});
    }
}

QWidget *ContentArea::terminalPanel() const
{
    return m_terminals->isVisible() ? m_terminals->currentWidget() : nullptr;
}

void ContentArea::setWorkspaceBanner(QWidget *banner)
{
    m_workspaceColumn->insertWidget(1, banner);
}

void ContentArea::setChatHeaderWidget(QWidget *widget)
{
    m_headerWidget = widget;
    m_headerRow = nullptr;
    placeHeaderWidget(currentWidget() == m_chatPage ? m_chatHeader : m_workspaceHeader);
}

void ContentArea::placeHeaderWidget(QBoxLayout *row)
{
    if (!m_headerWidget || row == m_headerRow)
        return;
    if (m_headerRow)
        m_headerRow->removeWidget(m_headerWidget);
    m_headerRow = row;
    row->addWidget(m_headerWidget);
}

void ContentArea::setChatViewFactory(ChatViewFactory factory)
{
    m_factory = std::move(factory);
    // The chat on show is drawn again by the new factory.
    if (m_chatViewId) {
        delete m_chatView;
        m_chatViewId.reset();
    }
}

void ContentArea::setFileEditor(QWidget *editor)
{
    if (!m_editors) {
        m_editors = new QStackedWidget;
        m_editors->setObjectName(QStringLiteral("fileEditors"));
        m_workspaceHost->insertWidget(0, m_editors, 1);
    }
    if (editor) {
        if (m_editors->indexOf(editor) < 0)
            m_editors->addWidget(editor);
        m_editors->setCurrentWidget(editor);
    }
    m_editors->setVisible(editor != nullptr);
    if (m_chatView && m_chatView->parentWidget() == m_workspaceHost->parentWidget())
        m_chatView->setVisible(editor == nullptr);
}

QWidget *ContentArea::fileEditor() const
{
    return m_editors && !m_editors->isHidden() ? m_editors->currentWidget() : nullptr;
}

void ContentArea::placeChatView(QVBoxLayout *host, std::optional<QUuid> chatId, const QString &title)
{
    if (m_chatView && m_chatViewId == chatId && m_chatView->parentWidget() == host->parentWidget())
        return;
    delete m_chatView;
    m_chatViewId = chatId;
    if (!chatId) {
        auto *none = quiet(tr("This workspace has no open chats. Add one with the + button."));
        m_chatView = none;
    } else if (QWidget *made = m_factory ? m_factory(*chatId) : nullptr) {
        m_chatView = made;
    } else {
        auto *placeholder = quiet(title);
        placeholder->setObjectName(QStringLiteral("chatPlaceholder"));
        m_chatView = placeholder;
    }
    host->addWidget(m_chatView, 1);
    // Shown now rather than at the layout's next pass, so that it can take focus at once.
    m_chatView->show();
}

void ContentArea::showEmpty()
{
    delete m_chatView;
    m_chatViewId.reset();
    setCurrentWidget(m_emptyPage);
}

void ContentArea::showProject(const QString &name, const QString &path)
{
    delete m_chatView;
    m_chatViewId.reset();
    m_projectTitle->setText(name);
    m_projectPath->setText(path);
    setCurrentWidget(m_projectPage);
}

void ContentArea::setProjectPage(QWidget *page)
{
    auto *layout = static_cast<QVBoxLayout *>(m_projectPage->layout());
    while (QLayoutItem *item = layout->takeAt(0))
        delete item; // the stretches; the name and folder labels stay, hidden
    m_projectTitle->hide();
    m_projectPath->hide();
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(page);
}

void ContentArea::showWorkspace(const QString &, const QList<WorkspaceTabBar::Tab> &tabs,
                                std::optional<QUuid> chatId, const QString &chatTitle)
{
    m_tabBar->setTabs(tabs, chatId);
    placeChatView(m_workspaceHost, chatId, chatTitle);
    placeHeaderWidget(m_workspaceHeader);
    setCurrentWidget(m_workspacePage);
}

void ContentArea::showChat(const QUuid &chatId, const QString &title)
{
    placeChatView(m_chatHost, chatId, title);
    placeHeaderWidget(m_chatHeader);
    setCurrentWidget(m_chatPage);
}

QWidget *ContentArea::showTool(const PinnedTool &tool)
{
    delete m_chatView;
    m_chatViewId.reset();
    QWidget *page = m_toolPages.value(tool.id);
    if (!page && m_toolFactory && (page = m_toolFactory(tool.id))) {
        m_toolPages.insert(tool.id, page);
        addWidget(page);
    }
    if (page) {
        setCurrentWidget(page);
        return page;
    }
    m_toolTitle->setText(tool.name);
    m_toolDescription->setText(tool.description);
    setCurrentWidget(m_toolPage);
    return nullptr;
}

} // namespace corvane
