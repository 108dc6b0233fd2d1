# The project page's logic: hygiene figures, their measurements and the overview's view model.
target_sources(corvane_source_control PRIVATE
    overview/HygieneTypes.h
    overview/HygieneRules.h overview/HygieneRules.cpp
    overview/HygieneParsers.h overview/HygieneParsers.cpp
    overview/HygieneProbes.h overview/HygieneProbes.cpp
    overview/MemoryFiles.h overview/MemoryFiles.cpp
    overview/ProjectOverviewViewModel.h overview/ProjectOverviewViewModel.cpp)
target_link_libraries(corvane_source_control PUBLIC Qt6::Concurrent)
