target_sources(corvane_core PRIVATE
    window/ContentState.h window/ContentState.cpp
    window/PinnedTool.h window/PinnedTool.cpp
    window/WindowStateModel.h window/WindowStateModel.cpp
    window/WindowCommands.h window/WindowCommands.cpp
    window/ShortcutBindings.h window/ShortcutBindings.cpp
    window/TabBarLayout.h window/TabBarLayout.cpp
    window/WindowNavigator.h window/WindowNavigator.cpp)
