target_sources(corvane_agent PRIVATE
    codex/CodexEvent.h codex/CodexEvent.cpp
    codex/CodexOutputParser.h codex/CodexOutputParser.cpp
    codex/CodexTurn.h codex/CodexTurn.cpp
    codex/CodexSDKService.h codex/CodexSDKService.cpp)
