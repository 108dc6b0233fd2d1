#pragma once

// Planner cards for tests, written as "<status>:<title>:<sortOrder>[:<project>]", where the
// project is an index into `projects`. Made a second apart in the order given (so their age
// order is the list's), inserted and not saved.
#include "core/records/Issue.h"
#include "core/records/Project.h"
#include "core/store/StoreContext.h"

#include <QStringList>

namespace corvane::test {

inline void insertCards(StoreContext &context, const QStringList &cards, const QList<std::shared_ptr<Project>> &projects = {})
{
    QDateTime at = QDateTime::currentDateTime().addDays(-1);
    for (const QString &card : cards) {
        const QStringList parts = card.split(QLatin1Char(':'));
        Issue issue;
        issue.statusRaw = parts.value(0);
        issue.title = parts.value(1);
        issue.sortOrder = parts.value(2).toLongLong();
        if (parts.size() > 3)
            issue.projectId = projects.at(parts[3].toInt())->id;
        issue.createdAt = at = at.addSecs(1);
        context.insert(issue);
    }
}

} // namespace corvane::test
