#pragma once

#include "core/store/ColumnCodec.h"

#include <QString>

#include <array>
#include <optional>

namespace corvane {

// Stored enumerations keep their raw text; these read it back. An unknown or missing raw value
// reads as the enumeration's default, so a row written by a later version still loads.
template <typename E, std::size_t N>
std::optional<E> enumTryFromRaw(const std::array<const char *, N> &names, const QString &raw)
{
    for (std::size_t i = 0; i < N; ++i)
        if (raw == QLatin1String(names[i]))
            return E(i);
    return std::nullopt;
}

#define CORVANE_ENUM_CODEC(Type, Fallback, ...)                                                    \
    template <>                                                                                    \
    struct store::EnumCodec<Type>                                                                  \
    {                                                                                              \
        static constexpr std::array names{__VA_ARGS__};                                            \
        static QString toRaw(Type v) { return QString::fromLatin1(names[std::size_t(v)]); }        \
        static std::optional<Type> tryFromRaw(const QString &raw) { return enumTryFromRaw<Type>(names, raw); } \
        static Type fromRaw(const QString &raw) { return tryFromRaw(raw).value_or(Type::Fallback); } \
        static Type fromRaw(const std::optional<QString> &raw)                                     \
        {                                                                                          \
            return raw ? fromRaw(*raw) : Type::Fallback;                                           \
        }                                                                                          \
    };

template <typename E>
QString toRaw(E value) { return store::EnumCodec<E>::toRaw(value); }
template <typename E, typename Raw>
E fromRaw(const Raw &raw) { return store::EnumCodec<E>::fromRaw(raw); }

enum class MessageRole { user, assistant, system, thinking, tool };
enum class MessageContentType {
    text, thinking, toolStart, toolOutput, toolComplete, error, authError,
    permissionRequest, permissionGranted, permissionDenied, planCard, subagentCard
};
enum class AgentType { claudeCode, codex };
enum class AgentRole { manual, coordinator };
enum class PermissionMode { ask, acceptEdits, acceptAll };
enum class AttachmentType { image, pdf, tempFile };
enum class ProfileColor { blue, purple, pink, red, orange, yellow, green, teal, indigo, gray };
enum class RecordStatus { active, archived };
enum class PlanStatus { backlog, inProgress, inReview, done, canceled };
enum class PullRequestState { open, draft, closed, merged };
enum class InspectorTab { files, plan, modified };

enum class IssueStatus { backlog, planned, inProgress, done };
enum class IssueType { feature, bug, task };
enum class IssuePriority { none, low, medium, high, urgent };
enum class ReviewVerdict { approved, needsChanges, rejected };
enum class WorkspaceCreationMode { simple = 0, newBranch = 1, worktree = 2 };
enum class DefinitionScope { user, project };
enum class AutomationRunStatus {
    idle, planning, implementing, validating, reviewing, awaitingUserReview, blocked, done, failed
};
enum class AutomationRunPhase { planning, implementing, validating, reviewing, awaitingReview, done };
enum class AutomationTriggerReason {
    initial, buildFailed, testsFailed, lintFailed, gateFailed, reviewNeedsChanges, userFeedback
};
enum class SkillType { modelInvoked, userInvoked };
enum class SkillSourceKind { personal, project };

CORVANE_ENUM_CODEC(MessageRole, user, "user", "assistant", "system", "thinking", "tool")
CORVANE_ENUM_CODEC(MessageContentType, text, "text", "thinking", "toolStart", "toolOutput", "toolComplete",
                   "error", "authError", "permissionRequest", "permissionGranted", "permissionDenied",
                   "planCard", "subagentCard")
CORVANE_ENUM_CODEC(AgentType, claudeCode, "claude_code", "codex")
CORVANE_ENUM_CODEC(AgentRole, manual, "manual", "coordinator")
CORVANE_ENUM_CODEC(PermissionMode, ask, "ask", "acceptEdits", "acceptAll")
CORVANE_ENUM_CODEC(AttachmentType, image, "image", "pdf", "tempFile")
CORVANE_ENUM_CODEC(ProfileColor, blue, "blue", "purple", "pink", "red", "orange", "yellow", "green", "teal",
                   "indigo", "gray")
CORVANE_ENUM_CODEC(RecordStatus, active, "active", "archived")
CORVANE_ENUM_CODEC(PlanStatus, backlog, "backlog", "inProgress", "inReview", "done", "canceled")
CORVANE_ENUM_CODEC(PullRequestState, open, "open", "draft", "closed", "merged")
CORVANE_ENUM_CODEC(IssueStatus, backlog, "backlog", "planned", "inProgress", "done")
CORVANE_ENUM_CODEC(IssueType, task, "feature", "bug", "task")
CORVANE_ENUM_CODEC(IssuePriority, medium, "none", "low", "medium", "high", "urgent")
CORVANE_ENUM_CODEC(ReviewVerdict, approved, "approved", "needsChanges", "rejected")
CORVANE_ENUM_CODEC(DefinitionScope, user, "user", "project")
CORVANE_ENUM_CODEC(AutomationRunStatus, idle, "idle", "planning", "implementing", "validating", "reviewing",
                   "awaitingUserReview", "blocked", "done", "failed")
CORVANE_ENUM_CODEC(AutomationRunPhase, planning, "planning", "implementing", "validating", "reviewing",
                   "awaitingReview", "done")
CORVANE_ENUM_CODEC(AutomationTriggerReason, initial, "initial", "buildFailed", "testsFailed", "lintFailed",
                   "gateFailed", "reviewNeedsChanges", "userFeedback")
CORVANE_ENUM_CODEC(SkillType, modelInvoked, "modelInvoked", "userInvoked")
CORVANE_ENUM_CODEC(SkillSourceKind, personal, "personal", "project")

// Hex value of each profile colour.
QString profileColorHex(ProfileColor color);

// Display names used by the planner.
QString displayName(IssueStatus status);
QString displayName(IssueType type);
QString displayName(IssuePriority priority);

} // namespace corvane
