#pragma once

#include "accounts/onboarding/OnboardingChecklistItem.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>

#include <optional>

namespace corvane {

class OnboardingValidator;

// The first-run checklist: its rows and their states, what each row offers, and whether the
// user can go on. Rows are checked all at once, again whenever a window of the application
// becomes active (the user may come back from a terminal or the system settings), and after
// each action. Lives on the main thread.
class OnboardingChecklistViewModel : public QObject
{
    Q_OBJECT

public:
    using Item = OnboardingChecklistItem;

    // Takes the validator over when it has no parent yet.
    explicit OnboardingChecklistViewModel(OnboardingValidator *validator,
                                          QList<Item> items = onboarding::defaultItems(), QObject *parent = nullptr);
    ~OnboardingChecklistViewModel() override;

    static QString heading();
    static QString connectHint();

    const QList<Item> &items() const { return m_items; }
    const Item *item(const QString &id) const;
    std::optional<QString> currentlyInstallingId() const { return m_installingId; }
    OnboardingValidator &validator() const { return *m_validator; }

    // Every row not being acted on is checked again, side by side; an earlier revalidation
    // still running is dropped.
    void revalidateAll();
    // Runs the row's action, then checks the row again.
    void act(const QString &id);

    // Every required row is ok. A permission this machine cannot give at all (no notification
    // service) is not held against the user.
    bool allRequiredSatisfied() const;
    bool isOk(const QString &id) const;
    // The required rows, and one agent with its sign-in.
    bool canContinue() const;
    QString footerText() const;

    // "Requires Node.js" while the row it depends on is not ok; empty otherwise.
    QString requirementText(const QString &id) const;
    // "Install", "Sign In", "Login", "Grant", "Retry", "Installing…"; empty when the row offers
    // nothing (ok, being checked, or waiting for another row).
    QString actionTitle(const QString &id) const;
    bool canAct(const QString &id) const;

    // Revalidates whenever one of the application's windows becomes active, until stopped.
    void observeWindowActivation();
    void stopObserving();
    bool isObserving() const { return !m_observers.isEmpty(); }

signals:
    void itemChanged(const QString &id);
    // After any change of a row or of the row being acted on.
    void changed();

private:
    Item *find(const QString &id);
    void update(const QString &id, const std::function<void(Item &)> &change);
    void finishAct(const QString &id, bool performed);
    void scheduleRevalidation();

    OnboardingValidator *m_validator;
    QList<Item> m_items;
    std::optional<QString> m_installingId;
    // The current revalidation's answers go to this object; deleting it drops them.
    QPointer<QObject> m_revalidation;
    QList<QMetaObject::Connection> m_observers;
    bool m_revalidationQueued = false;
};

} // namespace corvane
