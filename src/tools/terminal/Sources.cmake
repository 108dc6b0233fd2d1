# Terminal sessions: the pseudo-terminal, the screen over libvterm, how a shell is started and
# stopped, and the process table its descendants are found in.
pkg_check_modules(VTERM REQUIRED IMPORTED_TARGET vterm)
target_sources(corvane_tools PRIVATE
    terminal/ShellLaunch.h terminal/ShellLaunch.cpp
    terminal/ProcessTable.h terminal/ProcessTable.cpp
    terminal/Pty.h terminal/Pty.cpp
    terminal/TerminalScreen.h terminal/TerminalScreen.cpp
    terminal/TerminalSession.h terminal/TerminalSession.cpp
    terminal/TerminalPanelModel.h terminal/TerminalPanelModel.cpp
    terminal/TerminalService.h terminal/TerminalService.cpp)
target_link_libraries(corvane_tools PUBLIC PkgConfig::VTERM util)
