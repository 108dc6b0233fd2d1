#include "core/records/ProjectActions.h"

#include "core/store/StoreContext.h"

#include <algorithm>

namespace corvane::projectactions {

ActionList sorted(StoreContext &context, const QUuid &projectId)
{
    ActionList list = context.fetchOrEmpty<ProjectAction>(Query(where::eq("projectId", projectId)));
    // An action added while the store was busy with another writer is not saved yet, and a fetch
    // reads only what is saved: it belongs in the list all the same.
    for (const auto &pending : context.unsavedInserts<ProjectAction>())
        if (pending->projectId == projectId)
            list.append(pending);
    std::stable_sort(list.begin(), list.end(), [](const auto &a, const auto &b) { return a->sortOrder < b->sortOrder; });
    return list;
}

std::shared_ptr<ProjectAction> add(StoreContext &context, const QUuid &projectId, const QString &name,
                                   const QString &symbolName, const QString &script)
{
    ProjectAction action;
    action.name = name;
    action.symbolName = symbolName;
    action.script = script;
    action.sortOrder = sorted(context, projectId).size();
    action.projectId = projectId;
    auto inserted = context.insert(action);
    (void)context.save();
    return inserted;
}

std::shared_ptr<ProjectAction> duplicate(StoreContext &context, const QUuid &actionId)
{
    const auto original = context.get<ProjectAction>(actionId);
    if (!original || !original->projectId)
        return nullptr;
    ActionList list = sorted(context, *original->projectId);
    ProjectAction copy;
    copy.name = original->name + QStringLiteral(" Copy");
    copy.symbolName = original->symbolName;
    copy.script = original->script;
    copy.projectId = original->projectId;
    list.append(context.insert(copy));
    renumber(context, list);
    return list.last();
}

void remove(StoreContext &context, const QUuid &actionId)
{
    const auto action = context.get<ProjectAction>(actionId);
    if (!action)
        return;
    ActionList list = action->projectId ? sorted(context, *action->projectId) : ActionList();
    list.removeIf([&](const auto &other) { return other->id == actionId; });
    context.remove(action);
    renumber(context, list);
}

void move(StoreContext &context, const QUuid &projectId, int from, int to)
{
    ActionList list = sorted(context, projectId);
    if (list.isEmpty() || from < 0 || from >= list.size())
        return;
    list.move(from, std::clamp(to, 0, int(list.size()) - 1));
    renumber(context, list);
}

void renumber(StoreContext &context, const ActionList &list)
{
    for (int i = 0; i < list.size(); ++i)
        list.at(i)->sortOrder = i;
    (void)context.save();
}

} // namespace corvane::projectactions
