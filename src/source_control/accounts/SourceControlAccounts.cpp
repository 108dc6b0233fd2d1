#include "source_control/accounts/SourceControlAccounts.h"

#include "source_control/GitHubParsers.h"
#include "source_control/accounts/GitHubLogin.h"

#include <QFileInfo>
#include <QNetworkAccessManager>

namespace corvane {

QString title(SCAccountProvider provider)
{
    switch (provider) {
    case SCAccountProvider::github: return QStringLiteral("GitHub");
    case SCAccountProvider::githubEnterprise: return QStringLiteral("GitHub Enterprise");
    case SCAccountProvider::gitlab: return QStringLiteral("GitLab");
    case SCAccountProvider::gitlabSelfHosted: return QStringLiteral("GitLab Self-Hosted");
    case SCAccountProvider::bitbucket: return QStringLiteral("Bitbucket Cloud");
    }
    return {};
}

QString findSecretStoreHelper(const QString &applicationDir)
{
    const QString name = QStringLiteral("git-credential-libsecret");
    const QStringList candidates{
        QStringLiteral("/usr/lib/git-core/") + name,
        QStringLiteral("/usr/libexec/git-core/") + name,
        applicationDir + QLatin1Char('/') + name,
        applicationDir + QStringLiteral("/../libexec/corvane/") + name,
    };
    for (const QString &candidate : candidates) {
        const QFileInfo info(candidate);
        if (info.isFile() && info.isExecutable())
            return info.canonicalFilePath();
    }
    return {};
}

namespace {

QString host()
{
    return QString::fromUtf16(gitHubHost);
}

// git's own words for a helper path: a path with spaces would otherwise be split by its shell.
QString helperValue(const QString &path)
{
    return path.contains(QLatin1Char(' ')) ? QLatin1Char('"') + path + QLatin1Char('"') : path;
}

} // namespace

SourceControlAccounts::SourceControlAccounts(Options options, QObject *parent)
    : QObject(parent), m_options(std::move(options)), m_git(m_options.gitProgram),
      m_network(new QNetworkAccessManager(this))
{
}

void SourceControlAccounts::load()
{
    const quint64 generation = ++m_generation;
    m_loading = true;
    m_accounts.clear();
    emit changed();
    m_git.get(QStringLiteral("pull.rebase"), this, [this](std::optional<QString> value) {
        m_preferRebase = value == QStringLiteral("true");
    });
    m_git.get(QStringLiteral("log.showMerges"), this, [this](std::optional<QString> value) {
        m_showMerges = value == QStringLiteral("true");
    });
    m_git.credentialHelpers(this, [this](QStringList helpers) { m_helpers = std::move(helpers); });
    m_git.credentialFill(host(), this, [this, generation](std::optional<GitCredentials> stored) {
        if (generation != m_generation)
            return;
        if (!stored || stored->username.isEmpty()) {
            m_loading = false;
            return emit changed(); // nothing stored: no reason to ask GitHub anything
        }
        SCAccount account{QUuid::createUuid(), SCAccountProvider::github, host(), stored->username, std::nullopt};
        github::fetchLogin(m_network, m_options.apiBase, stored->token, m_options.timeoutMs, this,
                           [this, generation, account](const github::LoginCheck &check) mutable {
            if (generation != m_generation)
                return;
            // An expired token still lists the account: it is in the store until removed.
            if (check.isValid())
                account.displayName = check.login;
            m_accounts.append(account);
            m_loading = false;
            emit changed();
        });
    });
}

void SourceControlAccounts::setPreferRebaseOnPull(bool on)
{
    m_preferRebase = on;
    m_git.set(QStringLiteral("pull.rebase"), on ? QStringLiteral("true") : QStringLiteral("false"));
}

void SourceControlAccounts::setShowMergeCommitsInLog(bool on)
{
    m_showMerges = on;
    m_git.set(QStringLiteral("log.showMerges"), on ? QStringLiteral("true") : QStringLiteral("false"));
}

void SourceControlAccounts::useSecretStore()
{
    if (m_options.secretStoreHelper.isEmpty())
        return;
    m_git.set(QStringLiteral("credential.helper"), helperValue(m_options.secretStoreHelper), this, [this] {
        m_git.credentialHelpers(this, [this](QStringList helpers) {
            m_helpers = std::move(helpers);
            emit changed();
        });
    });
}

void SourceControlAccounts::addAccount(const QString &accountName, const QString &token,
                                       std::function<void(std::optional<QString>)> done)
{
    m_validating = true;
    emit changed();
    github::fetchLogin(m_network, m_options.apiBase, token.trimmed(), m_options.timeoutMs, this,
                       [this, accountName, token, done](const github::LoginCheck &check) {
        m_validating = false;
        if (check.status == 0) {
            emit changed();
            return done(check.transportError);
        }
        if (!check.isValid()) {
            emit changed();
            return done(QStringLiteral("Authentication failed. Check your token and try again."));
        }
        // The name the user typed is the store's key; an empty one takes GitHub's login.
        const QString username = accountName.trimmed().isEmpty() ? check.login : accountName.trimmed();
        m_git.credentialApprove(host(), username, token.trimmed(), this, [this, username, check, done] {
            m_accounts.append(SCAccount{QUuid::createUuid(), SCAccountProvider::github, host(), username, check.login});
            emit changed();
            done(std::nullopt);
        });
    });
}

void SourceControlAccounts::removeAccount(const QUuid &id)
{
    for (qsizetype i = 0; i < m_accounts.size(); ++i) {
        if (m_accounts.at(i).id != id)
            continue;
        const SCAccount account = m_accounts.takeAt(i);
        m_git.credentialReject(account.host, account.username);
        emit changed();
        return;
    }
}

} // namespace corvane
