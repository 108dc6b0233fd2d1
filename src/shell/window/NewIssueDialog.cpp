#include "shell/window/NewIssueDialog.h"

#include "core/records/Project.h"
#include "core/store/StoreContext.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QShortcut>
#include <QVBoxLayout>

namespace corvane {

namespace {

constexpr int FlashMs = 300;

} // namespace

NewIssueDialog::NewIssueDialog(PlannerService &planner, IssueStatus status, std::optional<QUuid> projectId, QWidget *parent)
    : QDialog(parent), m_planner(planner), m_status(status)
{
    setWindowTitle(tr("New Issue"));
    resize(520, 420);
    auto *layout = new QVBoxLayout(this);
    m_title = new QLineEdit(this);
    m_title->setPlaceholderText(tr("Issue title"));
    QFont big = m_title->font();
    big.setPointSizeF(big.pointSizeF() * 1.25);
    m_title->setFont(big);
    layout->addWidget(m_title);
    m_description = new QPlainTextEdit(this);
    m_description->setPlaceholderText(tr("Add your description, steps to reproduce, or attach files..."));
    layout->addWidget(m_description, 1);

    auto *form = new QFormLayout;
    m_project = new QComboBox(this);
    m_project->addItem(tr("No Project"), QUuid());
    for (const auto &project : planner.projectsByName()) {
        m_project->addItem(project->name, project->id);
        m_projectsByName.append(project->id);
    }
    m_project->setCurrentIndex(projectId ? std::max(0, m_project->findData(*projectId)) : 0);
    m_type = new QComboBox(this);
    for (IssueType type : {IssueType::feature, IssueType::bug, IssueType::task})
        m_type->addItem(displayName(type), int(type));
    m_type->setCurrentIndex(m_type->findData(int(IssueType::task)));
    m_priority = new QComboBox(this);
    for (IssuePriority p : {IssuePriority::none, IssuePriority::low, IssuePriority::medium, IssuePriority::high, IssuePriority::urgent})
        m_priority->addItem(displayName(p), int(p));
    m_priority->setCurrentIndex(m_priority->findData(int(IssuePriority::medium)));
    auto *due = new QHBoxLayout;
    m_hasDueDate = new QCheckBox(tr("Due"), this);
    m_dueDate = new QDateEdit(QDate::currentDate(), this);
    m_dueDate->setCalendarPopup(true);
    m_dueDate->setEnabled(false);
    due->addWidget(m_hasDueDate);
    due->addWidget(m_dueDate, 1);
    form->addRow(tr("Project (Ctrl+P):"), m_project);
    form->addRow(tr("Type (Ctrl+T):"), m_type);
    form->addRow(tr("Priority (Ctrl+Shift+P):"), m_priority);
    form->addRow(tr("Due date (Ctrl+D):"), due);
    layout->addLayout(form);

    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    m_create = buttons->addButton(tr("Create Issue"), QDialogButtonBox::AcceptRole);
    m_create->setDefault(true);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &NewIssueDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_hasDueDate, &QCheckBox::toggled, m_dueDate, &QWidget::setEnabled);
    connect(m_title, &QLineEdit::textChanged, this, [this](const QString &text) { m_create->setEnabled(!text.isEmpty()); });
    m_create->setEnabled(false);

    const auto bind = [this](const QKeySequence &keys, auto action) {
        auto *shortcut = new QShortcut(keys, this);
        shortcut->setContext(Qt::WindowShortcut);
        connect(shortcut, &QShortcut::activated, this, action);
    };
    bind(QKeySequence(Qt::CTRL | Qt::Key_P), [this] { cycleProject(); });
    bind(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_P), [this] {
        const auto next = planner::nextPriority(IssuePriority(m_priority->currentData().toInt()));
        m_priority->setCurrentIndex(m_priority->findData(int(next)));
        flash(m_priority);
    });
    bind(QKeySequence(Qt::CTRL | Qt::Key_T), [this] {
        m_type->setCurrentIndex(m_type->findData(int(planner::nextType(IssueType(m_type->currentData().toInt())))));
        flash(m_type);
    });
    bind(QKeySequence(Qt::CTRL | Qt::Key_D), [this] {
        m_hasDueDate->toggle();
        flash(m_dueDate);
    });
    bind(QKeySequence(Qt::CTRL | Qt::Key_Return), [this] { accept(); });
    bind(QKeySequence(Qt::CTRL | Qt::Key_Enter), [this] { accept(); });

    m_flashEnd.setSingleShot(true);
    m_flashEnd.setInterval(FlashMs);
    connect(&m_flashEnd, &QTimer::timeout, this, [this] {
        if (m_flashing)
            m_flashing->setStyleSheet(QString());
        m_flashing = nullptr;
    });
    m_title->setFocus();
}

void NewIssueDialog::cycleProject()
{
    const QUuid current = m_project->currentData().toUuid();
    const auto next = planner::nextProject(m_projectsByName, current.isNull() ? std::nullopt : std::optional(current));
    m_project->setCurrentIndex(next ? m_project->findData(*next) : 0);
    flash(m_project);
}

void NewIssueDialog::flash(QWidget *field)
{
    // A newer flash ends the earlier one at once.
    if (m_flashing && m_flashing != field)
        m_flashing->setStyleSheet(QString());
    m_flashing = field;
    QColor accent = palette().color(QPalette::Highlight);
    accent.setAlphaF(0.15);
    field->setStyleSheet(QStringLiteral("background-color: %1;").arg(accent.name(QColor::HexArgb)));
    m_flashEnd.start();
}

void NewIssueDialog::accept()
{
    NewIssueDraft draft;
    draft.title = m_title->text();
    draft.description = m_description->toPlainText();
    draft.status = m_status;
    draft.type = IssueType(m_type->currentData().toInt());
    draft.priority = IssuePriority(m_priority->currentData().toInt());
    const QUuid project = m_project->currentData().toUuid();
    if (!project.isNull())
        draft.projectId = project;
    if (m_hasDueDate->isChecked())
        draft.dueDate = QDateTime(m_dueDate->date(), QTime(12, 0));
    const auto issue = m_planner.createIssue(draft);
    if (!issue)
        return; // nothing without a title
    emit created(issue->id);
    QDialog::accept();
}

} // namespace corvane
