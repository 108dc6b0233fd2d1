#pragma once

#include "accounts/SignInCommand.h"

#include <QDialog>

class QLabel;
class QPushButton;

namespace corvane {

class TerminalSession;
class TerminalView;

// An agent's own sign-in (`claude auth login`, `codex login`) in a terminal inside the window,
// with the profile's environment, so the user never has to leave for another program. Accepted
// when the login ends well; the login can be started again when it did not.
class SignInSheet : public QDialog
{
    Q_OBJECT

public:
    explicit SignInSheet(const SignInCommand &command, QWidget *parent = nullptr);
    SignInSheet(const QString &title, const QString &program, const QStringList &arguments,
                const QStringList &environment, QWidget *parent = nullptr);
    ~SignInSheet() override;

    TerminalSession &session() const { return *m_session; }
    TerminalView *view() const { return m_view; }
    QLabel *statusLine() const { return m_status; }
    SignInAgent agent() const { return m_command.agent; }

private:
    void start();

    SignInCommand m_command;
    QLabel *m_text;
    TerminalSession *m_session;
    TerminalView *m_view;
    QLabel *m_status;
    QPushButton *m_again;
    QPushButton *m_close;
};

} // namespace corvane
