#pragma once

#include "core/Result.h"
#include "tools/files/FileNode.h"

#include <QString>

// The disk side of the file tree, as plain blocking functions on local paths. They run on the
// FileSystemService's worker, never on the window's thread. Errors are readable values; an
// operation that fails half-way puts back what it had changed, so nothing is lost.
namespace corvane::files {

// Names that never show in the tree, whatever the hidden-files setting says.
bool isAlwaysHidden(const QString &name);

// The immediate entries of `folder` (with `recursive`, every level), folders first, then by
// name in the locale's case-insensitive order; equal names keep the listing's order. Without
// `showHidden`, names with a leading dot are skipped.
Result<FileNodeList> loadDirectory(const QString &folder, bool recursive, bool showHidden);

// Sorts as loadDirectory does; exposed for tests and for nodes made elsewhere.
void sortNodes(FileNodeList &nodes);

// `path` when nothing exists there, else the first free "base N.ext" for N = 2, 3, ...: "a.txt"
// gives "a 2.txt", ".env" gives ".env 2" (a leading dot starts no extension), "archive.tar.gz"
// gives "archive.tar 2.gz". A folder's name is kept whole: "lib" gives "lib 2", "v1.2" gives
// "v1.2 2". A dangling symbolic link counts as something.
QString uniquePath(const QString &path);

// The folder with symbolic links resolved, plus the item's own name (a link itself is not
// followed: moving a link moves the link).
QString resolvedPath(const QString &path);

// True when `folder` is `item` or lies inside it, compared with links resolved and a trailing
// "/" so that "/x/app2" is not inside "/x/app".
bool isSameOrInside(const QString &folder, const QString &item);

// Move or copy `source` to uniquePath(destination); returns where it went. Folders are copied
// with everything in them; symbolic links are copied as links.
Result<QString> move(const QString &source, const QString &destination);
Result<QString> copy(const QString &source, const QString &destination);
// Replace what is at `destination`. The old item is set aside first and removed only once the
// new one is in place; refused when the destination is the source or holds it.
Result<QString> moveReplacing(const QString &source, const QString &destination);
Result<QString> copyReplacing(const QString &source, const QString &destination);
// A new name in the same folder, through uniquePath; returns the new path.
Result<QString> rename(const QString &path, const QString &newName);

// Make an empty file or a folder at uniquePath(path); returns its path.
Result<QString> createFile(const QString &path);
Result<QString> createFolder(const QString &path);

// The desktop's trash (the freedesktop.org layout under $XDG_DATA_HOME/Trash).
Status moveToTrash(const QString &path);

// A name a person may type for an item: not empty, no "/", not "." or "..".
Status checkName(const QString &name);

} // namespace corvane::files
