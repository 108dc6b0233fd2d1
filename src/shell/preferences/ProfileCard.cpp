#include "shell/preferences/ProfileCard.h"

#include "accounts/ProfileAuthMonitor.h"
#include "accounts/ProfileColor.h"
#include "accounts/ProfileService.h"
#include "accounts/ProfileTexts.h"
#include "agent/AgentModelCatalogue.h"
#include "core/Log.h"
#include "core/records/Profile.h"
#include "core/settings/AppSettings.h"
#include "core/store/StoreContext.h"
#include "shell/profiles/ProfileActions.h"
#include "shell/profiles/ProfileSheets.h"

#include <QComboBox>
#include <QDesktopServices>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QSignalBlocker>
#include <QToolButton>
#include <QUrl>
#include <QVBoxLayout>

namespace corvane {

namespace {

QPixmap stateMark(const AuthState &state)
{
    QColor color(0x8E, 0x8E, 0x93);
    bool filled = false;
    switch (state.kind) {
    case AuthState::Kind::signedIn: color = QColor(0x30, 0xD1, 0x58); filled = true; break;
    case AuthState::Kind::probing: color = QColor(0xFF, 0xD6, 0x0A); filled = true; break;
    case AuthState::Kind::error: color = QColor(0xFF, 0x45, 0x3A); filled = true; break;
    case AuthState::Kind::signedOut:
    case AuthState::Kind::unknown: break;
    }
    QPixmap pixmap(12, 12);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(filled ? Qt::NoPen : QPen(color, 1.5));
    painter.setBrush(filled ? QBrush(color) : Qt::NoBrush);
    painter.drawEllipse(QRectF(1.5, 1.5, 9, 9));
    return pixmap;
}

QLabel *helpText(const QString &text)
{
    auto *label = new QLabel(text);
    label->setWordWrap(true);
    label->setEnabled(false);
    return label;
}

QToolButton *refreshButton(const QString &name)
{
    auto *button = new QToolButton;
    button->setObjectName(name);
    button->setText(QStringLiteral("\u21BB"));
    button->setToolTip(QObject::tr("Check again"));
    button->setAutoRaise(true);
    return button;
}

} // namespace

ProfileCard::ProfileCard(ProfileActions &actions, StoreContext &context, AppSettings *settings, QWidget *parent)
    : QWidget(parent), m_actions(actions), m_context(context), m_settings(settings), m_monitor(actions.monitor()),
      m_name(new QLineEdit), m_default(new QPushButton(tr("Set as Default"))), m_claudeMark(new QLabel),
      m_claudeTitle(new QLabel), m_claudeSubtitle(new QLabel), m_claudeSignIn(new QPushButton(tr("Sign in to Claude\u2026"))),
      m_claudeRefresh(refreshButton(QStringLiteral("claudeRefresh"))), m_chatGptMark(new QLabel), m_chatGptTitle(new QLabel),
      m_chatGptSubtitle(new QLabel), m_chatGptSignIn(new QPushButton(tr("Sign in with ChatGPT\u2026"))),
      m_apiKey(new QPushButton(tr("Use API Key\u2026"))), m_chatGptRefresh(refreshButton(QStringLiteral("chatGptRefresh"))),
      m_defaultModel(new QComboBox), m_commitModel(new QComboBox), m_configDir(new QLabel),
      m_reveal(new QPushButton(tr("Reveal Config Dir in File Manager")))
{
    setObjectName(QStringLiteral("profileCard"));
    m_color = profileSheets::colorPicker(this);
    m_icon = profileSheets::iconPicker(this);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);

    auto *identity = new QFormLayout;
    m_name->setObjectName(QStringLiteral("profileName"));
    identity->addRow(tr("Name"), m_name);
    identity->addRow(tr("Colour"), m_color);
    identity->addRow(tr("Icon"), m_icon);
    m_default->setObjectName(QStringLiteral("setDefaultButton"));
    identity->addRow(QString(), m_default);
    layout->addLayout(identity);

