# Quick search: workspaces and chat messages found as one types, through the store's trigram
# index of messages where it helps and a scan of them otherwise.
target_sources(corvane_tools PRIVATE
    search/SearchText.h search/SearchText.cpp
    search/SearchResults.h
    search/IndexQuery.h search/IndexQuery.cpp
    search/QuickSearch.h search/QuickSearch.cpp
    search/QuickSearchViewModel.h search/QuickSearchViewModel.cpp)
