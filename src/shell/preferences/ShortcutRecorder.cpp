#include "shell/preferences/ShortcutRecorder.h"

#include "core/window/ShortcutRecording.h"

#include <QKeyEvent>

namespace corvane {

ShortcutRecorder::ShortcutRecorder(QWidget *parent) : QPushButton(parent)
{
    setCheckable(false);
    setFocusPolicy(Qt::StrongFocus);
    setMinimumWidth(150);
    connect(this, &QPushButton::clicked, this, [this] {
        if (!m_recording)
            startRecording();
    });
}

void ShortcutRecorder::setShownText(const QString &text)
{
    m_shown = text;
    if (!m_recording)
        setText(text);
}

void ShortcutRecorder::startRecording()
{
    m_recording = true;
    setText(tr("Press shortcut…"));
    setDown(true);
    setFocus(Qt::OtherFocusReason);
}

void ShortcutRecorder::cancelRecording()
{
    if (m_recording)
        stop();
}

void ShortcutRecorder::stop()
{
    m_recording = false;
    setDown(false);
    setText(m_shown);
}

bool ShortcutRecorder::event(QEvent *event)
{
    // While recording, a combination that is some window's shortcut must reach this button
    // instead of triggering that action.
    if (m_recording && event->type() == QEvent::ShortcutOverride) {
        event->accept();
        return true;
    }
    return QPushButton::event(event);
}

void ShortcutRecorder::keyPressEvent(QKeyEvent *event)
{
    if (!m_recording) {
        QPushButton::keyPressEvent(event);
        return;
    }
    event->accept();
    const int key = event->key();
    if (isModifierKey(key) || key == 0 || key == Qt::Key_unknown)
        return; // the combination is still being typed
    if (key == Qt::Key_Escape && !(event->modifiers() & ~Qt::KeypadModifier)) {
        stop();
        return;
    }
    const Result<KeyCombo> combo = comboForKeyPress(key, event->modifiers());
    stop();
    if (combo)
        emit recorded(combo.value());
    else
        emit refused(combo.error().message);
}

void ShortcutRecorder::focusOutEvent(QFocusEvent *event)
{
    cancelRecording();
    QPushButton::focusOutEvent(event);
}

} // namespace corvane
