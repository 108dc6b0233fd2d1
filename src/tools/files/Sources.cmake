# The workspace file tree: disk operations on a serial worker, the tree's state, and its item model.
target_sources(corvane_tools PRIVATE
    files/FileNode.h
    files/FileOperations.h files/FileOperations.cpp
    files/FileSystemService.h files/FileSystemService.cpp
    files/FileTreeViewModel.h files/FileTreeViewModel.cpp
    files/FileTreeItemModel.h files/FileTreeItemModel.cpp)
