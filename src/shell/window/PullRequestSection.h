#pragma once

#include <QUuid>
#include <QWidget>

#include <functional>
#include <optional>

class QLabel;
class QPushButton;

namespace corvane {

class AppSettings;
class InlineAgentRunner;
class StoreContext;

// The inspector's pull-request section for the shown workspace: its linked pull request (state,
// title, a warning when its head is another branch) with Open, Refresh and Disconnect, or the
// ways to create one or connect an existing one. A linked one is read again every two minutes,
// quietly, while the setting allows.
class PullRequestSection : public QWidget
{
    Q_OBJECT

public:
    PullRequestSection(StoreContext &context, AppSettings &settings, InlineAgentRunner &runner, QWidget *parent = nullptr);

    void showWorkspace(const std::optional<QUuid> &workspaceId, const std::optional<QString> &directory);
    // Reads the linked pull request from GitHub; `silent` keeps a failure out of sight.
    void refresh(bool silent);

    QLabel *stateLine() const { return m_state; }
    QLabel *errorLine() const { return m_error; }
    QPushButton *createButton() const { return m_create; }
    QPushButton *connectButton() const { return m_connect; }
    QPushButton *refreshButton() const { return m_refresh; }
    QPushButton *disconnectButton() const { return m_disconnect; }

signals:
    // The workspace's fields changed (linked, refreshed, disconnected).
    void workspaceChanged();

private:
    void redraw();
    void openCreateDialog();
    void openConnectDialog();

    StoreContext &m_context;
    AppSettings &m_settings;
    InlineAgentRunner &m_runner;
    std::optional<QUuid> m_workspaceId;
    std::optional<QString> m_directory;
    bool m_refreshing = false;
    QLabel *m_state;
    QLabel *m_warning;
    QLabel *m_error;
    QPushButton *m_create;
    QPushButton *m_connect;
    QPushButton *m_open;
    QPushButton *m_refresh;
    QPushButton *m_disconnect;
};

} // namespace corvane
