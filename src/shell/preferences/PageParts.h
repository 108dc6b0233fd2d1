#pragma once

#include <QString>

#include <functional>

class QLabel;
class QWidget;

namespace corvane::pageparts {

// A bold line over a group of settings.
QLabel *heading(const QString &text);

// A line in the page's warning colour, hidden until it has something to say.
QLabel *warningLine(const char *objectName);

// A window-modal question with a destructive button and Cancel; `onConfirm` runs only when the
// user presses that button. The box deletes itself.
void confirm(QWidget *parent, const QString &title, const QString &text, const QString &button,
             std::function<void()> onConfirm);

// A window-modal notice; the box deletes itself.
void inform(QWidget *parent, const QString &title, const QString &text);

} // namespace corvane::pageparts
