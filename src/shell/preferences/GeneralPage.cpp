#include "shell/preferences/GeneralPage.h"

#include "agent/runtime/ToolLocator.h"
#include "core/Analytics.h"
#include "core/settings/AppSettings.h"
#include "shell/chat/ChatInputView.h"
#include "shell/preferences/PageParts.h"
#include "shell/tools/ToolForm.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QUrl>
#include <QVBoxLayout>

namespace corvane {

namespace {

// What is wrong with a program path, or nothing.
std::optional<QString> pathProblem(const QString &path)
{
    const QFileInfo info(path);
    if (!info.exists())
        return GeneralPage::tr("\"%1\" does not exist.").arg(path);
    if (!info.isFile())
        return GeneralPage::tr("\"%1\" is not a file.").arg(path);
    if (!info.isExecutable())
        return GeneralPage::tr("\"%1\" is not executable.").arg(path);
    return std::nullopt;
}

} // namespace

GeneralPage::GeneralPage(AppSettings &settings, QWidget *parent) : QWidget(parent), m_settings(settings)
{
    m_pickFile = [](QWidget *owner, const QString &start) {
        return QFileDialog::getOpenFileName(owner, tr("Choose the Program"), start);
    };
    auto *layout = new QVBoxLayout(this);

    layout->addWidget(pageparts::heading(tr("Your Name")));
    auto *names = new QFormLayout;
    m_firstName = toolform::line("firstName", {});
    m_lastName = toolform::line("lastName", {});
    m_firstName->setText(settings.firstName());
    m_lastName->setText(settings.lastName());
    names->addRow(tr("First name"), m_firstName);
    names->addRow(tr("Last name"), m_lastName);
    layout->addLayout(names);
    layout->addWidget(toolform::note(tr("Used where Corvane names you as an author.")));
    connect(m_firstName, &QLineEdit::textEdited, this, [this](const QString &text) { m_settings.setFirstName(text.trimmed()); });
    connect(m_lastName, &QLineEdit::textEdited, this, [this](const QString &text) { m_settings.setLastName(text.trimmed()); });

    layout->addSpacing(12);
    layout->addWidget(pageparts::heading(tr("Agent Commands")));
    auto *paths = new QFormLayout;
    m_claude = makePathRow(AgentTool::claude);
    m_codex = makePathRow(AgentTool::codex);
    for (AgentTool tool : {AgentTool::claude, AgentTool::codex}) {
        const PathRow &r = row(tool);
        auto *line = new QHBoxLayout;
        line->addWidget(r.field, 1);
        line->addWidget(r.browse);
        auto *cell = new QVBoxLayout;
        cell->addLayout(line);
        cell->addWidget(r.message);
        paths->addRow(toolName(tool), cell);
    }
    layout->addLayout(paths);
    // Says what blank finds, or what is wrong with a stored path; the stored text is unchanged.
    savePath(AgentTool::claude);
    savePath(AgentTool::codex);

    layout->addSpacing(12);
    layout->addWidget(pageparts::heading(tr("Chats")));
    auto *chats = new QFormLayout;
    m_permissionMode = new QComboBox;
    m_permissionMode->setObjectName(QStringLiteral("permissionMode"));
    for (const PermissionModeChoice &choice : ChatInputView::permissionModes()) {
        m_permissionMode->addItem(choice.label, int(choice.mode));
        m_permissionMode->setItemData(m_permissionMode->count() - 1, choice.explanation, Qt::ToolTipRole);
        if (choice.mode == settings.permissionMode())
            m_permissionMode->setCurrentIndex(m_permissionMode->count() - 1);
    }
    chats->addRow(tr("New chats start with"), m_permissionMode);
    layout->addLayout(chats);
    connect(m_permissionMode, &QComboBox::activated, this, [this](int index) {
        m_settings.setPermissionMode(PermissionMode(m_permissionMode->itemData(index).toInt()));
    });

    m_hiddenFiles = new QCheckBox(tr("Show hidden files in the inspector"));
    m_hiddenFiles->setObjectName(QStringLiteral("showHiddenFiles"));
    m_hiddenFiles->setChecked(settings.showHiddenFilesInInspector());
    layout->addWidget(m_hiddenFiles);
    connect(m_hiddenFiles, &QCheckBox::toggled, this, [this](bool on) { m_settings.setShowHiddenFilesInInspector(on); });

    // Analytics stay on this machine: a log the user can read, and nothing is ever sent.
    m_analytics = new QCheckBox(tr("Share anonymous usage analytics (kept in a local log, never sent)"));
    m_analytics->setObjectName(QStringLiteral("shareUsageAnalytics"));
    m_analytics->setChecked(settings.shareUsageAnalytics());
    auto *showLog = new QPushButton(tr("Show Log"));
    showLog->setObjectName(QStringLiteral("showAnalyticsLog"));
    auto *analyticsRow = new QHBoxLayout;
    analyticsRow->addWidget(m_analytics);
    analyticsRow->addWidget(showLog);
    analyticsRow->addStretch();
    layout->addLayout(analyticsRow);
    connect(m_analytics, &QCheckBox::toggled, this, [this](bool on) { m_settings.setShareUsageAnalytics(on); });
    connect(showLog, &QPushButton::clicked, this, [] {
        const QString file = Analytics::logFile();
        QDir().mkpath(QFileInfo(file).path());
        if (QFile log(file); !log.exists() && log.open(QIODevice::WriteOnly)) // an empty log still opens
            log.close();
        QDesktopServices::openUrl(QUrl::fromLocalFile(file));
    });

    layout->addSpacing(12);
    m_checklist = new QPushButton(tr("Show Setup Checklist…"));
    auto *checklistRow = new QHBoxLayout;
    checklistRow->addWidget(m_checklist);
    checklistRow->addStretch();
    layout->addLayout(checklistRow);
    connect(m_checklist, &QPushButton::clicked, this, &GeneralPage::setupChecklistRequested);
    layout->addStretch();
}

GeneralPage::~GeneralPage()
{
    // The fields lose focus while the page is taken down; there is nothing left to save into.
    disconnect(m_claude.field, nullptr, this, nullptr);
    disconnect(m_codex.field, nullptr, this, nullptr);
}

GeneralPage::PathRow GeneralPage::makePathRow(AgentTool tool)
{
    PathRow r;
    const bool claude = tool == AgentTool::claude;
    r.field = toolform::line(claude ? "claudePath" : "codexPath", tr("Look in the usual places"));
    r.field->setText(claude ? m_settings.claudePath() : m_settings.codexPath());
    r.message = new QLabel;
    r.message->setObjectName(claude ? QStringLiteral("claudePathMessage") : QStringLiteral("codexPathMessage"));
    r.message->setWordWrap(true);
    r.browse = new QPushButton(tr("Browse…"));
    r.browse->setObjectName(claude ? QStringLiteral("claudeBrowse") : QStringLiteral("codexBrowse"));
    connect(r.field, &QLineEdit::editingFinished, this, [this, tool] { savePath(tool); });
    connect(r.browse, &QPushButton::clicked, this, [this, tool] {
        const QLineEdit *field = row(tool).field;
        const QString start = field->text().isEmpty() ? QString() : QFileInfo(field->text()).absolutePath();
        const QString chosen = m_pickFile(this, start);
        if (chosen.isEmpty())
            return;
        row(tool).field->setText(chosen);
        savePath(tool);
    });
    return r;
}

const GeneralPage::PathRow &GeneralPage::row(AgentTool tool) const
{
    return tool == AgentTool::claude ? m_claude : m_codex;
}

void GeneralPage::savePath(AgentTool tool)
{
    const PathRow &r = row(tool);
    const QString path = r.field->text().trimmed();
    const QString stored = tool == AgentTool::claude ? m_settings.claudePath() : m_settings.codexPath();
    if (!path.isEmpty()) {
        if (const auto problem = pathProblem(path)) {
            // The text stays for the user to correct; the setting keeps what worked before.
            r.message->setStyleSheet(QStringLiteral("color: #c0392b;"));
            r.message->setText(*problem + tr(" Enter the path of the %1 program, or leave the field blank to look in the usual places.")
                                              .arg(toolName(tool)));
            return;
        }
    }
    r.message->setStyleSheet({});
    if (path.isEmpty()) {
        const ToolLocation found = locateTool(tool);
        r.message->setText(found.found() ? tr("Found at %1.").arg(*found.path) : tr("Not found in the usual places."));
    } else {
        r.message->clear();
    }
    if (path == stored)
        return;
    if (tool == AgentTool::claude)
        m_settings.setClaudePath(path);
    else
        m_settings.setCodexPath(path);
}

QLineEdit *GeneralPage::pathField(AgentTool tool) const { return row(tool).field; }
QLabel *GeneralPage::pathMessage(AgentTool tool) const { return row(tool).message; }
QPushButton *GeneralPage::browseButton(AgentTool tool) const { return row(tool).browse; }

} // namespace corvane
