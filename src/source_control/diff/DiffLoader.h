#pragma once

#include "source_control/diff/LineDiff.h"

#include <QObject>

#include <functional>
#include <optional>

namespace corvane {

// What the diff window shows for one file: the aligned rows when both texts are there, else
// the one text there is (a new or a deleted file), else nothing (a binary file).
struct DiffDocument
{
    enum class Kind { text, newFile, deletedFile, binary };
    Kind kind = Kind::binary;
    QList<DiffRow> rows;   // Kind::text
    QString onlyText;      // Kind::newFile and Kind::deletedFile
};

namespace diff {

// Pure: the document for a committed and an on-disk text, each absent when there is none or it
// is not UTF-8.
DiffDocument document(const std::optional<QString> &oldText, const std::optional<QString> &newText);

// Reads the file as committed at HEAD (through git) and as it is on disk, and builds the
// document off the calling thread; `done` runs on `context`'s thread unless it is gone. Failed
// reads are logged and count as absent.
void load(QObject *context, const QString &workingDirectory, const QString &filePath,
          std::function<void(DiffDocument)> done);

} // namespace diff
} // namespace corvane
