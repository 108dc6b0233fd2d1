# Archived records deleted for good once their retention has run out.
target_sources(corvane_source_control PRIVATE
    retention/ArchiveSweepPlan.h retention/ArchiveSweepPlan.cpp
    retention/ArchiveCleanupService.h retention/ArchiveCleanupService.cpp)
