#include "shell/window/RenameDialog.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace corvane {

RenameDialog::RenameDialog(const QString &title, const QString &name, QWidget *parent)
    : QDialog(parent), m_name(new QLineEdit(name, this))
{
    setObjectName(QStringLiteral("renameDialog"));
    setWindowTitle(title);
    auto *layout = new QVBoxLayout(this);
    auto *form = new QFormLayout;
    form->addRow(tr("Name"), m_name);
    layout->addLayout(form);
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    m_rename = buttons->addButton(tr("Rename"), QDialogButtonBox::AcceptRole);
    m_rename->setDefault(true);
    layout->addWidget(buttons);
    m_name->selectAll();
    const auto check = [this] { m_rename->setEnabled(!m_name->text().trimmed().isEmpty()); };
    connect(m_name, &QLineEdit::textChanged, this, check);
    check();
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(buttons, &QDialogButtonBox::accepted, this, [this] {
        if (m_name->text().trimmed().isEmpty())
            return;
        emit renamed(m_name->text());
        accept();
    });
    setMinimumWidth(360);
}

} // namespace corvane
