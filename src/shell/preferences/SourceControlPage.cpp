#include "shell/preferences/SourceControlPage.h"

#include "core/settings/AppSettings.h"
#include "shell/preferences/AccountSheets.h"
#include "shell/preferences/GitSettingsDialog.h"
#include "shell/tools/ToolForm.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QUrl>
#include <QVBoxLayout>

#include <functional>

namespace corvane {

namespace {

QLabel *heading(const QString &text)
{
    auto *label = new QLabel(text);
    QFont font = label->font();
    font.setBold(true);
    label->setFont(font);
    return label;
}

QCheckBox *toggle(const QString &text, bool on, std::function<void(bool)> write, QWidget *owner)
{
    auto *box = new QCheckBox(text);
    box->setChecked(on);
    QObject::connect(box, &QCheckBox::toggled, owner, std::move(write));
    return box;
}

} // namespace

SourceControlPage::SourceControlPage(AppSettings &settings, SourceControlAccounts::Options options, QWidget *parent)
    : QWidget(parent), m_settings(settings), m_accounts(options), m_gitProgram(options.gitProgram)
{
    auto *layout = new QVBoxLayout(this);

    layout->addWidget(heading(tr("Accounts")));
    m_accountsStatus = new QLabel;
    m_accountsStatus->setObjectName(QStringLiteral("accountsStatus"));
    layout->addWidget(m_accountsStatus);
    m_accountRows = new QVBoxLayout;
    layout->addLayout(m_accountRows);
    m_helperNote = toolform::note({});
    m_helperNote->setObjectName(QStringLiteral("helperNote"));
    layout->addWidget(m_helperNote);
    auto *accountButtons = new QHBoxLayout;
    m_addAccount = new QPushButton(tr("Add Account…"));
    m_useSecretStore = new QPushButton(tr("Keep Tokens in the Secret Store"));
    accountButtons->addWidget(m_addAccount);
    accountButtons->addWidget(m_useSecretStore);
    accountButtons->addStretch();
    layout->addLayout(accountButtons);
    connect(m_addAccount, &QPushButton::clicked, this, [this] {
        auto *sheet = new AddAccountDialog(m_accounts, this);
        sheet->setAttribute(Qt::WA_DeleteOnClose);
        sheet->open();
    });
    connect(m_useSecretStore, &QPushButton::clicked, &m_accounts, &SourceControlAccounts::useSecretStore);

    auto *api = new QFormLayout;
    m_api = toolform::line("gitHubApi", QStringLiteral("https://api.github.com"));
    m_api->setText(settings.gitHubApiUrl());
    api->addRow(tr("GitHub API"), m_api);
    layout->addLayout(api);
    m_apiError = toolform::errorLine("apiError");
    layout->addWidget(m_apiError);
    layout->addWidget(toolform::note(tr("Another address only for GitHub Enterprise, such as https://github.example.com/api/v3.")));
    connect(m_api, &QLineEdit::editingFinished, this, &SourceControlPage::saveApiAddress);

    layout->addSpacing(12);
    layout->addWidget(heading(tr("Git")));
    m_preferRebase = toggle(tr("Prefer rebase when pulling"), false,
                            [this](bool on) { m_accounts.setPreferRebaseOnPull(on); }, this);
    m_showMerges = toggle(tr("Show merge commits in per-file log"), false,
                          [this](bool on) { m_accounts.setShowMergeCommitsInLog(on); }, this);
    layout->addWidget(m_preferRebase);
    layout->addWidget(m_showMerges);
    m_gitSettings = new QPushButton(tr("Git Settings…"));
    auto *gitRow = new QHBoxLayout;
    gitRow->addWidget(m_gitSettings);
    gitRow->addStretch();
    layout->addLayout(gitRow);
    connect(m_gitSettings, &QPushButton::clicked, this, [this] {
        auto *sheet = new GitSettingsDialog(this, m_gitProgram);
        sheet->setAttribute(Qt::WA_DeleteOnClose);
        sheet->open();
    });

    layout->addSpacing(12);
    layout->addWidget(heading(tr("Source Control")));
    AppSettings *s = &settings;
    layout->addWidget(toggle(tr("Enable Source Control"), s->enableSourceControl(),
                             [s](bool on) { s->setEnableSourceControl(on); }, this));
    layout->addWidget(toggle(tr("Refresh local status automatically"), s->refreshLocalStatusAuto(),
                             [s](bool on) { s->setRefreshLocalStatusAuto(on); }, this));
    layout->addWidget(toggle(tr("Fetch and refresh server status automatically"), s->fetchAndRefreshServerStatus(),
                             [s](bool on) { s->setFetchAndRefreshServerStatus(on); }, this));
    layout->addWidget(toggle(tr("Add and remove files automatically"), s->addAndRemoveFilesAuto(),
                             [s](bool on) { s->setAddAndRemoveFilesAuto(on); }, this));
    layout->addWidget(toggle(tr("Show Source Control changes"), s->showSourceControlChanges(),
                             [s](bool on) { s->setShowSourceControlChanges(on); }, this));
    layout->addStretch();

    connect(&m_accounts, &SourceControlAccounts::changed, this, &SourceControlPage::redraw);
    redraw();
}

SourceControlPage::~SourceControlPage()
{
    // The field loses focus while the page is taken down; nothing is left to save it into.
    disconnect(m_api, nullptr, this, nullptr);
}

void SourceControlPage::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    m_accounts.load(); // nothing is cached: the store may have changed behind our back
}

