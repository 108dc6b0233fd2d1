#pragma once

#include "shell/chat/ChatStyle.h"

#include <QFrame>

class QLabel;
class QPushButton;

namespace corvane {

// A tool permission: the heading of its tool, the one-line summary, and while the request is
// open the three answers. Used in the timeline and in the floating prompt window.
class PermissionCard : public QFrame
{
    Q_OBJECT
public:
    PermissionCard(const ChatStyle &style, QWidget *parent = nullptr);

    void setRequest(const QString &toolName, const QString &summary);
    // Open: the buttons show. Answered: `outcome` ("Allowed", "Denied", "Request cancelled").
    void setLive(bool live, const QString &outcome = {});
    bool isLive() const { return m_live; }

    QPushButton *allowOnceButton() const { return m_once; }
    QPushButton *allowSessionButton() const { return m_session; }
    QPushButton *denyButton() const { return m_deny; }

signals:
    void allowOnce();
    void allowForSession();
    void deny();

private:
    QLabel *m_heading;
    QLabel *m_summary;
    QLabel *m_outcome;
    QWidget *m_buttons;
    QPushButton *m_once;
    QPushButton *m_session;
    QPushButton *m_deny;
    bool m_live = false;
};

} // namespace corvane
