#pragma once

#include "core/settings/KeyboardShortcutAction.h"

#include <QHash>
#include <QWidget>

class QLabel;
class QPushButton;

namespace corvane {

class AppSettings;
class ShortcutRecorder;

// The Shortcuts page of Preferences: the eighteen actions under File, Edit and View, each with
// the key its menu item has on this desktop. Clicking the key records a new one; a refusal shows
// under the row with the reason and the old key stays. The menus follow the settings' broadcast.
class ShortcutsPage : public QWidget
{
    Q_OBJECT

public:
    explicit ShortcutsPage(AppSettings &settings, QWidget *parent = nullptr);

    ShortcutRecorder *recorder(KeyboardShortcutAction action) const { return m_rows.value(action).recorder; }
    QPushButton *resetButton(KeyboardShortcutAction action) const { return m_rows.value(action).reset; }
    // The row's message: a refusal, or why the action has no key here. Hidden when there is none.
    QLabel *message(KeyboardShortcutAction action) const { return m_rows.value(action).message; }
    QPushButton *resetAllButton() const { return m_resetAll; }

    // Redraws every row from the settings; a refusal shown stays until that row changes.
    void refresh();

private:
    struct Row
    {
        ShortcutRecorder *recorder = nullptr;
        QPushButton *reset = nullptr;
        QLabel *message = nullptr;
    };

    void record(KeyboardShortcutAction action, const KeyCombo &combo);
    void showProblem(KeyboardShortcutAction action, const QString &text);

    AppSettings &m_settings;
    QHash<KeyboardShortcutAction, Row> m_rows;
    QHash<KeyboardShortcutAction, QString> m_problems;
    QPushButton *m_resetAll;
};

} // namespace corvane
