# Terminal sessions: how a shell is started and stopped, and the process table it is read from.
target_sources(corvane_tools PRIVATE
    terminal/ShellLaunch.h terminal/ShellLaunch.cpp
    terminal/ProcessTable.h terminal/ProcessTable.cpp)
