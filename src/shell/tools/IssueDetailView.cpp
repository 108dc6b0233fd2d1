#include "shell/tools/IssueDetailView.h"

#include "core/records/IssueLabel.h"
#include "core/records/Milestone.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/StoreContext.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QListWidget>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

namespace corvane {

void ChecklistTitleField::keyPressEvent(QKeyEvent *event)
{
    const bool plain = !(event->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::ShiftModifier));
    switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        return emit submitted();
    case Qt::Key_Up:
        return emit movedUp();
    case Qt::Key_Down:
        return emit movedDown();
    case Qt::Key_Left:
        if (plain && !hasSelectedText() && cursorPosition() == 0)
            return emit movedLeftAtStart();
        break;
    case Qt::Key_Right:
        if (plain && !hasSelectedText() && cursorPosition() == text().size())
            return emit movedRightAtEnd();
        break;
    case Qt::Key_Backspace:
        if (text().isEmpty())
            return emit deletedEmpty();
        break;
    default:
        break;
    }
    QLineEdit::keyPressEvent(event);
}

namespace {

QIcon swatch(const QString &colorHex)
{
    QPixmap pixmap(12, 12);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(colorHex).isValid() ? QColor(colorHex) : QColor(Qt::gray));
    painter.drawEllipse(QRectF(1, 1, 10, 10));
    return QIcon(pixmap);
}

} // namespace

IssueDetailView::IssueDetailView(PlannerService &planner, Mode mode, QWidget *parent)
    : QWidget(parent), m_model(planner), m_planner(planner), m_mode(mode)
{
    build();
    connect(&m_model, &IssueDetailViewModel::changed, this, &IssueDetailView::fill);
}

void IssueDetailView::build()
{
    auto *outer = new QVBoxLayout(this);
    auto *head = new QHBoxLayout;
    m_done = new QCheckBox(this);
    m_done->setToolTip(tr("Done"));
    m_title = new QLineEdit(this);
    m_title->setObjectName(QStringLiteral("issueTitle"));
    m_title->setPlaceholderText(tr("Issue title"));
    auto *close = new QToolButton(this);
    close->setText(QStringLiteral("\u2715"));
    close->setAutoRaise(true);
    head->addWidget(m_done);
    head->addWidget(m_title, 1);
    head->addWidget(close);
    close->setVisible(m_mode == Mode::board);
    outer->addLayout(head);

    auto *scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    auto *body = new QWidget(scroll);
    auto *layout = new QVBoxLayout(body);
    auto *form = new QFormLayout;
    m_status = new QComboBox(body);
    for (IssueStatus s : planner::columns())
        m_status->addItem(displayName(s), int(s));
    m_type = new QComboBox(body);
    for (IssueType t : {IssueType::feature, IssueType::bug, IssueType::task})
        m_type->addItem(displayName(t), int(t));
    m_priority = new QComboBox(body);
    for (IssuePriority p : {IssuePriority::none, IssuePriority::low, IssuePriority::medium, IssuePriority::high, IssuePriority::urgent})
        m_priority->addItem(displayName(p), int(p));
    m_project = new QComboBox(body);
    m_milestone = new QComboBox(body);
    auto *due = new QHBoxLayout;
    m_hasDue = new QCheckBox(tr("Due"), body);
    m_due = new QDateEdit(body);
    m_due->setCalendarPopup(true);
    due->addWidget(m_hasDue);
    due->addWidget(m_due, 1);
    form->addRow(tr("Status:"), m_status);
    form->addRow(tr("Type:"), m_type);
    form->addRow(tr("Priority:"), m_priority);
    form->addRow(tr("Project:"), m_project);
    form->addRow(tr("Milestone:"), m_milestone);
    form->addRow(tr("Labels:"), buildLabels(body));
    form->addRow(tr("Due date:"), due);
    layout->addLayout(form);

    m_description = new QPlainTextEdit(body);
    m_description->setPlaceholderText(tr("Add a description\u2026"));
    m_description->setMinimumHeight(90);
    m_description->installEventFilter(this); // saved when it loses the focus
    layout->addWidget(m_description);

    m_progress = new QLabel(body);
    layout->addWidget(m_progress);
    m_checklist = new QVBoxLayout;
    m_checklist->setSpacing(2);
    layout->addLayout(m_checklist);
    m_addItem = new QPushButton(tr("Add checklist item"), body);
    m_addItem->setFlat(true);
    layout->addWidget(m_addItem, 0, Qt::AlignLeft);

    layout->addWidget(buildWorkspaceSection(body));
    auto *hint = new QLabel(tr("Pick a flow and let the agent plan, implement, and validate the work before review."), body);
    hint->setWordWrap(true);
    hint->setForegroundRole(QPalette::PlaceholderText);
    layout->addWidget(hint);
    m_runAgent = new QPushButton(tr("Run Agent\u2026"), body);
    layout->addWidget(m_runAgent, 0, Qt::AlignLeft);
    hint->setVisible(m_mode == Mode::board);
    m_runAgent->setVisible(m_mode == Mode::board);
    m_plan = new QLabel(body);
    m_plan->setWordWrap(true);
    m_plan->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(m_plan);
    layout->addStretch(1);
    scroll->setWidget(body);
    outer->addWidget(scroll, 1);

    connect(close, &QToolButton::clicked, this, &IssueDetailView::closeRequested);
    connect(m_done, &QCheckBox::clicked, this, [this] { m_model.toggleCompletion(); });
    connect(m_title, &QLineEdit::editingFinished, this, &IssueDetailView::fieldsEdited);
    for (QComboBox *choice : {m_status, m_type, m_priority, m_project, m_milestone})
        connect(choice, &QComboBox::activated, this, &IssueDetailView::fieldsEdited);
    connect(m_hasDue, &QCheckBox::clicked, this, &IssueDetailView::fieldsEdited);
    connect(m_due, &QDateEdit::editingFinished, this, &IssueDetailView::fieldsEdited);
    connect(m_addItem, &QPushButton::clicked, this, [this] {
        const auto item = m_model.addBlankChecklistItem();
        m_model.save();
        if (item)
            apply(ChecklistFocus{item->id, ChecklistFocus::Caret::end, 0});
    });
    connect(m_runAgent, &QPushButton::clicked, this, [this] {
        if (m_model.issue())
            emit runAgentRequested(m_model.issue()->id);
    });
}

