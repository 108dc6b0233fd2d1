#pragma once

#include "core/Result.h"

#include <QString>

namespace corvane::importerror {

// The two ways an import can fail, as errors with a text a person reads. The codes let a
// caller tell them apart without comparing texts.
enum Code { fileUnreadable = 1, invalidContext = 2 };

inline Error unreadable(const QString &path)
{
    return Error(QStringLiteral("Cannot read session file: ") + path, fileUnreadable);
}

inline Error invalidModelContext()
{
    return Error(QStringLiteral("Invalid model context for import"), invalidContext);
}

} // namespace corvane::importerror
