#pragma once

#include "core/Result.h"
#include "core/process/ProcessCommand.h"

namespace corvane {

// Checks a command before it reaches QProcess, so the usual launch failures (a tool that is not
// installed, a file without the execute bit, a working directory that was deleted) come back as a
// sentence naming the program: "Could not start /x/claude: No such file or directory". The error
// code is the errno value. On success returns the program as an absolute path.
Result<QString> resolveProgram(const ProcessCommand &command);

} // namespace corvane
