#pragma once

#include <QPointer>
#include <QWidget>

#include <memory>

class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QToolButton;

namespace corvane {

class AppSettings;
class ProfileActions;
class ProfileAuthMonitor;
class StoreContext;
struct Profile;

// One profile in Preferences: its name, colour and icon, whether it is the default, the Claude and
// ChatGPT sign-ins with what is known of each, the models its new chats and commit messages use,
// and its configuration folder.
class ProfileCard : public QWidget
{
    Q_OBJECT

public:
    ProfileCard(ProfileActions &actions, StoreContext &context, AppSettings *settings, QWidget *parent = nullptr);
    ~ProfileCard() override;

    void setProfile(std::shared_ptr<Profile> profile);
    const std::shared_ptr<Profile> &profile() const { return m_profile; }
    // Draws the record and the monitor's answers again.
    void refresh();

    QLineEdit *nameField() const { return m_name; }
    QLabel *claudeSubtitle() const { return m_claudeSubtitle; }
    QLabel *chatGptSubtitle() const { return m_chatGptSubtitle; }
    QToolButton *claudeRefresh() const { return m_claudeRefresh; }
    QToolButton *chatGptRefresh() const { return m_chatGptRefresh; }
    QPushButton *claudeSignIn() const { return m_claudeSignIn; }
    QPushButton *chatGptSignIn() const { return m_chatGptSignIn; }
    QPushButton *apiKeyButton() const { return m_apiKey; }
    QPushButton *defaultButton() const { return m_default; }
    QComboBox *defaultModel() const { return m_defaultModel; }
    QComboBox *commitModel() const { return m_commitModel; }
    QLabel *configDir() const { return m_configDir; }

private:
    void fillModels(QComboBox *combo, const std::optional<QString> &chosen);
    void chooseModel(QComboBox *combo, std::optional<QString> Profile::*field);

    ProfileActions &m_actions;
    StoreContext &m_context;
    AppSettings *m_settings;
    QPointer<ProfileAuthMonitor> m_monitor;
    std::shared_ptr<Profile> m_profile;
    QLineEdit *m_name;
    QComboBox *m_color;
    QComboBox *m_icon;
    QPushButton *m_default;
    QLabel *m_claudeMark;
    QLabel *m_claudeTitle;
    QLabel *m_claudeSubtitle;
    QPushButton *m_claudeSignIn;
    QToolButton *m_claudeRefresh;
    QLabel *m_chatGptMark;
    QLabel *m_chatGptTitle;
    QLabel *m_chatGptSubtitle;
    QPushButton *m_chatGptSignIn;
    QPushButton *m_apiKey;
    QToolButton *m_chatGptRefresh;
    QComboBox *m_defaultModel;
    QComboBox *m_commitModel;
    QLabel *m_configDir;
    QPushButton *m_reveal;
};

} // namespace corvane
