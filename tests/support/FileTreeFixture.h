#pragma once

#include "tools/files/FileTreeItemModel.h"
#include "tools/files/FileTreeViewModel.h"

#include <QDir>
#include <QFile>
#include <QStringList>
#include <QTest>

namespace corvane::test {

// Makes folders ("lib/") and files ("lib/a.txt", written with their own name as text) under `root`.
inline void makeTree(const QString &root, const QStringList &entries)
{
    for (const QString &entry : entries) {
        const QString path = QDir(root).filePath(entry);
        if (entry.endsWith(QLatin1Char('/'))) {
            QDir().mkpath(path);
            continue;
        }
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile file(path);
        if (file.open(QIODevice::WriteOnly))
            file.write(entry.toUtf8());
    }
}

inline QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

// The names of a folder's rows, in order.
inline QStringList rowNames(const QAbstractItemModel &model, const QModelIndex &parent = {})
{
    QStringList names;
    for (int row = 0; row < model.rowCount(parent); ++row)
        names << model.index(row, 0, parent).data().toString();
    return names;
}

// Waits until the tree has no disk work queued or running.
[[nodiscard]] inline bool settle(const FileTreeViewModel &tree, int timeout = 10000)
{
    return QTest::qWaitFor([&tree] { return tree.isIdle(); }, timeout);
}

// The sorted names under a folder on disk, hidden ones included.
inline QStringList diskNames(const QString &folder)
{
    QStringList names = QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    names.sort();
    return names;
}

} // namespace corvane::test
