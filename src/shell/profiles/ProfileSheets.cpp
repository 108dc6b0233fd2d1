#include "shell/profiles/ProfileSheets.h"

#include "accounts/ProfileColor.h"
#include "accounts/ProfileService.h"
#include "core/records/Profile.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPixmap>
#include <QPushButton>
#include <QVBoxLayout>

namespace corvane {

namespace {

// The foot of a sheet: its error line (hidden until something fails), then Cancel and the
// sheet's action, which stays off while `field` is blank.
QPushButton *addErrorAndButtons(QDialog *sheet, QBoxLayout *layout, QLabel *error, QLineEdit *field,
                                const QString &action)
{
    error->setObjectName(QStringLiteral("sheetError"));
    error->setWordWrap(true);
    error->setStyleSheet(QStringLiteral("color: #FF453A"));
    error->hide();
    layout->addWidget(error);
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Cancel);
    QPushButton *accept = buttons->addButton(action, QDialogButtonBox::AcceptRole);
    accept->setEnabled(false);
    layout->addWidget(buttons);
    QObject::connect(field, &QLineEdit::textChanged, accept,
                     [accept](const QString &text) { accept->setEnabled(!text.trimmed().isEmpty()); });
    QObject::connect(buttons, &QDialogButtonBox::rejected, sheet, &QDialog::reject);
    return accept;
}

} // namespace

namespace profileSheets {

QStringList iconNames()
{
    return {QString(), QStringLiteral("briefcase"), QStringLiteral("house"), QStringLiteral("person"),
            QStringLiteral("building.2"), QStringLiteral("star"), QStringLiteral("bolt"), QStringLiteral("hammer"),
            QStringLiteral("graduationcap"), QStringLiteral("heart")};
}

QComboBox *colorPicker(QWidget *parent)
{
    auto *combo = new QComboBox(parent);
    combo->setObjectName(QStringLiteral("profileColor"));
    for (ProfileColor color : allProfileColors()) {
        QPixmap swatch(12, 12);
        swatch.fill(Qt::transparent);
        QPainter painter(&swatch);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(profileColorHex(color)));
        painter.drawEllipse(QRectF(1, 1, 10, 10));
        painter.end();
        QString name = store::EnumCodec<ProfileColor>::toRaw(color);
        name[0] = name[0].toUpper();
        combo->addItem(QIcon(swatch), name, int(color));
    }
    return combo;
}

QComboBox *iconPicker(QWidget *parent)
{
    auto *combo = new QComboBox(parent);
    combo->setObjectName(QStringLiteral("profileIcon"));
    for (const QString &name : iconNames())
        combo->addItem(name.isEmpty() ? QObject::tr("None (dot only)") : name, name);
    return combo;
}

} // namespace profileSheets

NewProfileDialog::NewProfileDialog(ProfileService &profiles, QWidget *parent)
    : QDialog(parent), m_profiles(profiles), m_name(new QLineEdit), m_advanced(new QCheckBox(tr("Advanced"))),
      m_folderBox(new QWidget), m_folder(new QLineEdit), m_error(new QLabel)
{
    setObjectName(QStringLiteral("newProfileSheet"));
    setWindowTitle(tr("New Profile"));
    auto *layout = new QVBoxLayout(this);
    auto *header = new QLabel(tr("A new Claude Code config directory will be created for this profile, isolated from "
                                 "your other accounts."));
    header->setWordWrap(true);
    layout->addWidget(header);

    auto *form = new QFormLayout;
    m_name->setObjectName(QStringLiteral("profileName"));
    m_name->setPlaceholderText(tr("Work, Personal, Client A\u2026"));
    m_color = profileSheets::colorPicker(this);
    m_icon = profileSheets::iconPicker(this);
    form->addRow(tr("Name"), m_name);
    form->addRow(tr("Colour"), m_color);
    form->addRow(tr("Icon"), m_icon);
    layout->addLayout(form);

    layout->addWidget(m_advanced);
    auto *folderLayout = new QFormLayout(m_folderBox);
    folderLayout->setContentsMargins(0, 0, 0, 0);
    m_folder->setObjectName(QStringLiteral("profileFolder"));
    folderLayout->addRow(tr("Config Directory"), m_folder);
    auto *help = new QLabel(tr("Leave blank to allocate a fresh directory under Application Support. Point at an "
                               "existing directory (e.g. ~/.claude-work) to share state with another tool."));
    help->setWordWrap(true);
    help->setEnabled(false);
    folderLayout->addRow(help);
    m_folderBox->setVisible(false);
    layout->addWidget(m_folderBox);
    connect(m_advanced, &QCheckBox::toggled, m_folderBox, &QWidget::setVisible);

    m_create = addErrorAndButtons(this, layout, m_error, m_name, tr("Create"));
    connect(m_create, &QPushButton::clicked, this, &NewProfileDialog::create);
}

void NewProfileDialog::create()
{
    const QString icon = m_icon->currentData().toString();
    const QString folder = m_advanced->isChecked() ? m_folder->text() : QString();
    auto created = m_profiles.createProfile(m_name->text(), ProfileColor(m_color->currentData().toInt()),
                                            icon.isEmpty() ? std::nullopt : std::optional(icon),
                                            folder.trimmed().isEmpty() ? std::nullopt : std::optional(folder));
    if (!created) {
        m_error->setText(created.error().message);
        m_error->show();
        return;
    }
    m_created = *created;
    accept();
}

ApiKeyDialog::ApiKeyDialog(ProfileService &profiles, std::shared_ptr<Profile> profile, QWidget *parent)
    : QDialog(parent), m_profiles(profiles), m_profile(std::move(profile)), m_key(new QLineEdit), m_where(new QLabel),
      m_error(new QLabel)
{
    setObjectName(QStringLiteral("apiKeySheet"));
    setWindowTitle(tr("Use ChatGPT API Key"));
    auto *layout = new QVBoxLayout(this);
    auto *title = new QLabel(QStringLiteral("<b>%1</b>").arg(tr("Use ChatGPT API Key")));
    layout->addWidget(title);
    auto *subtitle = new QLabel(tr("Sign in with a raw OpenAI API key instead of the ChatGPT OAuth flow."));
    subtitle->setWordWrap(true);
    layout->addWidget(subtitle);
    auto *form = new QFormLayout;
    m_key->setObjectName(QStringLiteral("apiKey"));
    m_key->setEchoMode(QLineEdit::Password);
    form->addRow(tr("API Key"), m_key);
    layout->addLayout(form);
    const QString home = m_profile && m_profile->codexHomeDir && !m_profile->codexHomeDir->trimmed().isEmpty()
        ? *m_profile->codexHomeDir : QDir::homePath() + QStringLiteral("/.codex");
    m_where->setText(tr("Stored at %1. The key replaces any existing OAuth tokens for this profile.")
                         .arg(QDir::cleanPath(home + QStringLiteral("/auth.json"))));
    m_where->setWordWrap(true);
    m_where->setEnabled(false);
    layout->addWidget(m_where);
    m_save = addErrorAndButtons(this, layout, m_error, m_key, tr("Save"));
    connect(m_save, &QPushButton::clicked, this, &ApiKeyDialog::save);
}

void ApiKeyDialog::save()
{
    if (m_key->text().trimmed().isEmpty())
        return;
    if (Status saved = m_profiles.saveCodexApiKey(m_profile, m_key->text()); !saved) {
        m_error->setText(saved.error().message);
        m_error->show();
        return;
    }
    accept();
}

} // namespace corvane
