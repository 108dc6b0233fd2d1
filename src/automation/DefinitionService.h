#pragma once

#include "core/Result.h"

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QSet>
#include <QStringList>
#include <QTimer>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace corvane {

class InotifyHub;
class InotifySubscription;
class Store;
class StoreContext;

// Where a new definition goes: the user's folder, or that of one project.
struct DefinitionLocation
{
    std::optional<QString> projectFolder; // none: the user's

    static DefinitionLocation user() { return {}; }
    static DefinitionLocation project(const QString &folder) { return {folder}; }
};

// What one background scan did: its error, and the folders whose changes should start the next.
struct DefinitionScanOutcome
{
    Status status;
    QStringList watchFolders;
};

// The shape the flow, subagent and skill services share. The files are the truth and the store
// mirrors them: reload() lists, reads and parses the definition folders on a worker thread, with
// a store context of its own, reconciles the records there and saves; the service then publishes
// the sorted list on the main thread. The same folders are watched, so an edit made in another
// editor, or by the agent itself, is picked up after a short pause without a reload button.
class DefinitionService : public QObject
{
    Q_OBJECT

public:
    static constexpr std::chrono::milliseconds rescanDelay{250};

    ~DefinitionService() override;

    bool isLoading() const { return m_loading; }
    // Why the last whole reload failed; a single unreadable file is not an error of the reload.
    const std::optional<QString> &lastError() const { return m_lastError; }
    const QStringList &projectPaths() const { return m_projectPaths; }
    // What the last reload cost the main thread (publishing the list, watching): for measurements.
    std::chrono::nanoseconds lastMainThreadTime() const { return m_mainThreadTime; }

    // Rescans the user's folders and those of each project folder given. Returns at once; a
    // reload asked for while one runs is done once that one ends.
    void reload(const QStringList &projectPaths);
    void reload() { reload(m_projectPaths); }

    // Watches the folders of the last scan through `hub` (the process's shared one when null).
    void startWatching(InotifyHub *hub = nullptr);
    void stopWatching();
    bool isWatching() const { return bool(m_subscription); }

signals:
    void loadingChanged(bool loading);
    // The list was published again (also after a failed reload, with lastError set).
    void reloaded();

protected:
    DefinitionService(std::shared_ptr<Store> store, QObject *parent);

    using ScanJob = std::function<DefinitionScanOutcome(StoreContext &context)>;
    // The work of one reload, run on a worker thread. It must capture what it needs by value.
    virtual ScanJob scanJob(const QStringList &projectPaths) = 0;
    // Fetches the records into the published list, on the main thread.
    virtual Status publish() = 0;

    Store &store() const { return *m_store; }
    StoreContext &mainContext() const;

private:
    void finishReload(const DefinitionScanOutcome &outcome);
    void watchFolders(const QStringList &folders);

    std::shared_ptr<Store> m_store;
    QStringList m_projectPaths;
    bool m_loading = false;
    bool m_reloadAgain = false;
    std::optional<QString> m_lastError;
    InotifyHub *m_hub = nullptr;
    std::shared_ptr<InotifySubscription> m_subscription;
    QStringList m_watched;
    QHash<QString, QSet<QByteArray>> m_nameFilters;
    QTimer m_rescan;
    std::chrono::nanoseconds m_mainThreadTime{0};
};

} // namespace corvane
