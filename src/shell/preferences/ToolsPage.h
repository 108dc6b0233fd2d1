#pragma once

#include <QStringList>
#include <QWidget>

class QCheckBox;
class QListWidget;
class QPushButton;

namespace corvane {

class AppSettings;

// The Tools page of Preferences: "Enable all tools", a switch for each pinned tool (greyed while
// all are enabled), and their order in the sidebar, changed by dragging or with Move Up and Move
// Down. Every change is written at once; the sidebar follows the settings' broadcast.
class ToolsPage : public QWidget
{
    Q_OBJECT

public:
    explicit ToolsPage(AppSettings &settings, QWidget *parent = nullptr);

    QCheckBox *enableAllBox() const { return m_enableAll; }
    QListWidget *toolList() const { return m_list; }
    QPushButton *moveUpButton() const { return m_up; }
    QPushButton *moveDownButton() const { return m_down; }
    // The tool ids in the order the list shows them.
    QStringList shownOrder() const;

private:
    void fill();
    void move(int by);
    void saveOrder();
    void updateButtons();

    AppSettings &m_settings;
    QCheckBox *m_enableAll;
    QListWidget *m_list;
    QPushButton *m_up;
    QPushButton *m_down;
    bool m_filling = false;
};

} // namespace corvane
