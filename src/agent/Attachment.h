#pragma once

#include "core/records/Enums.h"

#include <QByteArray>
#include <QString>
#include <QUuid>

#include <optional>

namespace corvane {

// Something attached to the input, in memory until it is sent; never stored.
struct Attachment
{
    QUuid id = QUuid::createUuid();
    AttachmentType type = AttachmentType::image;
    QString fileName;
    std::optional<QString> filePath;
    QByteArray data;
    QString mediaType;
    qint64 fileSize = 0;
};

} // namespace corvane
