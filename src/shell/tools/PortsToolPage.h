#pragma once

#include "tools/ports/PortListing.h"

#include <QWidget>

#include <functional>

class QLabel;
class QStackedWidget;
class QVBoxLayout;

namespace corvane {

class PortService;

// The Ports tool: the listening ports of the projects, grouped by project, each with a Stop
// button. While the page shows it is a viewer of the shared service, which polls for it.
class PortsToolPage : public QWidget
{
    Q_OBJECT

public:
    using ScopeSource = std::function<QList<ProjectScope>()>;
    // Asked before a process is stopped, with the question; true goes ahead.
    using Confirm = std::function<bool(const QString &question)>;

    PortsToolPage(PortService &service, ScopeSource scopes, QWidget *parent = nullptr);
    ~PortsToolPage() override;

    void setConfirm(Confirm confirm) { m_confirm = std::move(confirm); }

protected:
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void update();
    void rebuildRows();
    QWidget *row(const PortInfo &port);
    void stop(const PortInfo &port);

    PortService &m_service;
    ScopeSource m_scopes;
    Confirm m_confirm;
    QList<PortInfo> m_shown;
    bool m_rowsBuilt = false;
    QLabel *m_error;
    QStackedWidget *m_states;
    QWidget *m_scanning;
    QWidget *m_empty;
    QWidget *m_list;
    QVBoxLayout *m_groups;
};

} // namespace corvane
