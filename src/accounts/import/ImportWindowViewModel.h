#pragma once

#include "accounts/import/ImportFilters.h"
#include "accounts/import/ImportService.h"

#include <QObject>
#include <QSet>
#include <QUuid>

#include <functional>
#include <memory>
#include <optional>

namespace corvane {

class Store;

// The state of one project's import window: the sessions found, the filters, the selection, and
// the two pieces of work that run off the GUI thread (discovery, import), each with a store
// connection of its own; every change of state happens on the GUI thread and is announced by
// changed().
class ImportWindowViewModel : public QObject
{
    Q_OBJECT

public:
    ImportWindowViewModel(std::shared_ptr<Store> store, const QUuid &projectId, ImportRoots roots,
                          QObject *parent = nullptr);

    QUuid projectId() const { return m_projectId; }
    QString projectPath() const { return m_projectPath; }

    const QList<ImportableSession> &sessions() const { return m_sessions; }
    QList<ImportableSession> filteredSessions() const;
    QList<SessionGroup> groupedSessions() const;
    QStringList availableModels() const;

    const QSet<QString> &selectedIds() const { return m_selected; }
    bool isSelected(const QString &id) const { return m_selected.contains(id); }
    void setSelected(const QString &id, bool selected);
    void toggle(const QString &id) { setSelected(id, !isSelected(id)); }
    // Over the sessions the filters let through.
    void selectAll();
    void deselectAll();
    // Whether every filtered session is selected (the bottom bar then offers "Deselect All").
    bool allFilteredSelected() const;

    QString searchText() const { return m_searchText; }
    void setSearchText(const QString &text);
    DateFilter dateFilter() const { return m_dateFilter; }
    void setDateFilter(DateFilter filter);
    std::optional<QString> modelFilter() const { return m_modelFilter; }
    void setModelFilter(const std::optional<QString> &model);

    bool isLoading() const { return m_loading; }
    bool hasLoaded() const { return m_loaded; }
    bool isImporting() const { return m_importing; }
    std::optional<std::pair<int, int>> importProgress() const { return m_progress; }
    std::optional<QString> errorMessage() const { return m_error; }

    // Finds the sessions in the background; the list is replaced when it is done.
    void load();
    // Imports the selected sessions, in list order, in the background; nothing when none is.
    void importSelected();
    // Imports the given sessions whatever the selection (the preview's "Import Session").
    void importSessions(const QList<ImportableSession> &sessions);

    // The clock the date filters and groups use; tests set one.
    void setClock(std::function<QDateTime()> now) { m_now = std::move(now); }
    QDateTime now() const { return m_now(); }

signals:
    void changed();
    void loaded();
    // After an import, with the workspaces it made (first the first), on the GUI thread.
    void imported(const QList<QUuid> &workspaceIds);
    void importFinished();

private:
    std::shared_ptr<Store> m_store;
    QUuid m_projectId;
    QString m_projectPath;
    ImportService m_service;
    QList<ImportableSession> m_sessions;
    QSet<QString> m_selected;
    QString m_searchText;
    DateFilter m_dateFilter = DateFilter::all;
    std::optional<QString> m_modelFilter;
    bool m_loading = false;
    bool m_loaded = false;
    bool m_importing = false;
    std::optional<std::pair<int, int>> m_progress;
    std::optional<QString> m_error;
    quint64 m_loadGeneration = 0;
    std::function<QDateTime()> m_now = [] { return QDateTime::currentDateTime(); };
};

} // namespace corvane
