# The text buffers of files opened beside a workspace's chats.
target_sources(corvane_tools PRIVATE
    editor/OpenFileService.h editor/OpenFileService.cpp
    editor/TextFile.h editor/TextFile.cpp)
