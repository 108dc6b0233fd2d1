#pragma once

#include "source_control/accounts/SourceControlAccounts.h"

#include <QWidget>

class QCheckBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QVBoxLayout;

namespace corvane {

class AppSettings;

// The Source Control page of Preferences: the GitHub account git keeps, whether git has a place
// for tokens at all, GitHub's address, the two global git options with the Git Settings sheet,
// and the application's own source control switches. The accounts are read again each time the
// page is shown.
class SourceControlPage : public QWidget
{
    Q_OBJECT

public:
    SourceControlPage(AppSettings &settings, SourceControlAccounts::Options options, QWidget *parent = nullptr);
    ~SourceControlPage() override;

    SourceControlAccounts &accounts() { return m_accounts; }
    QPushButton *addAccountButton() const { return m_addAccount; }
    QPushButton *secretStoreButton() const { return m_useSecretStore; }
    QPushButton *gitSettingsButton() const { return m_gitSettings; }
    QLineEdit *apiField() const { return m_api; }
    QLabel *accountsStatus() const { return m_accountsStatus; }

protected:
    void showEvent(QShowEvent *event) override;

private:
    void redraw();
    void saveApiAddress();

    AppSettings &m_settings;
    SourceControlAccounts m_accounts;
    QString m_gitProgram;
    QLabel *m_accountsStatus;
    QVBoxLayout *m_accountRows;
    QPushButton *m_addAccount;
    QLabel *m_helperNote;
    QPushButton *m_useSecretStore;
    QLineEdit *m_api;
    QLabel *m_apiError;
    QCheckBox *m_preferRebase;
    QCheckBox *m_showMerges;
    QPushButton *m_gitSettings;
};

} // namespace corvane
