#pragma once

#include "core/records/Enums.h"

#include <QDialog>

#include <memory>
#include <optional>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QWidget;

namespace corvane {

class ProfileService;
struct Profile;

namespace profileSheets {
// Symbol names a profile may show beside its dot; the first entry, empty, is the dot alone.
QStringList iconNames();
// A combo box of the colours in picker order, each with its swatch; data is the ProfileColor.
QComboBox *colorPicker(QWidget *parent);
QComboBox *iconPicker(QWidget *parent);
} // namespace profileSheets

// "New Profile": a name, a colour, an icon and, folded away, a folder of the user's choosing.
// Creates the profile itself and closes; a failure is shown in the sheet, which stays open.
class NewProfileDialog : public QDialog
{
    Q_OBJECT

public:
    NewProfileDialog(ProfileService &profiles, QWidget *parent = nullptr);

    QLineEdit *nameField() const { return m_name; }
    QComboBox *colorField() const { return m_color; }
    QComboBox *iconField() const { return m_icon; }
    QCheckBox *advancedToggle() const { return m_advanced; }
    QLineEdit *folderField() const { return m_folder; }
    QPushButton *createButton() const { return m_create; }
    QLabel *errorLine() const { return m_error; }
    std::shared_ptr<Profile> created() const { return m_created; }

private:
    void create();

    ProfileService &m_profiles;
    QLineEdit *m_name;
    QComboBox *m_color;
    QComboBox *m_icon;
    QCheckBox *m_advanced;
    QWidget *m_folderBox;
    QLineEdit *m_folder;
    QLabel *m_error;
    QPushButton *m_create;
    std::shared_ptr<Profile> m_created;
};

// "Use ChatGPT API Key": a raw OpenAI key written to the profile's auth.json in place of any
// ChatGPT sign-in. A key that can't be written leaves the sheet open with the reason.
class ApiKeyDialog : public QDialog
{
    Q_OBJECT

public:
    ApiKeyDialog(ProfileService &profiles, std::shared_ptr<Profile> profile, QWidget *parent = nullptr);

    QLineEdit *keyField() const { return m_key; }
    QPushButton *saveButton() const { return m_save; }
    QLabel *errorLine() const { return m_error; }
    QLabel *whereLine() const { return m_where; }

private:
    void save();

    ProfileService &m_profiles;
    std::shared_ptr<Profile> m_profile;
    QLineEdit *m_key;
    QLabel *m_where;
    QLabel *m_error;
    QPushButton *m_save;
};

} // namespace corvane
