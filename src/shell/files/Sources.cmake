# The inspector's Files tab: the file tree view, its dialogs and the file manager hand-off.
target_sources(corvane_shell PRIVATE
    files/FileDialogs.h files/FileDialogs.cpp
    files/FileTreeView.h files/FileTreeView.cpp)
target_link_libraries(corvane_shell PUBLIC corvane_tools Qt6::DBus)
