#pragma once

#include "core/Result.h"

#include <QObject>
#include <QUuid>

#include <functional>
#include <optional>

namespace corvane {

class StoreContext;

// Opening a pull request for a workspace, as the create sheet and corvane-cli do it: the branch
// goes to the remote first (with an upstream when it has none; pushed when it is ahead), then
// the pull request is made, then the workspace is linked to it and saved.
struct PullRequestDraft
{
    QString title;
    QString body;
    std::optional<QString> base;
    bool draft = false;
    QString preferredUsername;
};

// The pull request's address on success. A workspace deleted meanwhile gets an error that still
// names the pull request, which exists on GitHub by then.
void createPullRequest(QObject *context, StoreContext &store, const QUuid &workspaceId, const QString &directory,
                       const QString &apiBase, const PullRequestDraft &draft, std::function<void(Result<QString>)> done);

} // namespace corvane
