#include "accounts/import/ImportWindowViewModel.h"

#include "core/MainThread.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"

#include <QCoreApplication>

namespace corvane {

ImportWindowViewModel::ImportWindowViewModel(std::shared_ptr<Store> store, const QUuid &projectId, ImportRoots roots,
                                             QObject *parent)
    : QObject(parent), m_store(std::move(store)), m_projectId(projectId), m_service(std::move(roots))
{
    if (const auto project = m_store->mainContext().get<Project>(projectId))
        m_projectPath = project->path;
}

QList<ImportableSession> ImportWindowViewModel::filteredSessions() const
{
    return filterSessions(m_sessions, m_searchText, m_dateFilter, m_modelFilter, m_now());
}

QList<SessionGroup> ImportWindowViewModel::groupedSessions() const
{
    return groupSessions(filteredSessions(), m_now());
}

QStringList ImportWindowViewModel::availableModels() const
{
    return corvane::availableModels(m_sessions);
}

void ImportWindowViewModel::setSelected(const QString &id, bool selected)
{
    if (selected == m_selected.contains(id))
        return;
    if (selected)
        m_selected.insert(id);
    else
        m_selected.remove(id);
    emit changed();
}

void ImportWindowViewModel::selectAll()
{
    for (const ImportableSession &session : filteredSessions())
        m_selected.insert(session.id);
    emit changed();
}

void ImportWindowViewModel::deselectAll()
{
    for (const ImportableSession &session : filteredSessions())
        m_selected.remove(session.id);
    emit changed();
}

bool ImportWindowViewModel::allFilteredSelected() const
{
    const auto filtered = filteredSessions();
    if (filtered.isEmpty())
        return false;
    for (const ImportableSession &session : filtered)
        if (!m_selected.contains(session.id))
            return false;
    return true;
}

void ImportWindowViewModel::setSearchText(const QString &text)
{
    if (text == m_searchText)
        return;
    m_searchText = text;
    emit changed();
}

void ImportWindowViewModel::setDateFilter(DateFilter filter)
{
    if (filter == m_dateFilter)
        return;
    m_dateFilter = filter;
    emit changed();
}

void ImportWindowViewModel::setModelFilter(const std::optional<QString> &model)
{
    if (model == m_modelFilter)
        return;
    m_modelFilter = model;
    emit changed();
}

void ImportWindowViewModel::load()
{
    m_loading = true;
    emit changed();
    const quint64 generation = ++m_loadGeneration; // a scan still on its way is dropped
    runInBackground(this, [service = m_service, store = m_store, path = m_projectPath] {
        return service.discoverSessions(path, store.get());
    }, [this, generation](QList<ImportableSession> sessions) {
        if (generation != m_loadGeneration)
            return;
        m_sessions = std::move(sessions);
        QSet<QString> present;
        for (const ImportableSession &session : m_sessions)
            present.insert(session.id);
        m_selected.intersect(present);
        if (m_modelFilter && !corvane::availableModels(m_sessions).contains(*m_modelFilter))
            m_modelFilter.reset();
        m_loading = false;
        m_loaded = true;
        emit changed();
        emit loaded();
    });
}

void ImportWindowViewModel::importSelected()
{
    QList<ImportableSession> chosen;
    for (const ImportableSession &session : m_sessions)
        if (m_selected.contains(session.id))
            chosen.append(session);
    importSessions(chosen);
}

void ImportWindowViewModel::importSessions(const QList<ImportableSession> &sessions)
{
    if (sessions.isEmpty() || m_importing)
        return;
    m_importing = true;
    m_error.reset();
    m_progress = std::make_pair(0, int(sessions.size()));
    emit changed();
    QPointer<ImportWindowViewModel> guard(this);
    // Progress hops to the GUI thread through the application object, which outlives this model,
    // and is dropped there when the window has gone meanwhile.
    const auto progress = [guard](int current, int total) {
        QMetaObject::invokeMethod(QCoreApplication::instance(), [guard, current, total] {
            if (!guard || !guard->m_importing)
                return;
            guard->m_progress = std::make_pair(current, total);
            emit guard->changed();
        }, Qt::QueuedConnection);
    };
    runInBackground(this, [store = m_store, projectId = m_projectId, sessions, progress] {
        auto context = store->newContext();
        return ImportService::importSessions(sessions, projectId, *context, progress);
    }, [this](const ImportOutcome &outcome) {
        m_importing = false;
        m_progress.reset();
        if (!outcome.errors.isEmpty())
            m_error = tr("Failed to import %1 session(s)").arg(outcome.errors.size());
        for (const QString &id : outcome.sessionIds) {
            m_selected.remove(id);
            m_sessions.removeIf([&id](const ImportableSession &s) { return s.id == id; });
        }
        emit changed();
        emit importFinished();
        if (!outcome.workspaceIds.isEmpty())
            emit imported(outcome.workspaceIds);
    });
}

} // namespace corvane
