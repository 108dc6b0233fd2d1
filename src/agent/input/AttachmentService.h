#pragma once

#include "agent/Attachment.h"
#include "core/Result.h"

#include <QImage>
#include <QString>

namespace corvane {

// Files and pasted content turned into what a turn carries. Stateless; every failure is an
// Error whose message is the one the user reads under "Cannot attach file".
namespace attachments {

inline constexpr qint64 ImageLimitBytes = 20LL * 1024 * 1024;
inline constexpr qint64 PdfLimitBytes = 32LL * 1024 * 1024;
inline constexpr int MaxImageSide = 2048;
// Pasted text longer than this goes as a file rather than into the input.
inline constexpr int LongPasteCharacters = 500;

// The kind a file would attach as, by its extension and size.
Result<AttachmentType> validate(const QString &path);
// Any supported file: images scaled and re-encoded, PDFs as they are.
Result<Attachment> fromFile(const QString &path);
Result<Attachment> imageAttachment(const QString &path);
Result<Attachment> imageAttachment(const QImage &image, const QString &fileName);
Result<Attachment> pdfAttachment(const QString &path);
// Long pasted text, written to a temporary file that is deleted after the send.
Result<Attachment> textAttachment(const QString &text);

} // namespace attachments
} // namespace corvane
