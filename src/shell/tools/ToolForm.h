#pragma once

#include <QString>

class QFormLayout;
class QLabel;
class QLayout;
class QLineEdit;
class QWidget;

namespace corvane::toolform {

// Small builders the definition editors share.
QLineEdit *line(const char *objectName, const QString &placeholder);
// The colour's text field with a swatch that opens a colour picker.
QWidget *colorRow(QLineEdit *field);
QLabel *note(const QString &text);
// A red line for an operation's error, hidden until it has one.
QLabel *errorLine(const char *objectName);
// A form that scrolls when the window is short.
QWidget *scrolling(QFormLayout *form);
// Deletes every widget of the layout.
void clear(QLayout *layout);

} // namespace corvane::toolform
