# The inspector's view of the shown working directory.
target_sources(corvane_source_control PRIVATE
    inspector/InspectorViewModel.h inspector/InspectorViewModel.cpp
    inspector/GitActionsModel.h inspector/GitActionsModel.cpp
    inspector/BackgroundClock.h inspector/BackgroundClock.cpp)