QWidget *IssueDetailView::buildLabels(QWidget *body)
{
    auto *box = new QWidget(body);
    auto *column = new QVBoxLayout(box);
    column->setContentsMargins(0, 0, 0, 0);
    m_labels = new QListWidget(box);
    m_labels->setObjectName(QStringLiteral("labelList"));
    m_labels->setFlow(QListView::LeftToRight);
    m_labels->setWrapping(true);
    m_labels->setResizeMode(QListView::Adjust);
    m_labels->setSpacing(2);
    m_labels->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_labels->installEventFilter(this); // its height follows its rows when it is resized
    m_labels->setFrameShape(QFrame::NoFrame);
    m_labels->setSelectionMode(QAbstractItemView::NoSelection);
    m_labels->setToolTip(tr("Check a label to apply it to this card"));
    column->addWidget(m_labels);
    auto *creator = new QHBoxLayout;
    m_newLabel = new QLineEdit(box);
    m_newLabel->setObjectName(QStringLiteral("newLabelField"));
    m_newLabel->setPlaceholderText(tr("New label"));
    m_newLabelColor = new QComboBox(box);
    m_newLabelColor->setObjectName(QStringLiteral("newLabelColor"));
    for (const QString &color : IssueDetailViewModel::labelColors())
        m_newLabelColor->addItem(swatch(color), QString(), color);
    m_newLabelColor->setToolTip(tr("Label colour"));
    auto *add = new QToolButton(box);
    add->setText(tr("Add"));
    creator->addWidget(m_newLabel, 1);
    creator->addWidget(m_newLabelColor);
    creator->addWidget(add);
    column->addLayout(creator);
    connect(m_labels, &QListWidget::itemChanged, this, [this](QListWidgetItem *item) {
        if (m_filling)
            return;
        // After the click is done with the item: the save redraws the list.
        QTimer::singleShot(0, this, [this, id = item->data(Qt::UserRole).toUuid()] {
            if (const auto label = m_planner.context().get<IssueLabel>(id))
                m_model.toggleLabel(*label);
        });
    });
    connect(m_newLabel, &QLineEdit::returnPressed, this, &IssueDetailView::addLabel);
    connect(add, &QToolButton::clicked, this, &IssueDetailView::addLabel);
    return box;
}

