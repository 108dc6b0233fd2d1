# One changed file side by side: the line diff and the loading of its two texts.
target_sources(corvane_source_control PRIVATE
    diff/LineDiff.h diff/LineDiff.cpp
    diff/DiffLoader.h diff/DiffLoader.cpp)
