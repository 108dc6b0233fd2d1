#pragma once

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
    SignInSheet(const QString &title, const QString &program, const QStringList &arguments,
                const QStringList &environment, QWidget *parent = nullptr);
    ~SignInSheet() override;

    TerminalSession &session() const { return *m_session; }
    TerminalView *view() const { return m_view; }
    QLabel *statusLine() const { return m_status; }

private:
    void start();

    QString m_program;
    QStringList m_arguments;
    QStringList m_environment;
    TerminalSession *m_session;
    TerminalView *m_view;
    QLabel *m_status;
    QPushButton *m_again;
    QPushButton *m_close;
};

} // namespace corvane
