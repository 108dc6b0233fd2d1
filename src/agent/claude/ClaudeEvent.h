#pragma once

#include "agent/AgentTypes.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>

namespace corvane {

// One thing the claude stream said, decoded. The fields a kind uses are named beside it; the
// client forwards each event to the matching AgentStreamDelegate call.
struct ClaudeEvent
{
    enum class Kind {
        initialized,       // info                              -> didInitialize
        statusChanged,     // status                            -> didChangeStatus
        thinkingStarted,   //                                   -> didStartThinking
        text,              // text: a delta                     -> didReceiveText
        toolStarted,       // name, id (tool use), input        -> didStartTool
        toolResult,        // id (tool use), text, isError      -> didReceiveToolResult
        toolProgress,      // name, id (tool use), seconds      -> didReportToolProgress
        result,            // ending, result, errors, error     -> didComplete / didFail
        permissionRequest, // permission                        -> didRequestPermission
        question,          // questions, id (request), input    -> didAskUserQuestion
        cancelRequest,     // id (request)                      -> didCancelPermissionRequest
    };

    // How a turn ended. A stop by the user is not a failure: claude reports it as an error
    // ("error_during_execution" with no text), but nothing went wrong.
    enum class Ending { completed, stopped, failed };

    Kind kind = Kind::text;
    QString text;
    QString name;
    QString id;
    QVariantMap input;
    double seconds = 0;
    bool isError = false;
    std::optional<QString> status;
    AgentSessionInfo info;
    Ending ending = Ending::completed;
    AgentResult result;
    QStringList errors;
    AgentError error; // for a failed ending: domain "ClaudeSDK", code 2
    AgentPermissionRequest permission;
    QList<AgentQuestion> questions;
};

// A one-line readable form, for logs and test failures: `text("Hi")`, `toolStarted(Bash, t1)`.
QString describe(const ClaudeEvent &event);

} // namespace corvane
