#pragma once

#include "agent/AgentQuestion.h"
#include "shell/chat/ChatStyle.h"

#include <QFrame>
#include <QList>

class QAbstractButton;
class QLabel;
class QLineEdit;
class QPushButton;
class QVBoxLayout;

namespace corvane {

// The agent's question: its first question with the offered answers (check boxes when several
// may be chosen), a free answer, and Cancel (Escape) / Submit (Return).
class QuestionCard : public QFrame
{
    Q_OBJECT
public:
    QuestionCard(const ChatStyle &style, QWidget *parent = nullptr);

    void setQuestions(const QList<AgentQuestion> &questions);
    // The answer Submit would send: the trimmed free text, else the chosen labels joined by ", ".
    QString answerText() const;

    QList<QAbstractButton *> optionButtons() const { return m_options; }
    QLineEdit *freeText() const { return m_free; }
    QPushButton *submitButton() const { return m_submit; }
    QPushButton *cancelButton() const { return m_cancel; }

signals:
    void answered(const QString &text);
    void cancelled();

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    void updateSubmit();

    QLabel *m_header;
    QLabel *m_question;
    QVBoxLayout *m_optionBox;
    QLabel *m_otherLabel;
    QLineEdit *m_free;
    QPushButton *m_cancel;
    QPushButton *m_submit;
    QList<QAbstractButton *> m_options;
    QList<AgentQuestion::Option> m_optionValues;
};

} // namespace corvane
