#include "shell/tools/ToolForm.h"

#include <QColorDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QScrollArea>
#include <QToolButton>

namespace corvane::toolform {

QLineEdit *line(const char *objectName, const QString &placeholder)
{
    auto *field = new QLineEdit;
    field->setObjectName(QString::fromLatin1(objectName));
    field->setPlaceholderText(placeholder);
    return field;
}

QWidget *colorRow(QLineEdit *field)
{
    auto *row = new QWidget;
    auto *layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    auto *swatch = new QToolButton;
    swatch->setObjectName(QStringLiteral("colorSwatch"));
    swatch->setFixedSize(24, 24);
    auto paint = [swatch, field] {
        const QColor color(field->text().trimmed());
        swatch->setStyleSheet(color.isValid() ? QStringLiteral("background: %1; border-radius: 4px;").arg(color.name())
                                              : QString());
    };
    QObject::connect(field, &QLineEdit::textChanged, swatch, paint);
    QObject::connect(swatch, &QToolButton::clicked, field, [field] {
        const QColor chosen = QColorDialog::getColor(QColor(field->text().trimmed()), field);
        if (chosen.isValid())
            field->setText(chosen.name().toUpper());
    });
    layout->addWidget(field, 1);
    layout->addWidget(swatch);
    return row;
}

QLabel *note(const QString &text)
{
    auto *label = new QLabel(text);
    label->setWordWrap(true);
    label->setEnabled(false);
    return label;
}

QLabel *errorLine(const char *objectName)
{
    auto *label = new QLabel;
    label->setObjectName(QString::fromLatin1(objectName));
    label->setStyleSheet(QStringLiteral("color: #D93F3F;"));
    label->setWordWrap(true);
    label->hide();
    return label;
}

QWidget *scrolling(QFormLayout *form)
{
    auto *content = new QWidget;
    content->setLayout(form);
    auto *scroll = new QScrollArea;
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidgetResizable(true);
    scroll->setWidget(content);
    return scroll;
}

void clear(QLayout *layout)
{
    while (QLayoutItem *item = layout->takeAt(0)) {
        delete item->widget();
        delete item;
    }
}

} // namespace corvane::toolform
