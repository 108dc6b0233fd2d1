# The quick search palette over the main window.
target_sources(corvane_shell PRIVATE
    search/QuickSearchPalette.h search/QuickSearchPalette.cpp)
target_link_libraries(corvane_shell PUBLIC corvane_tools)
