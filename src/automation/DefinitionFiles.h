#pragma once

#include "core/Result.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

namespace corvane::definitionfiles {

// The user's folder that the claude agent reads its own definitions from: "$HOME/.claude".
QString claudeHome();

// The whole file as UTF-8, or none when it cannot be read or is not valid UTF-8 (such a file is
// left out of a scan rather than shown garbled).
std::optional<QString> readUtf8(const QString &path);

// Writes through a temporary file renamed over the target, so a failed or interrupted write
// leaves the old file as it was. The error says which file and why.
Status writeAtomically(const QString &path, const QString &content);

// Makes the folder with its parents.
Status makeFolder(const QString &path);

// The ".md" files directly in `folder` whose names do not begin with ".", in listing order;
// nothing when the folder cannot be listed.
QStringList markdownFiles(const QString &folder);

// "<stem>-copy", then "<stem>-copy-2", "-copy-3", ... + `suffix`: the first for which `taken` is
// false. The plain stem is never offered.
QString copyName(const QString &stem, const QString &suffix, const std::function<bool(const QString &)> &taken);

// A definition's name becomes a file or folder name: empty, ".", ".." and names with a "/" are
// refused with a message saying so.
Status checkName(const QString &name);

// Writes `content` as the new file "<folder>/<fileName>", making the folder first; a file
// already there is refused with `collision`, and a bad file name as checkName() does.
Result<QString> createNew(const QString &folder, const QString &fileName, const QString &content,
                          const QString &collision);

// The file a definition named `name` is saved to: its own when its stem is that name, else
// "<folder>/<name>.md", where the old file is moved first. An existing file of that name is
// refused with `collision` and nothing moves.
Result<QString> renameForSave(const QString &filePath, const QString &name, const QString &collision);

// Writes each (file name, content) into `folder` unless a file of that name is there: builtins
// come back when deleted and never overwrite the user's edits. Errors are only logged.
void installMissing(const QString &folder, const QList<std::pair<QString, QString>> &files);

// Copies a folder with everything in it; the target must not exist.
Status copyFolder(const QString &from, const QString &to);

// Removes a file or a whole folder.
Status removePath(const QString &path);

} // namespace corvane::definitionfiles