    auto *accounts = new QGroupBox(tr("Accounts"));
    auto *grid = new QGridLayout(accounts);
    // Per agent: its mark and name, what is known of it, then what can be done about it.
    const auto addRow = [grid](int row, QLabel *mark, QLabel *title, QLabel *subtitle, QList<QWidget *> buttons) {
        grid->addWidget(mark, row * 3, 0);
        grid->addWidget(title, row * 3, 1);
        subtitle->setWordWrap(true);
        subtitle->setEnabled(false);
        grid->addWidget(subtitle, row * 3 + 1, 1);
        auto *box = new QHBoxLayout;
        box->setSpacing(4);
        for (QWidget *button : buttons)
            box->addWidget(button);
        box->addStretch(1);
        grid->addLayout(box, row * 3 + 2, 1);
    };
    m_claudeSubtitle->setObjectName(QStringLiteral("claudeSubtitle"));
    m_chatGptSubtitle->setObjectName(QStringLiteral("chatGptSubtitle"));
    addRow(0, m_claudeMark, m_claudeTitle, m_claudeSubtitle, {m_claudeSignIn, m_claudeRefresh});
    addRow(1, m_chatGptMark, m_chatGptTitle, m_chatGptSubtitle, {m_chatGptSignIn, m_apiKey, m_chatGptRefresh});
    grid->setColumnStretch(1, 1);
    layout->addWidget(accounts);

    auto *models = new QFormLayout;
    models->setRowWrapPolicy(QFormLayout::WrapLongRows);
    m_defaultModel->setObjectName(QStringLiteral("defaultModel"));
    m_commitModel->setObjectName(QStringLiteral("commitModel"));
    models->addRow(tr("Default Model"), m_defaultModel);
    models->addRow(QString(), helpText(tr("Preselected when starting new chats in this profile. Only models from "
                                          "signed-in accounts are listed.")));
    models->addRow(tr("Commit Message Model"), m_commitModel);
    models->addRow(QString(), helpText(tr("Used to generate commit titles and PR descriptions. Defaults to Sonnet 4.5 "
                                          "when Claude is signed in, otherwise GPT-5.5.")));
    layout->addLayout(models);

    auto *folder = new QFormLayout;
    folder->setRowWrapPolicy(QFormLayout::WrapLongRows);
    m_configDir->setObjectName(QStringLiteral("configDir"));
    m_configDir->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_configDir->setWordWrap(true);
    folder->addRow(tr("Config Directory"), m_configDir);
    folder->addRow(QString(), helpText(tr("CLAUDE_CONFIG_DIR set to this path when launching `claude` for projects "
                                          "assigned to this profile.")));
    folder->addRow(QString(), m_reveal);
    layout->addLayout(folder);
    layout->addStretch(1);

    connect(m_name, &QLineEdit::editingFinished, this, [this] {
        if (m_profile && m_name->text().trimmed() != m_profile->name)
            (void)m_actions.profiles().renameProfile(m_profile, m_name->text());
    });
    connect(m_color, &QComboBox::activated, this, [this] {
        if (m_profile)
            m_actions.setColor(m_profile, ProfileColor(m_color->currentData().toInt()));
    });
    connect(m_icon, &QComboBox::activated, this, [this] {
        if (!m_profile)
            return;
        const QString icon = m_icon->currentData().toString();
        (void)m_actions.profiles().updateAppearance(m_profile, std::nullopt,
                                                    icon.isEmpty() ? std::optional<QString>() : std::optional(icon));
    });
    connect(m_default, &QPushButton::clicked, this, [this] { if (m_profile) m_actions.setDefault(m_profile); });
    connect(m_claudeSignIn, &QPushButton::clicked, this, [this] { if (m_profile) m_actions.signIn(SignInAgent::claude, m_profile); });
    connect(m_chatGptSignIn, &QPushButton::clicked, this, [this] { if (m_profile) m_actions.signIn(SignInAgent::chatGpt, m_profile); });
    connect(m_apiKey, &QPushButton::clicked, this, [this] { if (m_profile) m_actions.useApiKey(m_profile); });
    connect(m_claudeRefresh, &QToolButton::clicked, this, [this] { if (m_profile && m_monitor) m_monitor->probeClaude(m_profile); });
    connect(m_chatGptRefresh, &QToolButton::clicked, this, [this] { if (m_profile && m_monitor) m_monitor->probeCodex(m_profile); });
    connect(m_defaultModel, &QComboBox::activated, this, [this] { chooseModel(m_defaultModel, &Profile::defaultModelId); });
    connect(m_commitModel, &QComboBox::activated, this, [this] { chooseModel(m_commitModel, &Profile::commitMessageModelId); });
    connect(m_reveal, &QPushButton::clicked, this, [this] {
        if (m_profile)
            QDesktopServices::openUrl(QUrl::fromLocalFile(m_profile->configDirPath));
    });
    if (m_monitor) {
        const auto mine = [this](const QUuid &id) {
            if (m_profile && m_profile->id == id)
                refresh();
        };
        connect(m_monitor, &ProfileAuthMonitor::stateChanged, this, mine);
        connect(m_monitor, &ProfileAuthMonitor::codexStateChanged, this, mine);
    }
    setEnabled(false);
}

