#pragma once

#include "source_control/accounts/GitGlobalConfig.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QUuid>

#include <functional>
#include <optional>

class QNetworkAccessManager;

namespace corvane {

enum class SCAccountProvider { github, githubEnterprise, gitlab, gitlabSelfHosted, bitbucket };
QString title(SCAccountProvider provider);

// git's libsecret credential helper: the one git itself ships when the distribution built it,
// else the one built with Corvane, beside the program or in its libexec folder. Empty when
// neither exists.
QString findSecretStoreHelper(const QString &applicationDir);

// An account as the credential store shows it; `id` is made afresh at each reading.
struct SCAccount
{
    QUuid id;
    SCAccountProvider provider = SCAccountProvider::github;
    QString host;
    QString username;
    std::optional<QString> displayName;
};

// The accounts half of the Source Control preferences: the GitHub account in git's credential
// store, the two global git options, and whether git has anywhere to keep a token at all. Nothing
// is cached between openings: load() reads everything again. Tokens pass through on their way to
// git or GitHub and are never kept here.
class SourceControlAccounts : public QObject
{
    Q_OBJECT

public:
    struct Options
    {
        QString apiBase;            // GitHub's REST interface
        QString secretStoreHelper;  // git's libsecret helper, when one was found
        QString gitProgram;         // empty: the usual git
        int timeoutMs = 60000;
    };
    explicit SourceControlAccounts(Options options, QObject *parent = nullptr);

    // Reads the options, the credential helpers and the stored GitHub account; loadingChanged and
    // changed follow.
    void load();
    bool isLoadingAccounts() const { return m_loading; }
    const QList<SCAccount> &accounts() const { return m_accounts; }

    void setApiBase(const QString &apiBase) { m_options.apiBase = apiBase; }

    bool preferRebaseOnPull() const { return m_preferRebase; }
    void setPreferRebaseOnPull(bool on);
    bool showMergeCommitsInLog() const { return m_showMerges; }
    void setShowMergeCommitsInLog(bool on);

    // With no credential helper, git forgets a token as soon as it is given: the page offers the
    // desktop's secret store instead, when its helper was found.
    bool hasCredentialHelper() const { return !m_helpers.isEmpty(); }
    bool offersSecretStore() const { return !hasCredentialHelper() && !m_options.secretStoreHelper.isEmpty(); }
    void useSecretStore();

    // The add sheet's sign-in: checks the token with GitHub, then hands it to git's store. `done`
    // gets the error for the sheet, or none when the account was added.
    void addAccount(const QString &accountName, const QString &token, std::function<void(std::optional<QString>)> done);
    bool isValidating() const { return m_validating; }
    void removeAccount(const QUuid &id);

signals:
    void changed();

private:
    Options m_options;
    GitGlobalConfig m_git;
    QNetworkAccessManager *m_network;
    QList<SCAccount> m_accounts;
    QStringList m_helpers;
    bool m_loading = false;
    bool m_validating = false;
    bool m_preferRebase = false;
    bool m_showMerges = false;
    quint64 m_generation = 0;
};

} // namespace corvane
