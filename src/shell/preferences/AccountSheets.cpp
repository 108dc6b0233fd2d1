#include "shell/preferences/AccountSheets.h"

#include "shell/tools/ToolForm.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>

namespace corvane {

AddAccountDialog::AddAccountDialog(SourceControlAccounts &accounts, QWidget *parent)
    : QDialog(parent), m_accounts(accounts)
{
    setWindowTitle(tr("Add GitHub Account"));
    setMinimumWidth(420);
    auto *layout = new QVBoxLayout(this);
    auto *form = new QFormLayout;
    m_account = toolform::line("account", tr("username"));
    m_token = toolform::line("token", tr("Personal access token"));
    m_token->setEchoMode(QLineEdit::Password);
    form->addRow(tr("Account"), m_account);
    form->addRow(tr("Token"), m_token);
    layout->addLayout(form);
    layout->addWidget(toolform::note(tr("Create a personal access token at Settings → Developer settings → "
                                        "Personal access tokens → Tokens (classic).")));
    auto *permissions = new QLabel(tr("Required Token Permissions"));
    QFont bold = permissions->font();
    bold.setBold(true);
    permissions->setFont(bold);
    layout->addWidget(permissions);
    layout->addWidget(toolform::note(tr("Scopes: repo, read:org")));
    if (!accounts.hasCredentialHelper()) {
        QLabel *warning = toolform::note(tr("git has no credential helper: it will forget this token as soon as "
                                            "it is given. Choose a place for it in Source Control first."));
        warning->setObjectName(QStringLiteral("noHelperWarning"));
        layout->addWidget(warning);
    }
    m_status = new QLabel(tr("Validating..."));
    m_status->hide();
    layout->addWidget(m_status);
    m_error = toolform::errorLine("error");
    layout->addWidget(m_error);

    auto *buttons = new QDialogButtonBox;
    m_cancel = buttons->addButton(tr("Cancel"), QDialogButtonBox::RejectRole);
    m_signIn = buttons->addButton(tr("Sign In"), QDialogButtonBox::AcceptRole);
    m_signIn->setDefault(true);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_signIn, &QPushButton::clicked, this, &AddAccountDialog::signIn);
    auto enable = [this] { m_signIn->setEnabled(!m_token->text().trimmed().isEmpty() && !m_accounts.isValidating()); };
    connect(m_token, &QLineEdit::textChanged, this, enable);
    enable();
}

void AddAccountDialog::signIn()
{
    m_error->hide();
    m_status->show();
    m_signIn->setEnabled(false);
    m_account->setEnabled(false);
    m_token->setEnabled(false);
    QPointer<AddAccountDialog> alive(this);
    m_accounts.addAccount(m_account->text(), m_token->text(), [alive](std::optional<QString> error) {
        if (!alive)
            return;
        alive->m_status->hide();
        alive->m_account->setEnabled(true);
        alive->m_token->setEnabled(true);
        alive->m_signIn->setEnabled(true);
        if (!error)
            return alive->accept();
        alive->m_error->setText(*error);
        alive->m_error->show();
    });
}

AccountDetailDialog::AccountDetailDialog(SourceControlAccounts &accounts, const SCAccount &account, QWidget *parent)
    : QDialog(parent), m_accounts(accounts), m_account(account)
{
    setWindowTitle(account.displayName.value_or(account.username));
    setMinimumWidth(360);
    auto *layout = new QVBoxLayout(this);
    auto *form = new QFormLayout;
    form->addRow(tr("Provider"), new QLabel(title(account.provider)));
    form->addRow(tr("Server"), new QLabel(account.host));
    form->addRow(tr("Account"), new QLabel(account.username));
    if (account.displayName)
        form->addRow(tr("GitHub login"), new QLabel(*account.displayName));
    layout->addLayout(form);
    auto *buttons = new QDialogButtonBox;
    m_delete = buttons->addButton(tr("Delete Account"), QDialogButtonBox::DestructiveRole);
    QPushButton *done = buttons->addButton(tr("Done"), QDialogButtonBox::AcceptRole);
    done->setDefault(true);
    layout->addWidget(buttons);
    connect(done, &QPushButton::clicked, this, &QDialog::accept);
    connect(m_delete, &QPushButton::clicked, this, &AccountDetailDialog::confirmDelete);
}

void AccountDetailDialog::confirmDelete()
{
    auto *confirm = new QMessageBox(QMessageBox::Warning, tr("Delete Account?"),
                                    tr("This will remove the credential for %1 on %2 from the git credential store.")
                                        .arg(m_account.username, m_account.host),
                                    QMessageBox::NoButton, this);
    confirm->setObjectName(QStringLiteral("deleteConfirmation"));
    confirm->setAttribute(Qt::WA_DeleteOnClose);
    confirm->addButton(tr("Cancel"), QMessageBox::RejectRole);
    QPushButton *remove = confirm->addButton(tr("Delete"), QMessageBox::DestructiveRole);
    connect(remove, &QPushButton::clicked, this, [this] {
        m_accounts.removeAccount(m_account.id);
        accept();
    });
    confirm->open();
}

} // namespace corvane
