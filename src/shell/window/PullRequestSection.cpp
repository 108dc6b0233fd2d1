#include "shell/window/PullRequestSection.h"

#include "automation/LandingTexts.h"
#include "automation/PullRequestCreation.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/settings/AppSettings.h"
#include "core/store/StoreContext.h"
#include "source_control/github/PRService.h"
#include "source_control/inspector/BackgroundClock.h"

#include <QCheckBox>
#include <QDesktopServices>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QUrl>
#include <QVBoxLayout>

namespace corvane {

namespace {

QLabel *errorLabel(QWidget *parent)
{
    auto *label = new QLabel(parent);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    QPalette red = label->palette();
    red.setColor(QPalette::WindowText, QColor(0xd7, 0x3a, 0x49));
    label->setPalette(red);
    label->hide();
    return label;
}

void showError(QLabel *label, const QString &text)
{
    label->setText(text);
    label->setVisible(!text.isEmpty());
}

} // namespace

PullRequestSection::PullRequestSection(StoreContext &context, AppSettings &settings, InlineAgentRunner &runner, QWidget *parent)
    : QWidget(parent), m_context(context), m_settings(settings), m_runner(runner), m_state(new QLabel), m_warning(new QLabel),
      m_error(errorLabel(this)), m_create(new QPushButton(tr("Create Pull Request…"))),
      m_connect(new QPushButton(tr("Connect…"))), m_open(new QPushButton(tr("Open"))), m_refresh(new QPushButton(tr("Refresh"))),
      m_disconnect(new QPushButton(tr("Disconnect")))
{
    setObjectName(QStringLiteral("pullRequestSection"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 4, 0, 4);
    auto *heading = new QLabel(tr("Pull request"));
    QFont bold = heading->font();
    bold.setBold(true);
    heading->setFont(bold);
    layout->addWidget(heading);
    m_state->setObjectName(QStringLiteral("pullRequestState"));
    m_state->setWordWrap(true);
    m_warning->setWordWrap(true);
    layout->addWidget(m_state);
    layout->addWidget(m_warning);
    layout->addWidget(m_error);
    auto *buttons = new QHBoxLayout;
    for (QPushButton *button : {m_create, m_connect, m_open, m_refresh, m_disconnect})
        buttons->addWidget(button);
    buttons->addStretch(1);
    layout->addLayout(buttons);
    m_connect->setToolTip(tr("Connect an existing GitHub PR to this workspace"));

    connect(m_create, &QPushButton::clicked, this, &PullRequestSection::openCreateDialog);
    connect(m_connect, &QPushButton::clicked, this, &PullRequestSection::openConnectDialog);
    connect(m_open, &QPushButton::clicked, this, [this] {
        if (const auto workspace = m_workspaceId ? m_context.get<Workspace>(*m_workspaceId) : nullptr; workspace && workspace->prURL)
            QDesktopServices::openUrl(QUrl(*workspace->prURL));
    });
    connect(m_refresh, &QPushButton::clicked, this, [this] { refresh(false); });
    connect(m_disconnect, &QPushButton::clicked, this, [this] {
        if (const auto workspace = m_workspaceId ? m_context.get<Workspace>(*m_workspaceId) : nullptr) {
            github::disconnect(*workspace);
            (void)m_context.save();
            emit workspaceChanged();
            redraw();
        }
    });
    // The application's one clock; two windows on one workspace refresh it once.
    BackgroundClock::instance().subscribe(this, BackgroundClock::Beat::pullRequest, [this]() -> std::optional<QString> {
        const auto workspace = m_workspaceId ? m_context.get<Workspace>(*m_workspaceId) : nullptr;
        if (!m_settings.fetchAndRefreshServerStatus() || !workspace || !workspace->prNumber)
            return std::nullopt;
        return workspace->id.toString();
    }, [this] { refresh(true); });
    redraw();
}

void PullRequestSection::showWorkspace(const std::optional<QUuid> &workspaceId, const std::optional<QString> &directory)
{
    if (workspaceId != m_workspaceId)
        showError(m_error, {});
    m_workspaceId = workspaceId;
    m_directory = directory;
    redraw();
}

void PullRequestSection::redraw()
{
    const auto workspace = m_workspaceId ? m_context.get<Workspace>(*m_workspaceId) : nullptr;
    setVisible(workspace && m_directory);
    if (!workspace)
        return;
    const bool linked = workspace->prURL.has_value();
    if (linked) {
        const QString number = workspace->prNumber ? QStringLiteral("#%1").arg(*workspace->prNumber) : QStringLiteral("PR");
        m_state->setText(QStringLiteral("%1 \u00B7 %2 \u2014 %3").arg(number, github::badgeText(*workspace),
                                                                     workspace->prTitle.value_or(QString()).toHtmlEscaped()));
        m_open->setText(tr("Open %1 on GitHub").arg(number));
    } else {
        m_state->setText(tr("No pull request"));
    }
    const bool differs = linked && workspace->prHeadBranch && workspace->gitBranch && *workspace->prHeadBranch != *workspace->gitBranch;
    m_warning->setText(differs ? tr("PR head `%1` differs from branch `%2`.").arg(*workspace->prHeadBranch, *workspace->gitBranch) : QString());
    m_warning->setVisible(differs);
    m_create->setVisible(!linked);
    m_connect->setVisible(true);
    m_connect->setText(linked ? tr("Change…") : tr("Connect…"));
    m_open->setVisible(linked);
    m_refresh->setVisible(linked);
    m_refresh->setEnabled(!m_refreshing);
    m_disconnect->setVisible(linked);
}

void PullRequestSection::refresh(bool silent)
{
    const auto workspace = m_workspaceId ? m_context.get<Workspace>(*m_workspaceId) : nullptr;
    if (!workspace || !workspace->prNumber || !m_directory || m_refreshing)
        return;
    m_refreshing = true;
    if (!silent)
        showError(m_error, {});
    redraw();
    const auto project = workspace->projectId ? m_context.get<Project>(*workspace->projectId) : nullptr;
    auto *service = new PRService(*m_directory, m_settings.gitHubApiUrl(), this);
    const QUuid id = workspace->id;
    service->fetchPullRequest(*workspace->prNumber, project ? project->githubUsername.value_or(QString()) : QString(),
                              [this, service, id, silent](Result<PRSummary> pr) {
        service->deleteLater();
        m_refreshing = false;
        if (const auto stored = m_context.get<Workspace>(id); stored && pr) {
            github::refresh(*stored, pr.value());
            (void)m_context.save();
            emit workspaceChanged();
        } else if (!pr && !silent && m_workspaceId == id) {
            showError(m_error, pr.error().message);
        }
        redraw();
    });
}

void PullRequestSection::openCreateDialog()
{
    const auto workspace = m_workspaceId ? m_context.get<Workspace>(*m_workspaceId) : nullptr;
    if (!workspace || !m_directory)
        return;
    const auto project = workspace->projectId ? m_context.get<Project>(*workspace->projectId) : nullptr;
    const auto profile = landing::profileFor(m_context, workspace.get());

    auto *dialog = new QDialog(this);
    dialog->setObjectName(QStringLiteral("createPullRequestDialog"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(tr("Create Pull Request"));
    dialog->resize(560, 480);
    auto *layout = new QVBoxLayout(dialog);
    auto *title = new QLineEdit(dialog);
    title->setObjectName(QStringLiteral("pullRequestTitle"));
    title->setPlaceholderText(tr("Title"));
    auto *body = new QPlainTextEdit(dialog);
    body->setObjectName(QStringLiteral("pullRequestBody"));
    body->setPlaceholderText(tr("Description (Markdown)"));
    auto *generate = new QPushButton(tr("Generate title and description with AI"), dialog);
    auto *draft = new QCheckBox(tr("Draft"), dialog);
    auto *error = errorLabel(dialog);
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, dialog);
    QPushButton *create = buttons->addButton(tr("Create PR"), QDialogButtonBox::AcceptRole);
    create->setObjectName(QStringLiteral("createPullRequestButton"));
    layout->addWidget(title);
    layout->addWidget(body, 1);
    auto *row = new QHBoxLayout;
    row->addWidget(generate);
    row->addStretch(1);
    row->addWidget(draft);
    layout->addLayout(row);
    layout->addWidget(error);
    layout->addWidget(buttons);

    auto busy = std::make_shared<bool>(false);
    auto update = [=] {
        create->setText(draft->isChecked() ? tr("Create Draft PR") : tr("Create PR"));
        create->setEnabled(!*busy && !title->text().trimmed().isEmpty());
        generate->setEnabled(!*busy);
    };
    connect(title, &QLineEdit::textChanged, dialog, update);
    connect(draft, &QCheckBox::toggled, dialog, update);
    connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
    connect(generate, &QPushButton::clicked, dialog, [=, this] {
        *busy = true;
        showError(error, {});
        generate->setText(tr("Generating\u2026"));
        update();
        landing::pullRequestText(dialog, m_runner, *m_directory, profile.get(), [=](Result<generators::PullRequestText> text) {
            *busy = false;
            generate->setText(tr("Generate title and description with AI"));
            if (text) {
                title->setText(text.value().title);
                body->setPlainText(text.value().body);
            } else {
                showError(error, text.error().message);
            }
            update();
        });
    });
    const QUuid id = workspace->id;
    const QString username = project ? project->githubUsername.value_or(QString()) : QString();
    connect(create, &QPushButton::clicked, dialog, [=, this] {
        *busy = true;
        showError(error, {});
        create->setText(tr("Creating\u2026"));
        update();
        PullRequestDraft pr{title->text(), body->toPlainText(), std::nullopt, draft->isChecked(), username};
        createPullRequest(dialog, m_context, id, *m_directory, m_settings.gitHubApiUrl(), pr, [=, this](Result<QString> url) {
            *busy = false;
            if (!url) {
                showError(error, url.error().message); // the sheet stays open for another try
                update();
                return;
            }
            emit workspaceChanged();
            redraw();
            dialog->accept();
        });
    });
    update();
    dialog->open();
}

void PullRequestSection::openConnectDialog()
{
    const auto workspace = m_workspaceId ? m_context.get<Workspace>(*m_workspaceId) : nullptr;
    if (!workspace || !m_directory)
        return;
    const auto project = workspace->projectId ? m_context.get<Project>(*workspace->projectId) : nullptr;
    const QString username = project ? project->githubUsername.value_or(QString()) : QString();
    const QString branch = workspace->gitBranch.value_or(QString());

    auto *dialog = new QDialog(this);
    dialog->setObjectName(QStringLiteral("connectPullRequestDialog"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(tr("Connect Pull Request"));
    dialog->resize(520, 420);
    auto *layout = new QVBoxLayout(dialog);
    auto *search = new QLineEdit(dialog);
    search->setPlaceholderText(tr("Search by number, title, branch or author"));
    auto *list = new QListWidget(dialog);
    list->setObjectName(QStringLiteral("pullRequestList"));
    auto *status = new QLabel(tr("Loading\u2026"), dialog);
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, dialog);
    QPushButton *connectButton = buttons->addButton(tr("Connect Pull Request"), QDialogButtonBox::AcceptRole);
    connectButton->setEnabled(false);
    layout->addWidget(search);
    layout->addWidget(list, 1);
    layout->addWidget(status);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::reject);

    auto found = std::make_shared<QList<PRSummary>>();
    auto fill = [=] {
        list->clear();
        const QString needle = search->text().trimmed().toLower();
        for (const PRSummary &pr : std::as_const(*found)) {
            const bool matches = needle.isEmpty() || QString::number(pr.number).contains(needle) || pr.title.toLower().contains(needle)
                || pr.headBranch.toLower().contains(needle) || (pr.authorLogin && pr.authorLogin->toLower().contains(needle));
            if (!matches)
                continue;
            const bool suggested = !branch.isEmpty() && pr.headBranch == branch;
            auto *item = new QListWidgetItem(QStringLiteral("#%1  %2  (%3)%4").arg(pr.number).arg(pr.title, pr.headBranch,
                                                 suggested ? tr("  \u2014 suggested for %1").arg(branch) : QString()), list);
            item->setData(Qt::UserRole, QVariant::fromValue(pr.number));
            if (suggested)
                list->setCurrentItem(item);
        }
        status->setText(found->isEmpty() ? tr("No Open Pull Requests. This repository has no open PRs to connect.") : QString());
    };
    connect(search, &QLineEdit::textChanged, dialog, fill);
    connect(list, &QListWidget::currentItemChanged, dialog, [=](QListWidgetItem *item) {
        connectButton->setEnabled(item);
        connectButton->setText(item ? tr("Connect #%1").arg(item->data(Qt::UserRole).toLongLong()) : tr("Connect Pull Request"));
    });
    const QUuid id = workspace->id;
    connect(connectButton, &QPushButton::clicked, dialog, [=, this] {
        QListWidgetItem *item = list->currentItem();
        const auto stored = m_context.get<Workspace>(id);
        if (!item || !stored)
            return;
        for (const PRSummary &pr : std::as_const(*found))
            if (pr.number == item->data(Qt::UserRole).toLongLong())
                github::connect(*stored, pr);
        (void)m_context.save();
        emit workspaceChanged();
        redraw();
        dialog->accept();
    });
    auto *service = new PRService(*m_directory, m_settings.gitHubApiUrl(), dialog);
    service->listOpenPullRequests(username, [=](Result<QList<PRSummary>> open) {
        if (!open) {
            status->setText(tr("Couldn't load pull requests: %1").arg(open.error().message));
            return;
        }
        *found = open.value();
        const bool listed = std::any_of(found->cbegin(), found->cend(), [&](const PRSummary &pr) { return pr.headBranch == branch; });
        if (listed || branch.isEmpty())
            return fill();
        // The branch's own pull request may be closed or merged: it is offered all the same.
        service->findPullRequest(branch, username, [=](Result<std::optional<PRSummary>> own) {
            if (own && own.value())
                found->prepend(*own.value());
            fill();
        });
    });
    dialog->open();
}

} // namespace corvane
