#include "shell/terminal/SignInSheet.h"

#include "shell/terminal/TerminalView.h"
#include "tools/terminal/TerminalSession.h"

#include <QDir>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace corvane {

namespace {

SignInCommand plainCommand(const QString &title, const QString &program, const QStringList &arguments,
                           const QStringList &environment)
{
    SignInCommand command;
    command.title = title;
    command.program = program;
    command.arguments = arguments;
    command.environment = environment;
    command.workingDirectory = QDir::homePath();
    return command;
}

} // namespace

SignInSheet::SignInSheet(const QString &title, const QString &program, const QStringList &arguments,
                         const QStringList &environment, QWidget *parent)
    : SignInSheet(plainCommand(title, program, arguments, environment), parent)
{
}

SignInSheet::SignInSheet(const SignInCommand &command, QWidget *parent)
    : QDialog(parent), m_command(command), m_text(new QLabel(command.text)),
      m_session(new TerminalSession(command.title, command.workingDirectory, this)),
      m_view(new TerminalView(*m_session)), m_status(new QLabel), m_again(new QPushButton(tr("Start Again"))),
      m_close(new QPushButton(tr("Cancel")))
{
    setObjectName(QStringLiteral("signInSheet"));
    setWindowTitle(command.title);
    resize(760, 460);
    m_session->setRestartsOnExit(false);
    auto *layout = new QVBoxLayout(this);
    m_text->setWordWrap(true);
    m_text->setVisible(!command.text.isEmpty());
    layout->addWidget(m_text);
    m_status->setWordWrap(true);
    layout->addWidget(m_status);
    layout->addWidget(m_view, 1);
    auto *buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_again);
    buttons->addWidget(m_close);
    layout->addLayout(buttons);
    m_again->setAutoDefault(false);
    m_close->setAutoDefault(false);
    connect(m_again, &QPushButton::clicked, this, &SignInSheet::start);
    connect(m_close, &QPushButton::clicked, this, &QDialog::reject);
    connect(m_session, &TerminalSession::exited, this, [this](int code) {
        if (code == 0) {
            m_status->setText(tr("Signed in."));
            accept();
            return;
        }
        m_status->setText(tr("The sign-in ended with code %1. Start it again, or close this window.").arg(code));
        m_again->show();
        m_close->setText(tr("Close"));
    });
    start();
}

SignInSheet::~SignInSheet()
{
    // The login must not outlive its window.
    if (m_session->shellPid() > 0)
        m_session->terminate();
}

void SignInSheet::start()
{
    m_status->setText(tr("Follow the steps below; this window closes when the sign-in is done."));
    m_again->hide();
    m_close->setText(tr("Cancel"));
    m_session->startShell(m_command.program, m_command.arguments, m_command.environment);
    m_view->setFocus();
}

} // namespace corvane
