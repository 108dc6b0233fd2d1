#include "shell/terminal/TerminalPanel.h"

#include "shell/terminal/TerminalView.h"
#include "tools/terminal/TerminalPanelModel.h"
#include "tools/terminal/TerminalSession.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QListWidget>
#include <QMenu>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>

namespace corvane {

TerminalPanel::TerminalPanel(TerminalPanelModel &model, QWidget *parent)
    : QWidget(parent), m_model(model), m_stack(new QStackedWidget), m_list(new QListWidget), m_add(new QToolButton),
      m_close(new QToolButton)
{
    setObjectName(QStringLiteral("terminalPanel"));
    m_dark = QApplication::palette().color(QPalette::Window).lightness() < 128;
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_stack, 1);

    auto *side = new QWidget;
    side->setFixedWidth(150);
    auto *column = new QVBoxLayout(side);
    column->setContentsMargins(4, 4, 4, 4);
    auto *buttons = new QHBoxLayout;
    m_add->setText(QStringLiteral("+"));
    m_add->setToolTip(tr("New Terminal"));
    m_close->setText(QStringLiteral("×"));
    m_close->setToolTip(tr("Close Terminal"));
    buttons->addWidget(m_add);
    buttons->addWidget(m_close);
    buttons->addStretch();
    column->addLayout(buttons);
    m_list->setObjectName(QStringLiteral("terminalSessions"));
    m_list->setContextMenuPolicy(Qt::CustomContextMenu);
    column->addWidget(m_list, 1);
    layout->addWidget(side);

    connect(m_add, &QToolButton::clicked, this, [this] { m_model.newSession(); });
    connect(m_close, &QToolButton::clicked, this, [this] {
        if (TerminalSession *active = m_model.activeSession())
            m_model.closeSession(active->id());
    });
    connect(m_list, &QListWidget::currentRowChanged, this, [this](int row) {
        if (row >= 0 && row < m_model.sessions().size())
            m_model.setActive(m_model.sessions().at(row)->id());
    });
    connect(m_list, &QListWidget::customContextMenuRequested, this, [this](const QPoint &at) {
        const int row = m_list->indexAt(at).row();
        if (row < 0 || row >= m_model.sessions().size())
            return;
        const QUuid id = m_model.sessions().at(row)->id();
        QMenu menu;
        menu.addAction(tr("Stop Processes"), this, [this, id] {
            if (TerminalSession *s = m_model.session(id))
                s->killChildProcesses();
        });
        menu.addAction(tr("Close Terminal"), this, [this, id] { m_model.closeSession(id); });
        menu.exec(m_list->viewport()->mapToGlobal(at));
    });
    // The program is ending and its terminals with it: nothing is left to draw.
    connect(&m_model, &QObject::destroyed, this, &QObject::deleteLater);
    connect(&m_model, &TerminalPanelModel::sessionsChanged, this, &TerminalPanel::rebuild);
    connect(&m_model, &TerminalPanelModel::activeChanged, this, [this](TerminalSession *session) {
        if (!session)
            return;
        TerminalView *view = viewFor(session);
        m_stack->setCurrentWidget(view);
        view->setFocus();
        rebuild();
    });
    rebuild();
    if (TerminalSession *active = m_model.activeSession())
        m_stack->setCurrentWidget(viewFor(active));
}

TerminalView *TerminalPanel::viewFor(TerminalSession *session)
{
    if (TerminalView *existing = m_views.value(session->id()))
        return existing;
    auto *view = new TerminalView(*session);
    view->setDark(m_dark);
    view->setTextScale(m_scale);
    m_views.insert(session->id(), view);
    m_stack->addWidget(view);
    return view;
}

TerminalView *TerminalPanel::activeView() const
{
    TerminalSession *active = m_model.activeSession();
    return active ? m_views.value(active->id()) : nullptr;
}

void TerminalPanel::setTextScale(double scale)
{
    if (qFuzzyCompare(scale, m_scale))
        return;
    m_scale = scale;
    for (TerminalView *view : std::as_const(m_views))
        view->setTextScale(scale);
}

void TerminalPanel::setDark(bool dark)
{
    if (dark == m_dark)
        return;
    m_dark = dark;
    for (TerminalView *view : std::as_const(m_views))
        view->setDark(dark);
}

void TerminalPanel::rebuild()
{
    // Views of sessions that went.
    for (auto it = m_views.begin(); it != m_views.end();) {
        if (!m_model.session(it.key())) {
            it.value()->deleteLater();
            it = m_views.erase(it);
        } else {
            ++it;
        }
    }
    const QSignalBlocker quiet(m_list);
    m_list->clear();
    for (TerminalSession *session : m_model.sessions()) {
        viewFor(session);
        m_list->addItem(session->name());
        if (session == m_model.activeSession())
            m_list->setCurrentRow(m_list->count() - 1);
    }
    m_close->setEnabled(!m_model.sessions().isEmpty());
}

} // namespace corvane
