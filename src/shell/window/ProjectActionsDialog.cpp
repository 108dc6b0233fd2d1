#include "shell/window/ProjectActionsDialog.h"

#include "core/records/Project.h"
#include "core/records/ProjectActions.h"
#include "core/store/StoreContext.h"
#include "tools/launch/RunCommandPresets.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

namespace corvane {

namespace {

const QStringList kSymbols{QStringLiteral("play.fill"), QStringLiteral("hammer.fill"), QStringLiteral("stop.fill"),
                           QStringLiteral("arrow.clockwise"), QStringLiteral("terminal.fill"), QStringLiteral("ant.fill")};

} // namespace

ProjectActionsDialog::ProjectActionsDialog(StoreContext &context, const Project &project, QWidget *parent)
    : QDialog(parent), m_context(context), m_projectId(project.id)
{
    setObjectName(QStringLiteral("projectActionsDialog"));
    setWindowTitle(tr("Project Actions — %1").arg(project.name));
    build(project.path);
    const auto actions = projectactions::sorted(m_context, m_projectId);
    reloadList(actions.isEmpty() ? QUuid() : actions.first()->id);
    resize(560, 380);
}

ProjectActionsDialog::~ProjectActionsDialog()
{
    // The fields' last edit is already written; nothing may reach this half-destroyed dialog.
    for (QObject *field : std::initializer_list<QObject *>{m_name, m_script, m_symbol, m_list})
        field->disconnect(this);
}

void ProjectActionsDialog::build(const QString &folder)
{
    auto *layout = new QVBoxLayout(this);
    auto *columns = new QHBoxLayout;
    auto *left = new QVBoxLayout;
    m_list = new QListWidget(this);
    m_list->setObjectName(QStringLiteral("actionList"));
    left->addWidget(m_list, 1);
    auto *listButtons = new QHBoxLayout;
    const auto makeButton = [&](const QString &text, const char *name, auto slot) {
        auto *button = new QPushButton(text, this);
        button->setObjectName(QLatin1String(name));
        button->setAutoDefault(false);
        connect(button, &QPushButton::clicked, this, slot);
        listButtons->addWidget(button);
    };
    makeButton(tr("Add"), "addAction", [this] { addAction(tr("New Action"), QString()); });
    makeButton(tr("Duplicate"), "duplicateAction", [this] {
        if (const auto copy = projectactions::duplicate(m_context, selectedId()))
            reloadList(copy->id);
    });
    makeButton(tr("Delete"), "deleteAction", [this] {
        const int row = m_list->currentRow();
        projectactions::remove(m_context, selectedId());
        const auto rest = projectactions::sorted(m_context, m_projectId);
        reloadList(rest.isEmpty() ? QUuid() : rest.at(std::min(row, int(rest.size()) - 1))->id);
    });
    makeButton(tr("Up"), "moveActionUp", [this] {
        const QUuid id = selectedId();
        projectactions::move(m_context, m_projectId, m_list->currentRow(), m_list->currentRow() - 1);
        reloadList(id);
    });
    makeButton(tr("Down"), "moveActionDown", [this] {
        const QUuid id = selectedId();
        projectactions::move(m_context, m_projectId, m_list->currentRow(), m_list->currentRow() + 1);
        reloadList(id);
    });
    left->addLayout(listButtons);
    columns->addLayout(left, 1);

    auto *form = new QFormLayout;
    m_name = new QLineEdit(this);
    m_name->setObjectName(QStringLiteral("actionName"));
    m_symbol = new QComboBox(this);
    m_symbol->setObjectName(QStringLiteral("actionSymbol"));
    m_symbol->addItems(kSymbols);
    m_script = new QLineEdit(this);
    m_script->setObjectName(QStringLiteral("actionScript"));
    m_script->setPlaceholderText(tr("e.g. npm run dev"));
    form->addRow(tr("Name"), m_name);
    form->addRow(tr("Symbol"), m_symbol);
    form->addRow(tr("Script"), m_script);
    m_message = new QLabel(this);
    m_message->setObjectName(QStringLiteral("actionMessage"));
    m_message->setWordWrap(true);
    form->addRow(m_message);
    columns->addLayout(form, 1);
    layout->addLayout(columns, 1);

    // What the folder's build files suggest; picking one adds it as an action.
    m_suggestions = new QComboBox(this);
    m_suggestions->setObjectName(QStringLiteral("actionSuggestions"));
    m_suggestions->addItem(tr("Add a suggested command…"));
    for (const RunCommandPreset &preset : detectPresets(folder))
        m_suggestions->addItem(tr("%1 (from %2)").arg(preset.name, preset.detectedBy), QStringList{preset.name, preset.command});
    m_suggestions->setEnabled(m_suggestions->count() > 1);
    connect(m_suggestions, &QComboBox::activated, this, [this](int index) {
        const QStringList preset = m_suggestions->itemData(index).toStringList();
        m_suggestions->setCurrentIndex(0);
        if (preset.size() == 2)
            addAction(preset.at(0), preset.at(1));
    });
    layout->addWidget(m_suggestions);

    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);

