#pragma once

#include "automation/DefinitionService.h"
#include "core/records/Enums.h"
#include "core/records/Project.h"
#include "core/store/StoreContext.h"

#include <QHash>
#include <QList>
#include <QSet>
#include <QString>

#include <algorithm>
#include <memory>

namespace corvane {

// The records of one kind as a scan meets them, by `filePath`. A file path is meant to be
// unique among them; should two records share one, the first is kept and the others count as
// unseen, so the scan heals the store instead of failing on it.
template <typename R>
class RecordMirror
{
public:
    explicit RecordMirror(const QList<std::shared_ptr<R>> &records)
    {
        for (const auto &record : records) {
            if (m_byPath.contains(record->filePath))
                m_extra.append(record);
            else
                m_byPath.insert(record->filePath, record);
        }
    }

    // The record of this file, or null; either way the path counts as seen.
    std::shared_ptr<R> find(const QString &filePath)
    {
        m_seen.insert(filePath);
        return m_byPath.value(filePath);
    }

    // Records beyond the first for one file path.
    const QList<std::shared_ptr<R>> &duplicates() const { return m_extra; }

    // Records whose files the scan did not meet: their files are gone.
    QList<std::shared_ptr<R>> unseen() const
    {
        QList<std::shared_ptr<R>> out = m_extra;
        for (auto it = m_byPath.cbegin(); it != m_byPath.cend(); ++it)
            if (!m_seen.contains(it.key()))
                out.append(it.value());
        return out;
    }

private:
    QHash<QString, std::shared_ptr<R>> m_byPath;
    QList<std::shared_ptr<R>> m_extra;
    QSet<QString> m_seen;
};

// Projects by their folder, for giving project-scoped definitions their project.
inline QHash<QString, std::shared_ptr<Project>> projectsByPath(StoreContext &context)
{
    QHash<QString, std::shared_ptr<Project>> byPath;
    for (const auto &project : context.fetchOrEmpty<Project>())
        if (!byPath.contains(project->path))
            byPath.insert(project->path, project);
    return byPath;
}

// Sorted by name the way the user's locale sorts text.
template <typename R>
void sortByName(QList<std::shared_ptr<R>> &records)
{
    std::stable_sort(records.begin(), records.end(), [](const auto &a, const auto &b) {
        return QString::localeAwareCompare(a->name, b->name) < 0;
    });
}

// The scan shared by flows and subagents: the user's folder, then each project's, each file
// parsed by `scan(folder)` into values with a `filePath`; a record per file is updated by
// `apply(record, value)` or made with the scope and project of its folder; records whose files
// were not met are deleted; one save.
template <typename R, typename Scan, typename Apply>
DefinitionScanOutcome mirrorDefinitionFolders(StoreContext &context, const QString &userFolder,
                                              const QStringList &projectFolders, const QStringList &projectPaths,
                                              Scan scan, Apply apply)
{
    DefinitionScanOutcome outcome;
    outcome.watchFolders.append(userFolder);
    outcome.watchFolders.append(projectFolders);
    const auto userItems = scan(userFolder);
    QList<std::pair<QString, decltype(scan(userFolder))>> projectItems;
    for (qsizetype i = 0; i < projectFolders.size(); ++i)
        if (auto items = scan(projectFolders[i]); !items.isEmpty())
            projectItems.append({projectPaths[i], std::move(items)});

    RecordMirror<R> records(context.fetchOrEmpty<R>());
    auto mirror = [&](const auto &item, DefinitionScope scope, const std::shared_ptr<Project> &project) {
        auto record = records.find(item.filePath);
        if (!record) {
            R made;
            made.filePath = item.filePath;
            made.scopeRaw = toRaw(scope);
            if (project)
                made.projectId = project->id;
            record = context.insert(std::move(made));
        }
        apply(*record, item);
    };
    for (const auto &item : userItems)
        mirror(item, DefinitionScope::user, nullptr);
    const auto projects = projectsByPath(context);
    for (const auto &[path, items] : projectItems)
        for (const auto &item : items)
            mirror(item, DefinitionScope::project, projects.value(path));
    for (const auto &gone : records.unseen())
        context.remove(gone);
    outcome.status = context.save();
    return outcome;
}

} // namespace corvane
