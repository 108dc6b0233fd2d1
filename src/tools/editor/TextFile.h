#pragma once

#include "core/Result.h"

#include <QByteArray>
#include <QString>

namespace corvane {

// A text file as the editor holds it: the text with "\n" line ends, and how the disk copy was
// spelled, so that saving writes back the same line ends and byte order mark.
struct TextFile
{
    QString text;
    bool crlf = false;
    bool byteOrderMark = false;
};

namespace textfile {

// Decodes a file's bytes as UTF-8. Bytes that are not UTF-8, or that hold a NUL (a binary
// file), give an error saying so; the buffer is then not opened rather than shown mangled.
Result<TextFile> decode(const QByteArray &bytes);
// The bytes to write for the text, in the spelling `shape` was read with.
QByteArray encode(const QString &text, const TextFile &shape);

// Reads and decodes a file; errors carry the reason as a sentence.
Result<TextFile> read(const QString &path);
// Writes atomically: a reader never sees half a file, and a failed write leaves the old one.
Status write(const QString &path, const QByteArray &bytes);

} // namespace textfile
} // namespace corvane
