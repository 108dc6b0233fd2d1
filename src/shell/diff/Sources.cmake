# One changed file side by side, HEAD against the disk.
target_sources(corvane_shell PRIVATE
    diff/DiffPane.h diff/DiffPane.cpp
    diff/DiffWindow.h diff/DiffWindow.cpp)
