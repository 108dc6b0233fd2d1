#pragma once

#include "core/records/Enums.h"

#include <QDateTime>
#include <QMetaType>
#include <QString>

#include <optional>

namespace corvane {

// One session log that an agent CLI left on disk, as the list shows it: read from the head of
// the file only, so the count and the first prompt are only as exact as that head allows.
// A plain value; it crosses threads freely.
struct ImportableSession
{
    QString id;
    AgentType agentType = AgentType::claudeCode;
    QString firstPrompt;
    std::optional<QString> summary;
    int messageCount = 0;
    QDateTime created;
    QDateTime modified;
    std::optional<QString> projectPath;
    std::optional<QString> gitBranch;
    QString jsonlPath;
    std::optional<QString> model;

    friend bool operator==(const ImportableSession &, const ImportableSession &) = default;
};

} // namespace corvane

Q_DECLARE_METATYPE(corvane::ImportableSession)
