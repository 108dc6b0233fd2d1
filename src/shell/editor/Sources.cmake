# The editor of files opened beside a workspace's chats, and the read-only preview.
target_sources(corvane_shell PRIVATE
    editor/CodeEditor.h editor/CodeEditor.cpp
    editor/FileEditorView.h editor/FileEditorView.cpp
    editor/FilePreviewWindow.h editor/FilePreviewWindow.cpp)
