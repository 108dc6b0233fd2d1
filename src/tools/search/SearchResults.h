#pragma once

#include "tools/search/SearchText.h"

#include <QDateTime>
#include <QString>
#include <QUuid>

#include <optional>
#include <variant>

namespace corvane {

enum class SearchFilterMode { all, workspaces, messages };

struct WorkspaceSearchResult
{
    QUuid id;
    QString workspaceName;
    QString projectName; // "No Project" without one
    int chatCount = 0;
    QDateTime updatedAt;
    std::optional<QString> gitBranch;
};

struct MessageSearchResult
{
    QUuid id;
    QUuid chatId;
    QString chatName;
    QString snippet;
    std::optional<search::MatchRange> matchRange; // in code points of `snippet`
    QDateTime timestamp;
};

struct SearchResult
{
    std::variant<WorkspaceSearchResult, MessageSearchResult> payload;

    const WorkspaceSearchResult *workspace() const { return std::get_if<WorkspaceSearchResult>(&payload); }
    const MessageSearchResult *message() const { return std::get_if<MessageSearchResult>(&payload); }
};

} // namespace corvane