void IssueDetailView::addLabel()
{
    if (m_model.createLabel(m_newLabel->text(), m_newLabelColor->currentData().toString()))
        m_newLabel->clear();
}

QWidget *IssueDetailView::buildWorkspaceSection(QWidget *body)
{
    auto *section = new QWidget(body);
    auto *column = new QVBoxLayout(section);
    column->setContentsMargins(0, 6, 0, 0);
    m_workspace = new QLabel(section);
    m_workspace->setObjectName(QStringLiteral("issueWorkspace"));
    m_workspace->setWordWrap(true);
    column->addWidget(m_workspace);
    auto *buttons = new QHBoxLayout;
    m_createWorkspace = new QPushButton(tr("Create Workspace"), section);
    m_openWorkspace = new QPushButton(tr("Open"), section);
    m_restoreWorkspace = new QPushButton(tr("Restore"), section);
    m_disconnect = new QPushButton(m_mode == Mode::board ? tr("Disconnect workspace from issue")
                                                         : tr("Disconnect issue from workspace"), section);
    for (QPushButton *button : {m_createWorkspace, m_openWorkspace, m_restoreWorkspace, m_disconnect})
        buttons->addWidget(button);
    buttons->addStretch(1);
    column->addLayout(buttons);
    // The workspace's own inspector needs no line naming it, only the way to let the card go.
    m_workspace->setVisible(m_mode == Mode::board);

    connect(m_createWorkspace, &QPushButton::clicked, this, &IssueDetailView::createWorkspace);
    connect(m_openWorkspace, &QPushButton::clicked, this, [this] {
        if (const auto workspace = m_model.linkedWorkspace())
            emit workspaceActivated(workspace->id);
    });
    connect(m_restoreWorkspace, &QPushButton::clicked, this, [this] {
        if (const auto notice = m_model.restoreLinkedWorkspace())
            emit noticeRaised(*notice);
    });
    connect(m_disconnect, &QPushButton::clicked, this, [this] {
        m_model.disconnectWorkspace();
        if (m_mode == Mode::workspacePanel)
            emit disconnected();
    });
    return section;
}

void IssueDetailView::createWorkspace()
{
    if (const auto workspace = m_model.createWorkspaceFromIssue())
        emit workspaceActivated(workspace->id);
}

void IssueDetailView::showIssue(const QUuid &issueId)
{
    m_model.load(m_planner.context().get<Issue>(issueId));
}

bool IssueDetailView::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_description && event->type() == QEvent::FocusOut && !m_filling)
        fieldsEdited();
    if (watched == m_labels && event->type() == QEvent::Resize)
        fitLabels();
    return QWidget::eventFilter(watched, event);
}

void IssueDetailView::fieldsEdited()
{
    if (m_filling || !m_model.issue())
        return;
    m_model.title = m_title->text();
    m_model.descriptionText = m_description->toPlainText();
    m_model.status = IssueStatus(m_status->currentData().toInt());
    m_model.type = IssueType(m_type->currentData().toInt());
    m_model.priority = IssuePriority(m_priority->currentData().toInt());
    const QUuid project = m_project->currentData().toUuid();
    m_model.selectedProjectId = project.isNull() ? std::nullopt : std::optional(project);
    const QUuid milestone = m_milestone->currentData().toUuid();
    m_model.selectedMilestoneId = milestone.isNull() ? std::nullopt : std::optional(milestone);
    m_model.hasDueDate = m_hasDue->isChecked();
    m_model.dueDate = QDateTime(m_due->date(), QTime(12, 0));
    m_model.save();
}

