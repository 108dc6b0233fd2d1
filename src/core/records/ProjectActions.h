#pragma once

// The operations of a project's toolbar actions, as the actions sheet and corvane-cli use them.
// The list's order is the toolbar's; every change that moves places renumbers the whole list
// from 0, so the stored sortOrder values never carry gaps or ties.
#include "core/records/ProjectAction.h"

#include <QList>

#include <memory>

namespace corvane {

class StoreContext;

namespace projectactions {

using ActionList = QList<std::shared_ptr<ProjectAction>>;

// The project's actions by sortOrder, lowest first; ties keep the order they were stored in.
// Includes actions added in this context and not saved yet.
ActionList sorted(StoreContext &context, const QUuid &projectId);

// A new action at the end of the list (sortOrder = the number already listed); saved.
std::shared_ptr<ProjectAction> add(StoreContext &context, const QUuid &projectId, const QString &name,
                                   const QString &symbolName, const QString &script);

// A copy named name + " Copy" with the same symbol and script, at the end; the list renumbered.
std::shared_ptr<ProjectAction> duplicate(StoreContext &context, const QUuid &actionId);

// Removes the action from the list and the store; the rest renumbered.
void remove(StoreContext &context, const QUuid &actionId);

// Moves the action at `from` to the place `to` (both clamped to the list); renumbered.
void move(StoreContext &context, const QUuid &projectId, int from, int to);

// Writes each action's place in `list`, from 0, to its sortOrder and saves. A failed save is
// logged by the store and otherwise dropped: the order stays pending for the next save.
void renumber(StoreContext &context, const ActionList &list);

} // namespace projectactions
} // namespace corvane
