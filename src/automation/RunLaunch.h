#pragma once

#include "core/records/AutomationFlow.h"

#include <QList>
#include <QString>

#include <memory>
#include <optional>

namespace corvane {

// The pure parts of starting a run from an issue: the branch a title suggests, the flows a
// project offers, and the prompt that tells the coordinator its task and the markers.
namespace runlaunch {

// "Fix: the Login — page!" -> "fix-the-login-page": lower case, anything not a letter or digit
// a separator, at most 48 characters (a cut may end on "-"). Only punctuation gives "".
QString branchSlug(const QString &title);

// The user's flows and this project's, project flows first, then by name in plain text order.
QList<std::shared_ptr<AutomationFlow>> flowsFor(QList<std::shared_ptr<AutomationFlow>> flows, const QUuid &projectId);

struct LaunchIssue
{
    QString title;
    std::optional<QString> description;
};
// The coordinator's first prompt: the issue, where it runs, and the marker protocol.
QString launchPrompt(const QString &flowName, const LaunchIssue &issue, bool inWorktree);

} // namespace runlaunch
} // namespace corvane
