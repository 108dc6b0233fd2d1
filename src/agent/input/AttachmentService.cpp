#include "agent/input/AttachmentService.h"

#include <QBuffer>
#include <QDir>
#include <QFileInfo>
#include <QImageReader>
#include <QImageWriter>
#include <QSaveFile>
#include <QUuid>

namespace corvane::attachments {

namespace {

QString mediaTypeOf(const QString &suffix)
{
    const QString s = suffix.toLower();
    if (s == QLatin1String("png"))
        return QStringLiteral("image/png");
    if (s == QLatin1String("jpg") || s == QLatin1String("jpeg"))
        return QStringLiteral("image/jpeg");
    if (s == QLatin1String("gif"))
        return QStringLiteral("image/gif");
    if (s == QLatin1String("webp"))
        return QStringLiteral("image/webp");
    if (s == QLatin1String("pdf"))
        return QStringLiteral("application/pdf");
    return {};
}

Error tooLarge(int megabytes)
{
    return Error(QStringLiteral("File exceeds the %1MB size limit.").arg(megabytes));
}

Error unsupported()
{
    return Error(QStringLiteral("This file type is not supported. Use PNG, JPEG, GIF, WebP, or PDF."));
}

Error notReadable()
{
    return Error(QStringLiteral("Could not read the file."));
}

Result<Attachment> encode(QImage image, const QString &fileName, QString mediaType)
{
    if (image.isNull())
        return notReadable();
    if (std::max(image.width(), image.height()) > MaxImageSide)
        image = image.scaled(MaxImageSide, MaxImageSide, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    if (mediaType.isEmpty())
        mediaType = QStringLiteral("image/png");
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    bool written = false;
    if (mediaType == QLatin1String("image/jpeg"))
        written = image.save(&buffer, "JPEG", 85);
    else if (mediaType == QLatin1String("image/gif") && QImageWriter::supportedImageFormats().contains("gif"))
        written = image.save(&buffer, "GIF");
    else {
        mediaType = QStringLiteral("image/png"); // what we could not write as itself goes as PNG
        written = image.save(&buffer, "PNG");
    }
    if (!written)
        return Error(QStringLiteral("Failed to process the image."));
    Attachment attachment;
    attachment.type = AttachmentType::image;
    attachment.fileName = fileName;
    attachment.mediaType = mediaType;
    attachment.data = bytes;
    attachment.fileSize = bytes.size();
    return attachment;
}

} // namespace

Result<AttachmentType> validate(const QString &path)
{
    const QFileInfo info(path);
    const QString mediaType = mediaTypeOf(info.suffix());
    if (mediaType.isEmpty())
        return unsupported();
    if (!info.exists())
        return Error(QStringLiteral("The file \"%1\" does not exist.").arg(info.fileName()));
    if (mediaType == QLatin1String("application/pdf")) {
        if (info.size() > PdfLimitBytes)
            return tooLarge(32);
        return AttachmentType::pdf;
    }
    if (info.size() > ImageLimitBytes)
        return tooLarge(20);
    return AttachmentType::image;
}

Result<Attachment> fromFile(const QString &path)
{
    const auto type = validate(path);
    if (!type)
        return type.error();
    return *type == AttachmentType::pdf ? pdfAttachment(path) : imageAttachment(path);
}

Result<Attachment> imageAttachment(const QString &path)
{
    if (auto type = validate(path); !type)
        return type.error();
    QImageReader reader(path);
    reader.setAutoTransform(true);
    const QImage image = reader.read();
    if (image.isNull())
        return notReadable();
    return encode(image, QFileInfo(path).fileName(), mediaTypeOf(QFileInfo(path).suffix()));
}

Result<Attachment> imageAttachment(const QImage &image, const QString &fileName)
{
    return encode(image, fileName, QStringLiteral("image/png"));
}

Result<Attachment> pdfAttachment(const QString &path)
{
    if (auto type = validate(path); !type)
        return type.error();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return notReadable();
    Attachment attachment;
    attachment.type = AttachmentType::pdf;
    attachment.fileName = QFileInfo(path).fileName();
    attachment.mediaType = QStringLiteral("application/pdf");
    attachment.data = file.readAll();
    attachment.fileSize = attachment.data.size();
    return attachment;
}

Result<Attachment> textAttachment(const QString &text)
{
    const QString path = QDir::temp().filePath(QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper() + QStringLiteral(".txt"));
    QSaveFile file(path);
    const QByteArray bytes = text.toUtf8();
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
        return Error(QStringLiteral("Could not write the pasted text to a file: ") + file.errorString());
    Attachment attachment;
    attachment.type = AttachmentType::tempFile;
    attachment.fileName = QFileInfo(path).fileName();
    attachment.mediaType = QStringLiteral("text/plain");
    attachment.fileURL = QUrl::fromLocalFile(path);
    attachment.fileSize = bytes.size();
    return attachment;
}

} // namespace corvane::attachments
