#pragma once

#include <QHash>
#include <QWidget>

class QLabel;
class QPushButton;

namespace corvane {

class OnboardingChecklistViewModel;
class OnboardingRow;

// The first-run checklist: what Corvane needs, each row checked for real and put right from
// here where it can be. Continue opens once the required rows are ok and one agent is installed
// and signed in; the application then marks onboarding done and opens a main window.
class OnboardingWindow : public QWidget
{
    Q_OBJECT

public:
    // Takes the model over when it has no parent; starts checking at once and again whenever
    // one of the application's windows becomes active.
    explicit OnboardingWindow(OnboardingChecklistViewModel *model, QWidget *parent = nullptr);
    ~OnboardingWindow() override;

    OnboardingChecklistViewModel &model() const { return *m_model; }
    OnboardingRow *row(const QString &id) const { return m_rows.value(id); }
    QPushButton *continueButton() const { return m_continue; }
    QLabel *footer() const { return m_footer; }

signals:
    void completed();

private:
    void refreshFooter();

    OnboardingChecklistViewModel *m_model;
    QHash<QString, OnboardingRow *> m_rows;
    QLabel *m_footer;
    QPushButton *m_continue;
    QPushButton *m_checkAgain;
};

} // namespace corvane
