#pragma once

#include <QWidget>

class QButtonGroup;
class QComboBox;
class QLabel;
class QSlider;

namespace corvane {

class AppSettings;

// The Appearance page of Preferences: light, dark or the desktop's own look, the text size of
// the chats, and the terminal's colours. Each choice is written at once; the windows follow
// through the settings' broadcasts.
class AppearancePage : public QWidget
{
    Q_OBJECT

public:
    // The text size steps, in percent.
    static constexpr int minimumTextPercent = 85;
    static constexpr int maximumTextPercent = 150;
    static constexpr int textPercentStep = 5;

    explicit AppearancePage(AppSettings &settings, QWidget *parent = nullptr);

    QButtonGroup *modeButtons() const { return m_modes; }
    QSlider *textSizeSlider() const { return m_textSize; }
    QLabel *textSizeLabel() const { return m_textSizeLabel; }
    QComboBox *terminalModeBox() const { return m_terminalMode; }

private:
    void showTextSize(int percent);

    AppSettings &m_settings;
    QButtonGroup *m_modes;
    QSlider *m_textSize;
    QLabel *m_textSizeLabel;
    QComboBox *m_terminalMode;
};

} // namespace corvane
