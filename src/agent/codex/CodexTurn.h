#pragma once

#include "agent/Attachment.h"
#include "core/records/Enums.h"

#include <QList>
#include <QString>
#include <QStringList>

namespace corvane::codexturn {

// What one `codex exec` turn is started with, worked out without starting anything.

struct Input
{
    QString prompt;
    QStringList imagePaths;
};

// True when an image exists only in memory and must be written to a file for codex.
bool needsScratch(const QList<Attachment> &attachments);

// The prompt and image files for a turn. Text files are read into the prompt; an image without a
// file of its own is written to `scratch` so codex can read it; PDFs go nowhere (codex takes none).
// Nothing usable at all gives a prompt of one blank.
Input build(const QString &text, const QList<Attachment> &attachments, const QString &scratch);

// The argument vector of one turn; a non-empty `sessionId` resumes that thread.
QStringList arguments(PermissionMode mode, const QString &model, const QString &sessionId,
                      const QString &workingDirectory, const Input &input);

// Standard error worth showing: without the lines codex prints on every run.
QString failureText(const QString &stderrTail);

} // namespace corvane::codexturn
