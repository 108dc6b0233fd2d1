#pragma once

#include <QWidget>

class QLabel;
class QVBoxLayout;

namespace corvane {

class TerminalService;

// The Terminal tool: every terminal of every workspace, oldest first, whether something runs in
// it, with Open (its workspace) and Stop. Read again every ten seconds while the page shows.
class TerminalsToolPage : public QWidget
{
    Q_OBJECT

public:
    static constexpr int pollSeconds = 10;

    explicit TerminalsToolPage(TerminalService &service, QWidget *parent = nullptr);
    ~TerminalsToolPage() override;

signals:
    void workspaceActivated(const QUuid &workspaceId);

protected:
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void rebuild();

    TerminalService &m_service;
    QVBoxLayout *m_rows;
    QLabel *m_empty;
    bool m_polling = false;
};

} // namespace corvane