    connect(m_list, &QListWidget::currentRowChanged, this, [this] { showSelected(); });
    connect(m_name, &QLineEdit::textEdited, this, &ProjectActionsDialog::formEdited);
    connect(m_script, &QLineEdit::textEdited, this, &ProjectActionsDialog::formEdited);
    connect(m_symbol, &QComboBox::currentTextChanged, this, &ProjectActionsDialog::formEdited);
}

QPushButton *ProjectActionsDialog::button(const QString &objectName) const
{
    return findChild<QPushButton *>(objectName);
}

void ProjectActionsDialog::reloadList(const QUuid &select)
{
    m_loading = true;
    m_list->clear();
    int selectedRow = -1;
    for (const auto &action : projectactions::sorted(m_context, m_projectId)) {
        auto *item = new QListWidgetItem(action->name, m_list);
        item->setData(Qt::UserRole, action->id);
        if (action->id == select)
            selectedRow = m_list->count() - 1;
    }
    m_list->setCurrentRow(selectedRow);
    m_loading = false;
    showSelected();
}

QUuid ProjectActionsDialog::selectedId() const
{
    const QListWidgetItem *item = m_list->currentItem();
    return item ? item->data(Qt::UserRole).toUuid() : QUuid();
}

void ProjectActionsDialog::showSelected()
{
    if (m_loading)
        return;
    const auto action = selectedId().isNull() ? nullptr : m_context.get<ProjectAction>(selectedId());
    m_loading = true;
    m_name->setText(action ? action->name : QString());
    m_script->setText(action ? action->script : QString());
    m_symbol->setCurrentIndex(-1);
    if (action) {
        if (!kSymbols.contains(action->symbolName) && m_symbol->findText(action->symbolName) < 0)
            m_symbol->addItem(action->symbolName);
        m_symbol->setCurrentText(action->symbolName);
    }
    m_loading = false;
    for (QWidget *field : std::initializer_list<QWidget *>{m_name, m_symbol, m_script, button("duplicateAction"),
                                                            button("deleteAction"), button("moveActionUp"), button("moveActionDown")})
        field->setEnabled(action != nullptr);
    m_message->setText(action || m_list->count() > 0 ? QString()
                                                    : tr("No actions yet. Each one becomes a button over the project's "
                                                         "workspaces that runs its script in a new terminal tab."));
}

void ProjectActionsDialog::addAction(const QString &name, const QString &script)
{
    const auto added = projectactions::add(m_context, m_projectId, name, kSymbols.first(), script);
    reloadList(added->id);
    m_name->setFocus();
    m_name->selectAll();
}

void ProjectActionsDialog::formEdited()
{
    if (m_loading)
        return;
    const auto action = selectedId().isNull() ? nullptr : m_context.get<ProjectAction>(selectedId());
    if (!action)
        return;
    // A blank name would make a button without a label: the stored one stays until there is one.
    const QString name = m_name->text().trimmed();
    m_message->setText(name.isEmpty() ? tr("An action needs a name; it is the button's label.")
                       : m_script->text().trimmed().isEmpty() ? tr("Without a script the button does nothing.")
                                                              : QString());
    if (!name.isEmpty())
        action->name = name;
    action->script = m_script->text();
    if (!m_symbol->currentText().isEmpty())
        action->symbolName = m_symbol->currentText();
    (void)m_context.save();
    if (QListWidgetItem *item = m_list->currentItem())
        item->setText(action->name);
}

} // namespace corvane
