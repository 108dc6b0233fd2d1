# The profile strip of the sidebar and the sheets that act on a profile.
target_sources(corvane_shell PRIVATE
    profiles/ProfileSheets.h profiles/ProfileSheets.cpp
    profiles/ProfileActions.h profiles/ProfileActions.cpp
    profiles/ProfileDotsView.h profiles/ProfileDotsView.cpp)
