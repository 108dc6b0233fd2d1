#include "shell/chat/QuestionCard.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace corvane {

QuestionCard::QuestionCard(const ChatStyle &style, QWidget *parent) : QFrame(parent)
{
    setObjectName(QStringLiteral("questionCard"));
    setStyleSheet(style.cardSheet(objectName()));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(12, 10, 12, 10);
    auto *title = new QLabel(QStringLiteral("Claude has a question"), this);
    QFont bold = style.bodyFont();
    bold.setBold(true);
    title->setFont(bold);
    m_header = new QLabel(this);
    m_header->setStyleSheet(QStringLiteral("color: %1;").arg(style.secondaryText.name()));
    m_question = new QLabel(this);
    m_question->setWordWrap(true);
    m_question->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_optionBox = new QVBoxLayout;
    m_optionBox->setSpacing(4);
    auto *otherRow = new QHBoxLayout;
    m_otherLabel = new QLabel(QStringLiteral("Other:"), this);
    m_free = new QLineEdit(this);
    otherRow->addWidget(m_otherLabel);
    otherRow->addWidget(m_free, 1);
    auto *buttons = new QHBoxLayout;
    m_cancel = new QPushButton(QStringLiteral("Cancel"), this);
    m_submit = new QPushButton(QStringLiteral("Submit"), this);
    m_submit->setDefault(true);
    buttons->addStretch();
    buttons->addWidget(m_cancel);
    buttons->addWidget(m_submit);
    layout->addWidget(title);
    layout->addWidget(m_header);
    layout->addWidget(m_question);
    layout->addLayout(m_optionBox);
    layout->addLayout(otherRow);
    layout->addLayout(buttons);
    connect(m_free, &QLineEdit::textChanged, this, &QuestionCard::updateSubmit);
    connect(m_free, &QLineEdit::returnPressed, this, [this] {
        if (m_submit->isEnabled())
            m_submit->click();
    });
    connect(m_cancel, &QPushButton::clicked, this, &QuestionCard::cancelled);
    connect(m_submit, &QPushButton::clicked, this, [this] {
        if (m_submit->isEnabled())
            emit answered(answerText());
    });
}

void QuestionCard::setQuestions(const QList<AgentQuestion> &questions)
{
    qDeleteAll(m_options);
    m_options.clear();
    m_free->clear();
    const AgentQuestion question = questions.value(0);
    m_header->setText(question.header.value_or(QString()));
    m_header->setVisible(question.header.has_value() && !question.header->isEmpty());
    m_question->setText(question.question);
    m_optionValues = question.options;
    auto *group = new QButtonGroup(this);
    group->setExclusive(!question.multiSelect);
    for (const AgentQuestion::Option &option : question.options) {
        QAbstractButton *button = nullptr;
        if (question.multiSelect) {
            button = new QCheckBox(option.label, this);
        } else {
            auto *push = new QPushButton(option.label, this);
            push->setCheckable(true);
            push->setStyleSheet(QStringLiteral("text-align: left; padding: 4px 8px;"));
            button = push;
        }
        if (option.description && !option.description->isEmpty())
            button->setToolTip(*option.description);
        group->addButton(button);
        m_optionBox->addWidget(button);
        m_options << button;
        connect(button, &QAbstractButton::toggled, this, &QuestionCard::updateSubmit);
    }
    const bool hasOptions = !question.options.isEmpty();
    m_otherLabel->setVisible(hasOptions);
    m_free->setPlaceholderText(hasOptions ? QStringLiteral("Type a custom answer...") : QStringLiteral("Type your answer..."));
    updateSubmit();
}

QString QuestionCard::answerText() const
{
    const QString free = m_free->text().trimmed();
    if (!free.isEmpty())
        return free;
    QStringList chosen;
    for (int i = 0; i < m_options.size(); ++i)
        if (m_options[i]->isChecked() && i < m_optionValues.size())
            chosen << m_optionValues.at(i).label;
    return chosen.join(QStringLiteral(", "));
}

void QuestionCard::updateSubmit()
{
    m_submit->setEnabled(!answerText().isEmpty());
}

void QuestionCard::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape) {
        emit cancelled();
        return;
    }
    if ((event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) && m_submit->isEnabled()) {
        m_submit->click();
        return;
    }
    QFrame::keyPressEvent(event);
}

} // namespace corvane
