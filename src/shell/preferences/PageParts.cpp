#include "shell/preferences/PageParts.h"

#include <QLabel>
#include <QMessageBox>
#include <QPushButton>

namespace corvane::pageparts {

QLabel *heading(const QString &text)
{
    auto *label = new QLabel(text);
    QFont font = label->font();
    font.setBold(true);
    label->setFont(font);
    return label;
}

QLabel *warningLine(const char *objectName)
{
    auto *label = new QLabel;
    label->setObjectName(QString::fromLatin1(objectName));
    label->setWordWrap(true);
    label->setStyleSheet(QStringLiteral("color: #c0392b;"));
    label->hide();
    return label;
}

void confirm(QWidget *parent, const QString &title, const QString &text, const QString &button,
             std::function<void()> onConfirm)
{
    auto *box = new QMessageBox(QMessageBox::Warning, title, text, QMessageBox::NoButton, parent);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::WindowModal);
    QPushButton *yes = box->addButton(button, QMessageBox::DestructiveRole);
    box->setDefaultButton(box->addButton(QMessageBox::Cancel));
    QObject::connect(box, &QMessageBox::buttonClicked, box, [yes, onConfirm = std::move(onConfirm)](QAbstractButton *clicked) {
        if (clicked == yes && onConfirm)
            onConfirm();
    });
    box->open();
}

void inform(QWidget *parent, const QString &title, const QString &text)
{
    auto *box = new QMessageBox(QMessageBox::Information, title, text, QMessageBox::Ok, parent);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::WindowModal);
    box->open();
}

} // namespace corvane::pageparts
