target_sources(corvane_core PRIVATE
    process/ProcessCommand.h
    process/ProgramLookup.h process/ProgramLookup.cpp
    process/LineFramer.h process/LineFramer.cpp
    process/ByteTail.h process/ByteTail.cpp
    process/TailPipe.h process/TailPipe.cpp
    process/ChildProcess.h process/ChildProcess.cpp
    process/ProcessReaper.h process/ProcessReaper.cpp)
