#pragma once

#include "core/records/Enums.h"

#include <QByteArray>
#include <QString>
#include <QUrl>
#include <QUuid>

#include <optional>

namespace corvane {

// Something attached to the input, in memory until it is sent; never stored. Images and PDFs
// travel as their bytes; a temporary text file is read when the turn is written.
struct Attachment
{
    QUuid id = QUuid::createUuid();
    AttachmentType type = AttachmentType::image;
    QString fileName;
    std::optional<QUrl> fileURL;
    QByteArray data;
    QString mediaType;
    qint64 fileSize = 0;
};

} // namespace corvane
