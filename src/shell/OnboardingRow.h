#pragma once

#include "accounts/onboarding/OnboardingChecklistItem.h"

#include <QFrame>

class QLabel;
class QPlainTextEdit;
class QPushButton;
class QStackedWidget;
class QToolButton;

namespace corvane {

class OnboardingChecklistViewModel;

// One row of the first-run checklist: icon, title and subtitle, its state, the action it
// offers, and for a failed row the log of what went wrong, folded away until asked for.
class OnboardingRow : public QFrame
{
    Q_OBJECT

public:
    OnboardingRow(OnboardingChecklistViewModel &model, const QString &id, QWidget *parent = nullptr);

    QString id() const { return m_id; }
    // Reads the row from the model again.
    void refresh();

    QLabel *statusLabel() const { return m_status; }
    QPushButton *actionButton() const { return m_action; }
    QToolButton *logToggle() const { return m_logToggle; }
    QPlainTextEdit *log() const { return m_log; }
    bool isLogOpen() const { return m_logOpen; }
    QLabel *requirementLabel() const { return m_requirement; }
    QLabel *noteLabel() const { return m_note; }

private:
    void toggleLog();

    OnboardingChecklistViewModel &m_model;
    QString m_id;
    QLabel *m_icon;
    QLabel *m_title;
    QLabel *m_subtitle;
    QLabel *m_note;
    QLabel *m_requirement;
    QStackedWidget *m_indicator;
    QLabel *m_status;
    QPushButton *m_action;
    QToolButton *m_logToggle;
    QPlainTextEdit *m_log;
    bool m_logOpen = false;
};

} // namespace corvane
