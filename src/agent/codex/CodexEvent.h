#pragma once

#include <QString>
#include <QVariantMap>

#include <optional>

namespace corvane {

// One thing a `codex exec --json` line said, decoded. The fields a kind uses are named beside it;
// the client turns each into the matching AgentStreamDelegate call.
struct CodexEvent
{
    enum class Kind {
        threadStarted, // id (thread)                       -> didInitialize, once per session
        turnStarted,   //                                   -> didChangeStatus("Thinking")
        turnCompleted, // usage                             -> didComplete
        turnFailed,    // text: the failure for the user    -> didFail
        notice,        // text: codex's own running remark  -> didChangeStatus (e.g. "Reconnecting...")
        text,          // text                              -> didReceiveText
        toolStarted,   // name, id (item), input            -> didStartTool
        toolResult,    // id (item), text                   -> didReceiveToolResult
    };

    Kind kind = Kind::text;
    QString id;
    QString name;
    QString text;
    QVariantMap input;
    std::optional<QVariantMap> usage;

    bool operator==(const CodexEvent &) const = default;
};

// A one-line readable form, for logs and test failures: `text("Hi")`, `toolStarted(Shell, item_1)`.
QString describe(const CodexEvent &event);

} // namespace corvane
