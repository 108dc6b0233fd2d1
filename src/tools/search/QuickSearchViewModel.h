#pragma once

#include "tools/search/QuickSearch.h"
#include "tools/search/SearchResults.h"

#include <QList>
#include <QObject>
#include <QTimer>

#include <optional>

namespace corvane {

class Store;

// The state behind the quick search palette: the text typed, the filter, the results and the
// selection. Setting the text or the filter schedules a search; a search over messages waits for
// a pause in typing (a new keystroke cancels the wait), while an empty field or a search of
// workspaces alone runs at once. Searches run on the main thread to their end, so one cannot
// overtake another. The store must outlive the model.
class QuickSearchViewModel : public QObject
{
    Q_OBJECT

public:
    static constexpr int debounceMs = 150;
    // In "All" with text: the first workspaces and messages kept.
    static constexpr int allWorkspaces = 5;
    static constexpr int allMessages = 15;

    explicit QuickSearchViewModel(Store &store, QObject *parent = nullptr);

    QString searchText() const { return m_searchText; }
    void setSearchText(const QString &text);
    SearchFilterMode filterMode() const { return m_filterMode; }
    void setFilterMode(SearchFilterMode mode);

    const QList<SearchResult> &results() const { return m_results; }
    int selectedIndex() const { return m_selectedIndex; }
    void setSelectedIndex(int index);
    std::optional<SearchResult> selectedResult() const;
    void moveSelectionUp();
    void moveSelectionDown();

    // Searches now, whatever is pending; what the debounce runs, and what the command line calls.
    void performSearch();
    bool isSearchPending() const { return m_debounce.isActive(); }

    Store &store() const { return m_store; }

    // For tests and measurements: how messages are walked.
    void setMessageScan(search::MessageScan scan) { m_scan = scan; }

signals:
    void resultsChanged();
    void selectionChanged();

private:
    void scheduleSearch();

    Store &m_store;
    QString m_searchText;
    SearchFilterMode m_filterMode = SearchFilterMode::all;
    QList<SearchResult> m_results;
    int m_selectedIndex = 0;
    QTimer m_debounce;
    search::MessageScan m_scan = search::MessageScan::automatic;
};

} // namespace corvane