void SourceControlPage::redraw()
{
    toolform::clear(m_accountRows);
    const bool loading = m_accounts.isLoadingAccounts();
    m_accountsStatus->setVisible(loading || m_accounts.accounts().isEmpty());
    m_accountsStatus->setText(loading ? tr("Checking credentials...") : tr("No accounts configured"));
    for (const SCAccount &account : m_accounts.accounts()) {
        auto *row = new QPushButton;
        row->setObjectName(QStringLiteral("account:") + account.username);
        row->setFlat(true);
        row->setStyleSheet(QStringLiteral("text-align: left;"));
        const QString who = account.displayName && *account.displayName != account.username
            ? QStringLiteral("%1 (%2)").arg(account.username, *account.displayName) : account.username;
        row->setText(QStringLiteral("%1 — %2 · %3").arg(who, title(account.provider), account.host));
        row->setToolTip(account.displayName ? QString() : tr("GitHub did not accept the stored token."));
        connect(row, &QPushButton::clicked, this, [this, account] {
            auto *sheet = new AccountDetailDialog(m_accounts, account, this);
            sheet->setAttribute(Qt::WA_DeleteOnClose);
            sheet->open();
        });
        m_accountRows->addWidget(row);
    }
    m_addAccount->setEnabled(!loading);

    // git forgets a token at once unless a helper keeps it.
    const bool helper = m_accounts.hasCredentialHelper();
    m_helperNote->setVisible(!loading && !helper);
    m_helperNote->setText(m_accounts.offersSecretStore()
        ? tr("git has no credential helper, so it would forget a token as soon as it is given. "
             "The desktop's secret store can keep it.")
        : tr("git has no credential helper, so it would forget a token as soon as it is given. "
             "Set credential.helper in your git configuration to keep one."));
    m_useSecretStore->setVisible(!loading && m_accounts.offersSecretStore());
    m_preferRebase->setEnabled(!loading);
    m_showMerges->setEnabled(!loading);
    {
        const QSignalBlocker quietRebase(m_preferRebase);
        const QSignalBlocker quietMerges(m_showMerges);
        m_preferRebase->setChecked(m_accounts.preferRebaseOnPull());
        m_showMerges->setChecked(m_accounts.showMergeCommitsInLog());
    }
}

void SourceControlPage::saveApiAddress()
{
    QString text = m_api->text().trimmed();
    while (text.endsWith(QLatin1Char('/')))
        text.chop(1);
    if (text.isEmpty())
        text = QStringLiteral("https://api.github.com");
    const QUrl url(text, QUrl::StrictMode);
    const bool valid = url.isValid() && (url.scheme() == QLatin1String("https") || url.scheme() == QLatin1String("http"))
                       && !url.host().isEmpty();
    m_apiError->setVisible(!valid);
    m_apiError->setText(tr("\"%1\" is not an http or https address.").arg(text));
    if (!valid)
        return;
    m_api->setText(text);
    if (text == m_settings.gitHubApiUrl())
        return;
    m_settings.setGitHubApiUrl(text);
    m_accounts.setApiBase(text);
    m_accounts.load();
}

} // namespace corvane
