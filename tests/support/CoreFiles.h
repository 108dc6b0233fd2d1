#pragma once

// Whole-file reads and writes for tests that check or damage what lies on disk.
#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace corvane::test {

// The file's bytes, or nothing when it cannot be read.
inline QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Replaces the file with `bytes`, making its folder first; false when it cannot be written.
inline bool writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
}

} // namespace corvane::test
