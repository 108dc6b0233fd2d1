# Pull requests on GitHub: the REST client and what a workspace keeps of its pull request.
target_sources(corvane_source_control PRIVATE
    github/PullRequests.h github/PullRequests.cpp
    github/GitHubRequest.h github/GitHubRequest.cpp
    github/PRService.h github/PRService.cpp)
target_link_libraries(corvane_source_control PUBLIC Qt6::Network)
