# The project page: overview lists and hygiene tiles over the overview's view model.
target_sources(corvane_shell PRIVATE
    project/ProjectPage.h project/ProjectPage.cpp project/ProjectPageLists.cpp)
