#include "source_control/diff/DiffLoader.h"

#include "core/Log.h"
#include "core/MainThread.h"
#include "source_control/GitService.h"
#include "source_control/ParserSupport.h"

#include <QDir>
#include <QFile>

namespace corvane::diff {

DiffDocument document(const std::optional<QString> &oldText, const std::optional<QString> &newText)
{
    DiffDocument doc;
    if (oldText && newText) {
        doc.kind = DiffDocument::Kind::text;
        doc.rows = rows(*oldText, *newText);
    } else if (oldText) {
        doc.kind = DiffDocument::Kind::deletedFile;
        doc.onlyText = *oldText;
    } else if (newText) {
        doc.kind = DiffDocument::Kind::newFile;
        doc.onlyText = *newText;
    }
    return doc;
}

namespace {

// Text is UTF-8 without NUL bytes (git's own test for binary content looks for a NUL).
std::optional<QString> textOf(const QByteArray &bytes)
{
    if (bytes.contains('\0'))
        return std::nullopt;
    return gitparse::strictUtf8(bytes);
}

std::optional<QString> readOnDisk(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        logLine("DiffWindow", QStringLiteral("Failed to read %1: %2").arg(path, file.errorString()));
        return std::nullopt;
    }
    return textOf(file.readAll());
}

} // namespace

void load(QObject *context, const QString &workingDirectory, const QString &filePath, std::function<void(DiffDocument)> done)
{
    GitService git(workingDirectory);
    git.fileBytes(filePath, QStringLiteral("HEAD")).then(context, [context, workingDirectory, filePath, done](const GitResult<QByteArray> &committed) {
        std::optional<QString> oldText;
        if (committed.ok())
            oldText = textOf(committed.value());
        else
            logLine("DiffWindow", QStringLiteral("git show HEAD:%1 failed (cwd: %2): %3")
                                      .arg(filePath, workingDirectory, committed.error().description()));
        const QString onDisk = QDir(workingDirectory).filePath(filePath);
        runInBackground(
            context, [oldText, onDisk] { return document(oldText, readOnDisk(onDisk)); },
            [done](DiffDocument doc) { done(std::move(doc)); });
    });
}

} // namespace corvane::diff