void IssueDetailView::fill()
{
    const auto issue = m_model.issue();
    setEnabled(bool(issue));
    if (!issue)
        return;
    m_filling = true;
    m_done->setChecked(m_model.status == IssueStatus::done);
    if (m_title->text() != m_model.title)
        m_title->setText(m_model.title);
    if (m_description->toPlainText() != m_model.descriptionText)
        m_description->setPlainText(m_model.descriptionText);
    m_status->setCurrentIndex(m_status->findData(int(m_model.status)));
    m_type->setCurrentIndex(m_type->findData(int(m_model.type)));
    m_priority->setCurrentIndex(m_priority->findData(int(m_model.priority)));
    m_project->clear();
    m_project->addItem(tr("No Project"), QUuid());
    for (const auto &project : m_model.availableProjects())
        m_project->addItem(project->name, project->id);
    m_project->setCurrentIndex(m_model.selectedProjectId ? std::max(0, m_project->findData(*m_model.selectedProjectId)) : 0);
    m_milestone->clear();
    m_milestone->addItem(tr("No Milestone"), QUuid());
    for (const auto &milestone : m_model.availableMilestones())
        m_milestone->addItem(milestone->title, milestone->id);
    m_milestone->setCurrentIndex(m_model.selectedMilestoneId ? std::max(0, m_milestone->findData(*m_model.selectedMilestoneId)) : 0);
    m_hasDue->setChecked(m_model.hasDueDate);
    m_due->setDate(m_model.dueDate.date());
    m_due->setEnabled(m_model.hasDueDate);

    const auto project = issue->projectId ? m_planner.context().get<Project>(*issue->projectId) : nullptr;
    fillLabels();
    fillWorkspace();
    m_runAgent->setEnabled(bool(project));
    const auto plan = PlannerService::planContent(*issue, project.get());
    m_plan->setText(plan ? tr("<b>Plan</b><br>") + plan->toHtmlEscaped().replace(QLatin1Char('\n'), QStringLiteral("<br>")) : QString());
    m_plan->setVisible(plan.has_value());
    fillChecklist();
    m_filling = false;
}

void IssueDetailView::fillLabels()
{
    m_labels->clear();
    for (const auto &label : m_model.availableLabels()) {
        auto *item = new QListWidgetItem(swatch(label->colorHex), label->name, m_labels);
        item->setData(Qt::UserRole, label->id);
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
        item->setCheckState(m_model.isLabelApplied(*label) ? Qt::Checked : Qt::Unchecked);
    }
    m_labels->setVisible(m_labels->count() > 0);
    fitLabels();
    const bool hasProject = m_model.selectedProjectId.has_value();
    m_newLabel->setEnabled(hasProject);
    m_newLabel->setPlaceholderText(hasProject ? tr("New label") : tr("Add to a project to use labels"));
}

void IssueDetailView::fitLabels()
{
    // As tall as its wrapped rows, so that a few labels take one line and many do not scroll.
    const int width = std::max(1, m_labels->viewport()->width());
    const int spacing = m_labels->spacing();
    int x = 0, rows = m_labels->count() ? 1 : 0, rowHeight = 0;
    for (int i = 0; i < m_labels->count(); ++i) {
        const QSize item = m_labels->sizeHintForIndex(m_labels->model()->index(i, 0)) + QSize(2 * spacing, 2 * spacing);
        rowHeight = std::max(rowHeight, item.height());
        if (x > 0 && x + item.width() > width) {
            ++rows;
            x = 0;
        }
        x += item.width();
    }
    m_labels->setFixedHeight(rows * rowHeight + 2 * m_labels->frameWidth() + 2);
}

void IssueDetailView::fillWorkspace()
{
    const auto issue = m_model.issue();
    const auto workspace = m_model.linkedWorkspace();
    const bool hasProject = issue->projectId.has_value();
    if (workspace)
        m_workspace->setText(tr("Workspace: <b>%1</b>%2%3").arg(workspace->name.toHtmlEscaped(),
                                                                 workspace->gitBranch ? QStringLiteral(" \u00B7 ") + workspace->gitBranch->toHtmlEscaped() : QString(),
                                                                 workspace->isArchived() ? tr(" \u00B7 Archived") : QString()));
    else
        m_workspace->setText(hasProject ? QString() : tr("Add to a project to create a workspace"));
    const bool board = m_mode == Mode::board;
    m_createWorkspace->setVisible(board && !workspace && hasProject);
    m_openWorkspace->setVisible(board && workspace && !workspace->isArchived());
    m_restoreWorkspace->setVisible(board && workspace && workspace->isArchived());
    m_disconnect->setVisible(bool(workspace));
}

QList<ChecklistTitleField *> IssueDetailView::checklistFields() const
{
    QList<ChecklistTitleField *> fields;
    for (int i = 0; i < m_checklist->count(); ++i)
        if (QWidget *row = m_checklist->itemAt(i)->widget())
            if (auto *field = row->findChild<ChecklistTitleField *>())
                fields.append(field);
    return fields;
}

namespace {

void showCompleted(ChecklistTitleField *field, bool completed)
{
    QFont font = field->font();
    font.setStrikeOut(completed);
    field->setFont(font);
    field->setForegroundRole(completed ? QPalette::PlaceholderText : QPalette::Text);
}

} // namespace

