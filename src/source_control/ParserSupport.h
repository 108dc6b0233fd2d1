#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>
#include <QVarLengthArray>

#include <optional>

// Small helpers shared by the parsers of git's output. All work on bytes, so a path that is not
// valid UTF-8 costs only its own field, never the whole output.
namespace corvane::gitparse {

// The records of an output: NUL-terminated when git was asked for -z (the output then holds a
// NUL), else lines. Empty records are dropped.
QList<QByteArrayView> records(QByteArrayView output);
// Lines split on line feeds, empty ones dropped.
QList<QByteArrayView> lines(QByteArrayView output);

// Splits on single spaces into at most `limit` fields, the last one taking the rest of the line,
// so a path with spaces stays whole.
QVarLengthArray<QByteArrayView, 12> splitFields(QByteArrayView line, int limit);
// Splits on `separator`, keeping or dropping empty pieces.
QList<QByteArrayView> splitOn(QByteArrayView text, char separator, bool keepEmpty);

QByteArrayView trimSpacesAndTabs(QByteArrayView text);
QString text(QByteArrayView bytes);
// The bytes as UTF-8 text, or nothing when they are not valid UTF-8.
std::optional<QString> strictUtf8(QByteArrayView bytes);

// The output trimmed of white space as a count: 0 when empty or not a number.
int parseCount(QByteArrayView output);

// True when the last component of `path` is ".DS_Store", a file that never counts as a change.
bool isDsStore(QStringView path);

} // namespace corvane::gitparse
