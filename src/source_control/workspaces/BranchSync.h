#pragma once

#include "core/Broadcasts.h"

#include <QObject>
#include <QString>
#include <QUuid>

namespace corvane {

class StoreContext;

// Keeps the branch that workspaces and chats show in step with their checkouts. On each
// gitStateDidChange it reads the current branch of that folder and stores it on every live
// workspace and chat working there whose branch differs, so a branch switched in a terminal (or
// by an agent) reaches the sidebar, the chat header and the inspector through the ordinary store
// change. Reads run through GitService, off the main thread; a stale answer is dropped.
class BranchSync : public QObject
{
    Q_OBJECT

public:
    BranchSync(StoreContext &context, NotificationCenter &center, QObject *parent = nullptr);

    // The repository monitor of one workspace's folder, started, for the session registry's
    // factory; owned by the caller.
    static QObject *makeMonitor(const QString &workingDirectory, NotificationCenter &center);

    // Reads the folder's branch now and stores it where it differs.
    void refresh(const QString &workingDirectory);

signals:
    // After a refresh stored a new branch (for tests and views that want to know).
    void branchStored(const QString &workingDirectory, const QString &branch);

private:
    void store(const QString &workingDirectory, const QString &branch);

    StoreContext &m_context;
    ObserverGuard m_observer;
    QHash<QString, quint64> m_generation; // per folder: only the latest read is applied
};

} // namespace corvane
