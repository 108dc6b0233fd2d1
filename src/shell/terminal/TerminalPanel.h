#pragma once

#include <QHash>
#include <QUuid>
#include <QWidget>

class QListWidget;
class QStackedWidget;
class QToolButton;

namespace corvane {

class TerminalPanelModel;
class TerminalSession;
class TerminalView;

// A workspace's terminals: the active one, with the list of sessions beside it ("+" adds one,
// the close button or the list's menu ends one). Views are made per session and kept, so
// switching tabs keeps each scroll position.
class TerminalPanel : public QWidget
{
    Q_OBJECT

public:
    explicit TerminalPanel(TerminalPanelModel &model, QWidget *parent = nullptr);

    TerminalPanelModel &model() const { return m_model; }
    TerminalView *activeView() const;
    QListWidget *sessionList() const { return m_list; }
    QToolButton *addButton() const { return m_add; }
    QToolButton *closeButton() const { return m_close; }
    void setDark(bool dark);
    void setTextScale(double scale);

private:
    void rebuild();
    TerminalView *viewFor(TerminalSession *session);

    TerminalPanelModel &m_model;
    QStackedWidget *m_stack;
    QListWidget *m_list;
    QToolButton *m_add;
    QToolButton *m_close;
    QHash<QUuid, TerminalView *> m_views;
    bool m_dark = false;
    double m_scale = 1.0;
};

} // namespace corvane
