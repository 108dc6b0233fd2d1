# Listening ports: lsof's listing parsed, attributed to projects by folder, and polled.
target_sources(corvane_tools PRIVATE
    ports/PortListing.h ports/PortListing.cpp
    ports/PortService.h ports/PortService.cpp
    ports/ProjectScopes.h ports/ProjectScopes.cpp)
