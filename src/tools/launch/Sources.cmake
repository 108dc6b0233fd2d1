# Run commands proposed from a project's build files, and handing a folder to an editor or a
# terminal application.
target_sources(corvane_tools PRIVATE
    launch/RunCommandPresets.h launch/RunCommandPresets.cpp
    launch/Editors.h launch/Editors.cpp
    launch/TerminalLaunch.h launch/TerminalLaunch.cpp)
