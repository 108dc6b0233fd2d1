#include "shell/preferences/GitSettingsDialog.h"

#include "shell/tools/ToolForm.h"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

namespace corvane {

namespace {

QStringList texts(const QListWidget &list)
{
    QStringList shown;
    for (int i = 0; i < list.count(); ++i)
        shown << list.item(i)->text();
    return shown;
}

} // namespace

GitSettingsDialog::GitSettingsDialog(QWidget *parent, const QString &gitProgram)
    : QDialog(parent), m_model(gitProgram)
{
    setWindowTitle(tr("Git Settings"));
    setMinimumSize(440, 420);
    auto *layout = new QVBoxLayout(this);
    auto *form = new QFormLayout;
    m_name = toolform::line("authorName", tr("Your Name"));
    m_email = toolform::line("authorEmail", tr("you@example.com"));
    form->addRow(tr("Name"), m_name);
    form->addRow(tr("Email"), m_email);
    layout->addLayout(form);
    layout->addWidget(toolform::note(tr("Used for git commits. Corresponds to git config --global user.name / user.email.")));
    // Edits are remembered as they are typed and written when the field is submitted.
    connect(m_name, &QLineEdit::textEdited, this, [this](const QString &text) { m_model.editName(text); });
    connect(m_email, &QLineEdit::textEdited, this, [this](const QString &text) { m_model.editEmail(text); });
    connect(m_name, &QLineEdit::editingFinished, this, [this] { m_model.submitName(); });
    connect(m_email, &QLineEdit::editingFinished, this, [this] { m_model.submitEmail(); });

    layout->addWidget(new QLabel(tr("Ignored Patterns")));
    m_patterns = new QListWidget;
    m_patterns->setObjectName(QStringLiteral("patterns"));
    layout->addWidget(m_patterns, 1);
    auto *row = new QHBoxLayout;
    m_add = new QToolButton;
    m_add->setText(QStringLiteral("+"));
    m_add->setToolTip(tr("Add Ignored Pattern"));
    m_remove = new QToolButton;
    m_remove->setText(QStringLiteral("-"));
    m_remove->setToolTip(tr("Remove the selected pattern"));
    row->addWidget(m_add);
    row->addWidget(m_remove);
    row->addStretch();
    layout->addLayout(row);
    m_readOnly = toolform::errorLine("ignoreFileUnreadable");
    layout->addWidget(m_readOnly);
    layout->addWidget(toolform::note(tr("Patterns added to your global ~/.gitignore via core.excludesFile.")));
    connect(m_add, &QToolButton::clicked, this, &GitSettingsDialog::askForPattern);
    connect(m_remove, &QToolButton::clicked, this, [this] {
        if (QListWidgetItem *item = m_patterns->currentItem())
            m_model.removePattern(item->text());
    });
    connect(m_patterns, &QListWidget::currentRowChanged, this, [this] { redraw(); });

    // Outside a button box, which would make it the default: Return in a field submits that
    // field and leaves the sheet open for the next one.
    auto *finished = new QPushButton(tr("Done"));
    finished->setAutoDefault(false);
    auto *bottom = new QHBoxLayout;
    bottom->addStretch();
    bottom->addWidget(finished);
    layout->addLayout(bottom);
    connect(finished, &QPushButton::clicked, this, &QDialog::accept);

    connect(&m_model, &GitSettingsModel::loaded, this, [this] {
        m_name->setText(m_model.authorName());
        m_email->setText(m_model.authorEmail());
    });
    connect(&m_model, &GitSettingsModel::changed, this, &GitSettingsDialog::redraw);
    m_name->setEnabled(false);
    m_email->setEnabled(false);
    redraw();
    m_model.load();
}

GitSettingsDialog::~GitSettingsDialog()
{
    // The fields lose focus as the sheet is taken down, after the model has gone.
    disconnect(m_name, nullptr, this, nullptr);
    disconnect(m_email, nullptr, this, nullptr);
}

void GitSettingsDialog::done(int result)
{
    m_model.done();
    QDialog::done(result);
}

void GitSettingsDialog::redraw()
{
    const bool loaded = m_model.isLoaded();
    m_name->setEnabled(loaded);
    m_email->setEnabled(loaded);
    const QString selected = m_patterns->currentItem() ? m_patterns->currentItem()->text() : QString();
    const QStringList patterns = m_model.ignoredPatterns();
    if (patterns != texts(*m_patterns)) {
        const QSignalBlocker quiet(m_patterns);
        m_patterns->clear();
        m_patterns->addItems(patterns);
        const QList<QListWidgetItem *> again = m_patterns->findItems(selected, Qt::MatchExactly);
        if (!again.isEmpty())
            m_patterns->setCurrentItem(again.constFirst());
    }
    const bool editable = loaded && !m_model.isIgnoreFileReadOnly();
    m_add->setEnabled(editable);
    m_remove->setEnabled(editable && m_patterns->currentItem());
    m_readOnly->setVisible(m_model.isIgnoreFileReadOnly());
    m_readOnly->setText(tr("%1 could not be read as text, so it is left as it is.").arg(m_model.ignoreFilePath()));
}

void GitSettingsDialog::askForPattern()
{
    auto *prompt = new QInputDialog(this);
    prompt->setObjectName(QStringLiteral("addPatternPrompt"));
    prompt->setAttribute(Qt::WA_DeleteOnClose);
    prompt->setWindowTitle(tr("Add Ignored Pattern"));
    prompt->setLabelText(tr("Enter a gitignore pattern (e.g., .DS_Store, *.log):"));
    prompt->setOkButtonText(tr("Add"));
    prompt->setCancelButtonText(tr("Cancel"));
    if (auto *field = prompt->findChild<QLineEdit *>())
        field->setPlaceholderText(QStringLiteral("*.log"));
    connect(prompt, &QInputDialog::textValueSelected, this, [this](const QString &text) { m_model.addPattern(text); });
    prompt->open();
}

} // namespace corvane
