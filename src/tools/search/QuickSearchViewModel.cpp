#include "tools/search/QuickSearchViewModel.h"

#include "core/store/Store.h"
#include "core/store/StoreContext.h"

namespace corvane {

QuickSearchViewModel::QuickSearchViewModel(Store &store, QObject *parent) : QObject(parent), m_store(store)
{
    m_debounce.setSingleShot(true);
    m_debounce.setInterval(debounceMs);
    connect(&m_debounce, &QTimer::timeout, this, &QuickSearchViewModel::performSearch);
}

void QuickSearchViewModel::setSearchText(const QString &text)
{
    m_searchText = text;
    scheduleSearch();
}

void QuickSearchViewModel::setFilterMode(SearchFilterMode mode)
{
    m_filterMode = mode;
    scheduleSearch();
}

void QuickSearchViewModel::scheduleSearch()
{
    m_debounce.stop();
    if (!m_searchText.trimmed().isEmpty() && m_filterMode != SearchFilterMode::workspaces)
        m_debounce.start();
    else
        performSearch();
}

void QuickSearchViewModel::performSearch()
{
    m_debounce.stop();
    const search::CodePoints folded = search::foldedCodePoints(m_searchText.trimmed());
    const QString query = QString::fromUcs4(folded.data(), qsizetype(folded.size()));
    QList<SearchResult> results;
    if (m_filterMode != SearchFilterMode::messages) {
        // A context of its own: the search reads what is saved, and keeps no records afterwards.
        const auto context = m_store.newContext();
        QList<WorkspaceSearchResult> workspaces = search::searchWorkspaces(*context, query);
        if (m_filterMode == SearchFilterMode::all && !query.isEmpty())
            workspaces = workspaces.mid(0, allWorkspaces);
        for (WorkspaceSearchResult &workspace : workspaces)
            results.append(SearchResult{std::move(workspace)});
    }
    if (m_filterMode != SearchFilterMode::workspaces && !query.isEmpty()) {
        // The messages search stops at its own limit; "All" keeps fewer of them.
        const int limit = m_filterMode == SearchFilterMode::all ? allMessages : search::messageLimit;
        for (MessageSearchResult &message : search::searchMessages(m_store, query, limit, m_scan))
            results.append(SearchResult{std::move(message)});
    }
    m_results = std::move(results);
    m_selectedIndex = 0;
    emit resultsChanged();
    emit selectionChanged();
}

void QuickSearchViewModel::setSelectedIndex(int index)
{
    if (index == m_selectedIndex)
        return;
    m_selectedIndex = index;
    emit selectionChanged();
}

std::optional<SearchResult> QuickSearchViewModel::selectedResult() const
{
    if (m_selectedIndex < 0 || m_selectedIndex >= m_results.size())
        return std::nullopt;
    return m_results.at(m_selectedIndex);
}

void QuickSearchViewModel::moveSelectionUp()
{
    if (m_selectedIndex > 0)
        setSelectedIndex(m_selectedIndex - 1);
}

void QuickSearchViewModel::moveSelectionDown()
{
    if (m_selectedIndex < m_results.size() - 1)
        setSelectedIndex(m_selectedIndex + 1);
}

} // namespace corvane
