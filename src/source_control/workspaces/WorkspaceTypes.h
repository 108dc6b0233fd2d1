#pragma once

#include "core/records/Enums.h"

#include <QString>
#include <QUuid>

#include <optional>

namespace corvane {

// Asks the interface to open the new-chat sheet on a project in one of the three modes.
struct NewWorkspaceSheetRequest
{
    QUuid id = QUuid::createUuid();
    QUuid projectId;
    WorkspaceCreationMode mode = WorkspaceCreationMode::simple;
};

// What a worktree holds that its removal would destroy. A missing folder, or a workspace without
// a worktree, is clean: there is nothing to warn about.
struct WorktreeDirtyStatus
{
    bool hasUncommittedChanges = false;
    int unpushedCommitCount = 0;
    // Files that "git status" lists: modified, staged, untracked.
    int changedFileCount = 0;
    // git could not read the folder's state (a broken worktree): what it holds is unknown, so its
    // removal is treated as losing work.
    std::optional<QString> unreadableReason;

    bool wouldLoseWork() const { return hasUncommittedChanges || unpushedCommitCount > 0 || unreadableReason; }
    bool operator==(const WorktreeDirtyStatus &other) const = default;
};

// How a lifecycle operation that may touch a worktree ended. `needsConfirmation` means nothing
// was changed: the message names what would be lost, and the caller repeats the call with
// `confirmed` once the user agreed. `failed` leaves the records as they were.
struct LifecycleOutcome
{
    enum class Kind { done, needsConfirmation, failed, busy };

    Kind kind = Kind::done;
    // The confirmation text, the error, or a notice that came with success (may be empty).
    QString message;

    static LifecycleOutcome done(QString notice = {}) { return {Kind::done, std::move(notice)}; }
    static LifecycleOutcome needsConfirmation(QString text) { return {Kind::needsConfirmation, std::move(text)}; }
    static LifecycleOutcome failed(QString error) { return {Kind::failed, std::move(error)}; }
    static LifecycleOutcome busy() { return {Kind::busy, {}}; }

    bool isDone() const { return kind == Kind::done; }
};

} // namespace corvane
