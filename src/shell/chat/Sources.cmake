# The chat area of the window: timeline, input, prompt cards and floating prompt windows.
target_sources(corvane_shell PRIVATE
    chat/ChatStyle.h chat/ChatStyle.cpp
    chat/MarkdownTextView.h chat/MarkdownTextView.cpp
    chat/PermissionCard.h chat/PermissionCard.cpp
    chat/QuestionCard.h chat/QuestionCard.cpp
    chat/PlanCard.h chat/PlanCard.cpp
    chat/TimelineRow.h chat/TimelineRows.cpp
    chat/TimelineView.h chat/TimelineView.cpp
    chat/TimestampOverlay.h chat/TimestampOverlay.cpp
    chat/ChatTextEdit.h chat/ChatTextEdit.cpp
    chat/ChatInputView.h chat/ChatInputView.cpp
    chat/ChatView.h chat/ChatView.cpp
    chat/FloatingPromptWindow.h chat/FloatingPromptWindow.cpp
    chat/FloatingPromptCoordinator.h chat/FloatingPromptCoordinator.cpp)
target_link_libraries(corvane_shell PUBLIC corvane_agent corvane_presentation)
