#pragma once

#include <QString>
#include <QStringView>

namespace corvane::codepoints {

// Text measured and cut in Unicode code points, so that a character outside the Basic
// Multilingual Plane (two UTF-16 units) is never split. A lone surrogate counts as one.

qsizetype count(QStringView text);
// The first `n` code points.
QString left(const QString &text, qsizetype n);
// Everything from code point `n` on.
QString mid(const QString &text, qsizetype n);

} // namespace corvane::codepoints