void IssueDetailView::fillChecklist()
{
    const auto items = m_model.sortedChecklistItems();
    int done = 0;
    QList<QUuid> ids;
    for (const auto &item : items) {
        ids.append(item->id);
        done += item->isCompleted ? 1 : 0;
    }
    m_progress->setText(items.isEmpty() ? tr("<b>Checklist</b>") : tr("<b>Checklist</b> %1/%2").arg(done).arg(items.size()));
    // The same rows in the same order are updated where they stand, so the row being typed in
    // keeps the focus and its caret across a save.
    if (ids == m_rowIds) {
        const QList<ChecklistTitleField *> fields = checklistFields();
        for (qsizetype i = 0; i < items.size() && i < fields.size(); ++i) {
            ChecklistTitleField *field = fields[i];
            if (!field->hasFocus() && field->text() != items[i]->title)
                field->setText(items[i]->title);
            showCompleted(field, items[i]->isCompleted);
            if (auto *box = field->parentWidget()->findChild<QCheckBox *>())
                box->setChecked(items[i]->isCompleted);
        }
        return;
    }
    m_rowIds = ids;
    while (QLayoutItem *old = m_checklist->takeAt(0)) {
        if (QWidget *row = old->widget()) {
            row->hide();
            row->deleteLater(); // a row's own key handler may be on the stack
        }
        delete old;
    }
    for (const auto &item : items) {
        auto *row = new QWidget;
        auto *line = new QHBoxLayout(row);
        line->setContentsMargins(0, 0, 0, 0);
        auto *box = new QCheckBox(row);
        box->setChecked(item->isCompleted);
        auto *field = new ChecklistTitleField(item->title, row);
        field->setProperty("itemId", item->id);
        field->setFrame(false);
        showCompleted(field, item->isCompleted);
        auto *remove = new QToolButton(row);
        remove->setText(QStringLiteral("\u2715"));
        remove->setAutoRaise(true);
        line->addWidget(box);
        line->addWidget(field, 1);
        line->addWidget(remove);
        m_checklist->addWidget(row);
        connect(box, &QCheckBox::clicked, this, [this, item] { apply(m_model.onToggle(*item)); });
        connect(remove, &QToolButton::clicked, this, [this, item] { apply(m_model.onDelete(item)); });
        connect(field, &QLineEdit::textEdited, this, [item](const QString &text) { item->title = text; });
        connect(field, &QLineEdit::editingFinished, this, [this] {
            if (!m_filling)
                m_model.onTitleCommit();
        });
        connect(field, &ChecklistTitleField::submitted, this, [this, item] {
            const auto focus = m_model.onSubmit(*item);
            m_model.save();
            apply(focus);
        });
        connect(field, &ChecklistTitleField::movedUp, this, [this, item] { apply(m_model.onMoveUp(*item)); });
        connect(field, &ChecklistTitleField::movedDown, this, [this, item] { apply(m_model.onMoveDown(*item)); });
        connect(field, &ChecklistTitleField::movedLeftAtStart, this, [this, item] { apply(m_model.onMoveLeftAtStart(*item)); });
        connect(field, &ChecklistTitleField::movedRightAtEnd, this, [this, item] { apply(m_model.onMoveRightAtEnd(*item)); });
        connect(field, &ChecklistTitleField::deletedEmpty, this, [this, item] { apply(m_model.onDeleteEmpty(item)); });
    }
}

void IssueDetailView::apply(const std::optional<ChecklistFocus> &focus)
{
    if (!focus)
        return;
    // On the next turn of the event loop: the rows may be drawn again first.
    QTimer::singleShot(0, this, [this, focus = *focus] {
        for (ChecklistTitleField *field : checklistFields()) {
            if (field->property("itemId").toUuid() != focus.item)
                continue;
            field->setFocus(Qt::OtherFocusReason);
            switch (focus.caret) {
            case ChecklistFocus::Caret::start:
                field->setCursorPosition(0);
                break;
            case ChecklistFocus::Caret::end:
                field->setCursorPosition(int(field->text().size()));
                break;
            case ChecklistFocus::Caret::position:
                field->setCursorPosition(std::clamp(focus.offset, 0, int(field->text().size())));
                break;
            }
            return;
        }
    });
}

} // namespace corvane
