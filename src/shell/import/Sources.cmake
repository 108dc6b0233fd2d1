# The session import window and its preview.
target_sources(corvane_shell PRIVATE
    import/ImportWindow.h import/ImportWindow.cpp
    import/ImportPreviewWindow.h import/ImportPreviewWindow.cpp)
target_link_libraries(corvane_shell PUBLIC corvane_import)
