#pragma once

#include <QString>

namespace corvane {

// The git that runs repository work: "/usr/bin/git" when it is there, otherwise the first "git"
// on the PATH, otherwise "/usr/bin/git" again so that the launch failure names the usual place.
// Looked up once per process.
QString gitExecutable();

} // namespace corvane
