#pragma once

#include "core/settings/KeyCombo.h"

#include <QPushButton>

namespace corvane {

// The button of one shortcut row. It shows a combination; clicked, it shows "Press shortcut…"
// and takes the next key press with its modifiers. Escape, or leaving it, cancels.
class ShortcutRecorder : public QPushButton
{
    Q_OBJECT

public:
    explicit ShortcutRecorder(QWidget *parent = nullptr);

    void setShownText(const QString &text);
    bool isRecording() const { return m_recording; }
    void startRecording();
    void cancelRecording();

signals:
    void recorded(const corvane::KeyCombo &combo);
    // A key that cannot be a shortcut, with the reason.
    void refused(const QString &reason);

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    bool event(QEvent *event) override;

private:
    void stop();

    QString m_shown;
    bool m_recording = false;
};

} // namespace corvane
