#pragma once

#include "source_control/accounts/SourceControlAccounts.h"

#include <QDialog>

class QLabel;
class QLineEdit;
class QPushButton;

namespace corvane {

// "Add GitHub Account": the account name and a personal access token, checked with GitHub
// before git's credential store gets it. Closes itself when the account was added.
class AddAccountDialog : public QDialog
{
    Q_OBJECT

public:
    AddAccountDialog(SourceControlAccounts &accounts, QWidget *parent = nullptr);

    QLineEdit *accountField() const { return m_account; }
    QLineEdit *tokenField() const { return m_token; }
    QPushButton *signInButton() const { return m_signIn; }
    QLabel *errorLine() const { return m_error; }
    QLabel *statusLine() const { return m_status; }

private:
    void signIn();

    SourceControlAccounts &m_accounts;
    QLineEdit *m_account;
    QLineEdit *m_token;
    QLabel *m_status;
    QLabel *m_error;
    QPushButton *m_signIn;
    QPushButton *m_cancel;
};

// One account's rows and its removal, after a confirmation.
class AccountDetailDialog : public QDialog
{
    Q_OBJECT

public:
    AccountDetailDialog(SourceControlAccounts &accounts, const SCAccount &account, QWidget *parent = nullptr);

    QPushButton *deleteButton() const { return m_delete; }

private:
    void confirmDelete();

    SourceControlAccounts &m_accounts;
    SCAccount m_account;
    QPushButton *m_delete;
};

} // namespace corvane