ProfileCard::~ProfileCard()
{
    // Losing focus while the card goes away must not rename a profile half torn down.
    disconnect(m_name, &QLineEdit::editingFinished, this, nullptr);
}

void ProfileCard::setProfile(std::shared_ptr<Profile> profile)
{
    m_profile = std::move(profile);
    refresh();
}

void ProfileCard::refresh()
{
    setEnabled(m_profile != nullptr);
    if (!m_profile)
        return;
    const Profile &p = *m_profile;
    if (!m_name->hasFocus())
        m_name->setText(p.name);
    {
        const QSignalBlocker colors(m_color);
        const QSignalBlocker icons(m_icon);
        const auto color = p.colorHex ? profileColorFromText(*p.colorHex) : std::nullopt;
        m_color->setCurrentIndex(color ? m_color->findData(int(*color)) : -1);
        m_icon->setCurrentIndex(std::max(0, m_icon->findData(p.iconName.value_or(QString()))));
    }
    m_default->setEnabled(!p.isDefault);
    m_default->setText(p.isDefault ? tr("Default Profile") : tr("Set as Default"));

    const AuthState claude = m_monitor ? m_monitor->state(p.id) : AuthState();
    const AuthState codex = m_monitor ? m_monitor->codexState(p.id) : AuthState();
    const auto title = [](const QString &agent, const AuthState &state, const std::optional<QString> &stored) {
        const std::optional<QString> email = state.kind == AuthState::Kind::signedIn ? state.email : stored;
        return email && !email->isEmpty() ? QStringLiteral("%1 \u2014 %2").arg(agent, *email) : agent;
    };
    m_claudeMark->setPixmap(stateMark(claude));
    m_claudeTitle->setText(title(tr("Claude"), claude, p.accountEmail));
    m_claudeSubtitle->setText(profileText::authSubtitle(profileText::Agent::claude, claude, p.lastLoginAt));
    m_chatGptMark->setPixmap(stateMark(codex));
    m_chatGptTitle->setText(title(tr("ChatGPT"), codex, p.codexAccountEmail));
    m_chatGptSubtitle->setText(profileText::authSubtitle(profileText::Agent::chatGpt, codex, p.codexLastLoginAt));
    m_claudeRefresh->setEnabled(!(m_monitor && m_monitor->isProbing(p.id)));

    fillModels(m_defaultModel, p.defaultModelId);
    fillModels(m_commitModel, p.commitMessageModelId);
    m_configDir->setText(p.configDirPath);
}

void ProfileCard::fillModels(QComboBox *combo, const std::optional<QString> &chosen)
{
    const QSignalBlocker blocker(combo);
    combo->clear();
    combo->addItem(tr("Use global default"), QString());
    const QSet<QString> hidden = m_settings ? m_settings->hiddenModelIdsSet() : QSet<QString>();
    const bool claude = m_monitor && m_monitor->state(m_profile->id).kind == AuthState::Kind::signedIn;
    const bool codex = m_monitor && m_monitor->codexState(m_profile->id).kind == AuthState::Kind::signedIn;
    for (const AgentModelDescriptor &model : profileText::modelChoices(hidden, claude, codex))
        combo->addItem(model.displayName, model.id);
    int index = combo->findData(chosen.value_or(QString()));
    if (index < 0) {
        // A choice made while its account was signed in stays shown rather than silently dropped.
        const auto known = AgentModelCatalogue::byId(*chosen);
        combo->addItem(known ? known->displayName : *chosen, *chosen);
        index = combo->count() - 1;
    }
    combo->setCurrentIndex(index);
}

void ProfileCard::chooseModel(QComboBox *combo, std::optional<QString> Profile::*field)
{
    if (!m_profile)
        return;
    const QString id = combo->currentData().toString();
    std::optional<QString> chosen = id.isEmpty() ? std::nullopt : std::optional(id);
    if ((*m_profile).*field == chosen)
        return;
    (*m_profile).*field = chosen;
    if (Status saved = m_context.save(); !saved)
        emit m_actions.failed(saved.error().message);
}

} // namespace corvane
