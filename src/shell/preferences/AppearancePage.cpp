#include "shell/preferences/AppearancePage.h"

#include "core/settings/AppSettings.h"
#include "shell/preferences/PageParts.h"
#include "shell/tools/ToolForm.h"

#include <QButtonGroup>
#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QRadioButton>
#include <QSlider>
#include <QVBoxLayout>

#include <cmath>

namespace corvane {

AppearancePage::AppearancePage(AppSettings &settings, QWidget *parent) : QWidget(parent), m_settings(settings)
{
    auto *layout = new QVBoxLayout(this);

    layout->addWidget(pageparts::heading(tr("Appearance")));
    m_modes = new QButtonGroup(this);
    auto *modeRow = new QHBoxLayout;
    const QList<std::pair<AppearanceMode, QString>> modes{
        {AppearanceMode::system, tr("System")}, {AppearanceMode::light, tr("Light")}, {AppearanceMode::dark, tr("Dark")}};
    for (const auto &[mode, label] : modes) {
        auto *button = new QRadioButton(label);
        button->setObjectName(QStringLiteral("appearance:") + store::EnumCodec<AppearanceMode>::toRaw(mode));
        button->setChecked(settings.appearanceMode() == mode);
        m_modes->addButton(button, int(mode));
        modeRow->addWidget(button);
    }
    modeRow->addStretch();
    layout->addLayout(modeRow);
    layout->addWidget(toolform::note(tr("System follows the desktop's own style and colours.")));
    connect(m_modes, &QButtonGroup::idClicked, this, [this](int id) { m_settings.setAppearanceMode(AppearanceMode(id)); });

    layout->addSpacing(12);
    layout->addWidget(pageparts::heading(tr("Text Size")));
    auto *sizeRow = new QHBoxLayout;
    m_textSize = new QSlider(Qt::Horizontal);
    m_textSize->setObjectName(QStringLiteral("textSize"));
    m_textSize->setRange(minimumTextPercent, maximumTextPercent);
    m_textSize->setSingleStep(textPercentStep);
    m_textSize->setPageStep(textPercentStep);
    m_textSize->setTickInterval(textPercentStep);
    m_textSize->setTickPosition(QSlider::TicksBelow);
    const int percent = int(std::lround(settings.textSizeScale() * 100));
    m_textSizeLabel = new QLabel;
    m_textSizeLabel->setObjectName(QStringLiteral("textSizeLabel"));
    m_textSizeLabel->setMinimumWidth(m_textSizeLabel->fontMetrics().horizontalAdvance(QStringLiteral("150%")) + 8);
    m_textSize->setValue(percent); // a stored size outside the steps is shown at the nearest end
    showTextSize(percent);
    sizeRow->addWidget(m_textSize, 1);
    sizeRow->addWidget(m_textSizeLabel);
    layout->addLayout(sizeRow);
    layout->addWidget(toolform::note(tr("The text of chats and terminals.")));
    connect(m_textSize, &QSlider::valueChanged, this, [this](int value) {
        // Dragging stops between ticks; the setting only takes the steps.
        const int snapped = int(std::lround(double(value) / textPercentStep)) * textPercentStep;
        if (snapped != value) {
            m_textSize->setValue(snapped);
            return;
        }
        showTextSize(value);
        m_settings.setTextSizeScale(value / 100.0);
    });

    layout->addSpacing(12);
    layout->addWidget(pageparts::heading(tr("Terminal")));
    auto *terminal = new QFormLayout;
    m_terminalMode = new QComboBox;
    m_terminalMode->setObjectName(QStringLiteral("terminalAppearance"));
    m_terminalMode->addItem(tr("Auto"), int(TerminalAppearanceMode::automatic));
    m_terminalMode->addItem(tr("Light"), int(TerminalAppearanceMode::light));
    m_terminalMode->addItem(tr("Dark"), int(TerminalAppearanceMode::dark));
    m_terminalMode->setCurrentIndex(m_terminalMode->findData(int(settings.terminalAppearanceMode())));
    terminal->addRow(tr("Terminal colours"), m_terminalMode);
    layout->addLayout(terminal);
    layout->addWidget(toolform::note(tr("Auto follows the application's appearance.")));
    connect(m_terminalMode, &QComboBox::activated, this, [this](int index) {
        m_settings.setTerminalAppearanceMode(TerminalAppearanceMode(m_terminalMode->itemData(index).toInt()));
    });
    layout->addStretch();
}

void AppearancePage::showTextSize(int percent)
{
    m_textSizeLabel->setText(QStringLiteral("%1%").arg(percent));
}

} // namespace corvane
