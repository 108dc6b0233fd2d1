#include "shell/files/FileDialogs.h"

#include "tools/files/FileTreeViewModel.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QUrl>
#include <QVBoxLayout>

namespace corvane {

NewFolderDialog::NewFolderDialog(QWidget *parent)
    : QDialog(parent), m_field(new QLineEdit(tr("untitled folder")))
{
    setWindowTitle(tr("New Folder"));
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(new QLabel(tr("Enter a name for the new folder:")));
    m_field->setObjectName(QStringLiteral("newFolderName"));
    m_field->setPlaceholderText(tr("Folder name"));
    m_field->selectAll();
    layout->addWidget(m_field);
    auto *buttons = new QDialogButtonBox;
    m_create = buttons->addButton(tr("Create"), QDialogButtonBox::AcceptRole);
    m_create->setDefault(true);
    buttons->addButton(tr("Cancel"), QDialogButtonBox::RejectRole);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_field, &QLineEdit::textChanged, this, [this] { m_create->setEnabled(!name().isEmpty()); });
    layout->addWidget(buttons);
}

QString NewFolderDialog::name() const
{
    return m_field->text().trimmed();
}

std::optional<QString> NewFolderDialog::ask(QWidget *parent)
{
    NewFolderDialog dialog(parent);
    if (dialog.exec() != QDialog::Accepted || dialog.name().isEmpty())
        return std::nullopt;
    return dialog.name();
}

QMessageBox *makeConflictBox(const FileConflict &conflict, QWidget *parent)
{
    auto *box = new QMessageBox(QMessageBox::Warning, QObject::tr("File Exists"),
                                QObject::tr("A file named \"%1\" already exists in this location.").arg(QFileInfo(conflict.destination).fileName()),
                                QMessageBox::NoButton, parent);
    box->setObjectName(QStringLiteral("fileConflictBox"));
    box->setInformativeText(QObject::tr("Do you want to replace the existing file, or keep both files?"));
    box->addButton(QObject::tr("Replace"), QMessageBox::DestructiveRole)->setObjectName(QStringLiteral("replace"));
    box->setDefaultButton(box->addButton(QObject::tr("Keep Both"), QMessageBox::AcceptRole));
    box->defaultButton()->setObjectName(QStringLiteral("keepBoth"));
    box->setEscapeButton(box->addButton(QObject::tr("Cancel"), QMessageBox::RejectRole));
    box->escapeButton()->setObjectName(QStringLiteral("cancel"));
    box->setAttribute(Qt::WA_DeleteOnClose);
    return box;
}

void showInFileManager(const QString &path)
{
    const QUrl folder = QUrl::fromLocalFile(QFileInfo(path).absolutePath());
    QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
                                                       QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << QStringList{QUrl::fromLocalFile(path).toString()} << QString();
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        QDesktopServices::openUrl(folder);
        return;
    }
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, 3000));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [folder](QDBusPendingCallWatcher *done) {
        if (done->isError())
            QDesktopServices::openUrl(folder);
        done->deleteLater();
    });
}

} // namespace corvane
