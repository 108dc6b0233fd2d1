#include "shell/window/QualityGatesDialog.h"

#include "automation/ProjectGates.h"
#include "core/records/Project.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

namespace corvane {

QualityGatesDialog::QualityGatesDialog(StoreContext &context, const Project &project, QWidget *parent)
    : QDialog(parent), m_context(context), m_projectId(project.id)
{
    setWindowTitle(tr("Quality Gates — %1").arg(project.name));
    for (const auto &gate : projectgates::of(context, project.id))
        m_gates.append(*gate);
    build();
    for (int row = 0; row < m_gates.size(); ++row) {
        m_list->addItem(QString());
        refreshRow(row);
    }
    m_list->setCurrentRow(m_gates.isEmpty() ? -1 : 0);
    showGate(m_list->currentRow());
    resize(720, 480);
}

void QualityGatesDialog::build()
{
    auto *layout = new QVBoxLayout(this);
    auto *intro = new QLabel(tr("Shell commands that check an automation run's work, in the order they run. "
                                "A required gate that fails sends its feedback to the coordinator."), this);
    intro->setWordWrap(true);
    layout->addWidget(intro);

    auto *columns = new QHBoxLayout;
    auto *left = new QVBoxLayout;
    m_list = new QListWidget(this);
    m_list->setObjectName(QStringLiteral("gateList"));
    left->addWidget(m_list, 1);
    auto *listButtons = new QHBoxLayout;
    m_add = new QPushButton(tr("Add"), this);
    m_remove = new QPushButton(tr("Remove"), this);
    m_up = new QPushButton(tr("Up"), this);
    m_down = new QPushButton(tr("Down"), this);
    for (QPushButton *button : {m_add, m_remove, m_up, m_down}) {
        button->setAutoDefault(false);
        listButtons->addWidget(button);
    }
    left->addLayout(listButtons);
    columns->addLayout(left, 2);

    m_form = new QWidget(this);
    auto *form = new QFormLayout(m_form);
    m_name = new QLineEdit(m_form);
    m_name->setPlaceholderText(tr("tests"));
    m_command = new QLineEdit(m_form);
    m_command->setPlaceholderText(tr("make test"));
    m_folder = new QLineEdit(m_form);
    m_folder->setPlaceholderText(tr("The workspace's folder"));
    m_timeout = new QSpinBox(m_form);
    m_timeout->setRange(0, 24 * 3600);
    m_timeout->setSuffix(tr(" s"));
    m_timeout->setSpecialValueText(tr("None"));
    m_successCode = new QSpinBox(m_form);
    m_successCode->setRange(0, 255);
    m_required = new QCheckBox(tr("A failure stops the run's validation"), m_form);
    m_enabled = new QCheckBox(tr("Runs"), m_form);
    m_feedback = new QPlainTextEdit(m_form);
    m_feedback->setPlaceholderText(tr("Sent to the coordinator when the gate fails; {name}, {exitCode} and {output} are filled in."));
    form->addRow(tr("Name:"), m_name);
    form->addRow(tr("Command:"), m_command);
    form->addRow(tr("Working folder:"), m_folder);
    form->addRow(tr("Time-out:"), m_timeout);
    form->addRow(tr("Success exit code:"), m_successCode);
    form->addRow(tr("Required:"), m_required);
    form->addRow(tr("Enabled:"), m_enabled);
    form->addRow(tr("Feedback:"), m_feedback);
    columns->addWidget(m_form, 3);
    layout->addLayout(columns, 1);

    m_error = new QLabel(this);
    m_error->setObjectName(QStringLiteral("gateError"));
    m_error->setStyleSheet(QStringLiteral("color: palette(highlight);"));
    m_error->setVisible(false);
    layout->addWidget(m_error);
    m_buttons = new QDialogButtonBox(QDialogButtonBox::Save | QDialogButtonBox::Cancel, this);
    layout->addWidget(m_buttons);

    connect(m_buttons, &QDialogButtonBox::accepted, this, &QualityGatesDialog::accept);
    connect(m_buttons, &QDialogButtonBox::rejected, this, &QualityGatesDialog::reject);
    connect(m_add, &QPushButton::clicked, this, &QualityGatesDialog::addGate);
    connect(m_remove, &QPushButton::clicked, this, &QualityGatesDialog::removeGate);
    connect(m_up, &QPushButton::clicked, this, [this] { move(-1); });
    connect(m_down, &QPushButton::clicked, this, [this] { move(1); });
    connect(m_list, &QListWidget::currentRowChanged, this, &QualityGatesDialog::showGate);
    for (QLineEdit *field : {m_name, m_command, m_folder})
        connect(field, &QLineEdit::textEdited, this, &QualityGatesDialog::formEdited);
    for (QSpinBox *field : {m_timeout, m_successCode})
        connect(field, &QSpinBox::valueChanged, this, &QualityGatesDialog::formEdited);
    for (QCheckBox *box : {m_required, m_enabled})
        connect(box, &QCheckBox::toggled, this, &QualityGatesDialog::formEdited);
    connect(m_feedback, &QPlainTextEdit::textChanged, this, &QualityGatesDialog::formEdited);
}

QPushButton *QualityGatesDialog::saveButton() const
{
    return m_buttons->button(QDialogButtonBox::Save);
}

void QualityGatesDialog::refreshRow(int row)
{
    const QualityGate &gate = m_gates[row];
    QString text = gate.name.trimmed().isEmpty() ? tr("(unnamed)") : gate.name.trimmed();
    if (!gate.isRequired)
        text += tr(" · optional");
    if (!gate.isEnabled)
        text += tr(" · off");
    m_list->item(row)->setText(text);
}

void QualityGatesDialog::showGate(int row)
{
    m_shown = row;
    const bool any = row >= 0 && row < m_gates.size();
    m_form->setEnabled(any);
    m_remove->setEnabled(any);
    m_up->setEnabled(any && row > 0);
    m_down->setEnabled(any && row + 1 < m_gates.size());
    const QualityGate gate = any ? m_gates[row] : QualityGate();
    m_loading = true;
    m_name->setText(any ? gate.name : QString());
    m_command->setText(gate.command);
    m_folder->setText(gate.workingDirOverride.value_or(QString()));
    m_timeout->setValue(int(gate.timeoutSeconds));
    m_successCode->setValue(int(gate.successExitCode));
    m_required->setChecked(gate.isRequired);
    m_enabled->setChecked(gate.isEnabled);
    m_feedback->setPlainText(gate.feedbackTemplate);
    m_loading = false;
}

void QualityGatesDialog::formEdited()
{
    if (m_loading || m_shown < 0 || m_shown >= m_gates.size())
        return;
    QualityGate &gate = m_gates[m_shown];
    gate.name = m_name->text();
    gate.command = m_command->text();
    gate.workingDirOverride = m_folder->text().trimmed().isEmpty() ? std::nullopt : std::optional(m_folder->text().trimmed());
    gate.timeoutSeconds = m_timeout->value();
    gate.successExitCode = m_successCode->value();
    gate.isRequired = m_required->isChecked();
    gate.isEnabled = m_enabled->isChecked();
    gate.feedbackTemplate = m_feedback->toPlainText();
    refreshRow(m_shown);
    m_error->setVisible(false);
}

void QualityGatesDialog::addGate()
{
    QualityGate gate;
    gate.projectId = m_projectId;
    gate.feedbackTemplate = projectgates::defaultFeedback();
    m_gates.append(gate);
    m_list->addItem(QString());
    refreshRow(int(m_gates.size()) - 1);
    m_list->setCurrentRow(int(m_gates.size()) - 1);
    m_name->setFocus();
}

void QualityGatesDialog::removeGate()
{
    const int row = m_list->currentRow();
    if (row < 0 || row >= m_gates.size())
        return;
    m_gates.removeAt(row);
    m_shown = -1; // the row's widget goes before the selection moves
    delete m_list->takeItem(row);
    showGate(m_list->currentRow());
}

void QualityGatesDialog::move(int by)
{
    const int row = m_list->currentRow();
    const int to = row + by;
    if (row < 0 || to < 0 || to >= m_gates.size())
        return;
    m_gates.swapItemsAt(row, to);
    refreshRow(row);
    refreshRow(to);
    m_list->setCurrentRow(to);
}

void QualityGatesDialog::accept()
{
    if (Status saved = projectgates::save(m_context, m_projectId, m_gates); !saved) {
        m_error->setText(saved.error().message);
        m_error->setVisible(true);
        return;
    }
    QDialog::accept();
}

} // namespace corvane
