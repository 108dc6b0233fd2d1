# The terminal emulator's widget and a workspace's panel of terminals.
target_sources(corvane_shell PRIVATE
    terminal/TerminalView.h terminal/TerminalView.cpp
    terminal/TerminalPanel.h terminal/TerminalPanel.cpp
    terminal/LaunchMenus.h terminal/LaunchMenus.cpp
    terminal/SignInSheet.h terminal/SignInSheet.cpp)
target_link_libraries(corvane_shell PUBLIC corvane_tools corvane_accounts)
