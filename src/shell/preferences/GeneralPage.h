#pragma once

#include <QWidget>

#include <functional>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace corvane {

class AppSettings;
enum class AgentTool;

// The General page of Preferences: the user's names (for authorship), where the claude and codex
// commands are, the permission mode new chats start in, hidden files in the inspector, and the
// way back to the setup checklist. Every change is written at once.
class GeneralPage : public QWidget
{
    Q_OBJECT

public:
    explicit GeneralPage(AppSettings &settings, QWidget *parent = nullptr);
    ~GeneralPage() override;

    // Asks for a program file; empty means cancelled. The default is the desktop's file picker.
    void setFilePicker(std::function<QString(QWidget *parent, const QString &start)> picker) { m_pickFile = std::move(picker); }

    QLineEdit *firstNameField() const { return m_firstName; }
    QLineEdit *lastNameField() const { return m_lastName; }
    QLineEdit *pathField(AgentTool tool) const;
    QLabel *pathMessage(AgentTool tool) const;
    QPushButton *browseButton(AgentTool tool) const;
    QComboBox *permissionModeBox() const { return m_permissionMode; }
    QCheckBox *hiddenFilesBox() const { return m_hiddenFiles; }
    QCheckBox *analyticsBox() const { return m_analytics; }
    QPushButton *checklistButton() const { return m_checklist; }

signals:
    void setupChecklistRequested();

private:
    struct PathRow
    {
        QLineEdit *field = nullptr;
        QLabel *message = nullptr;
        QPushButton *browse = nullptr;
    };

    PathRow makePathRow(AgentTool tool);
    void savePath(AgentTool tool);
    const PathRow &row(AgentTool tool) const;

    AppSettings &m_settings;
    QLineEdit *m_firstName;
    QLineEdit *m_lastName;
    PathRow m_claude;
    PathRow m_codex;
    QComboBox *m_permissionMode;
    QCheckBox *m_hiddenFiles;
    QCheckBox *m_analytics;
    QPushButton *m_checklist;
    std::function<QString(QWidget *, const QString &)> m_pickFile;
};

} // namespace corvane
