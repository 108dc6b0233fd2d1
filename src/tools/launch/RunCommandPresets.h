#pragma once

#include <QList>
#include <QString>

namespace corvane {

// A command the add-action sheet offers for a project, with the file that suggested it.
struct RunCommandPreset
{
    QString name;
    QString command;
    QString detectedBy;
    bool operator==(const RunCommandPreset &) const = default;
};

// The usual commands of the build files directly in `folder`: npm scripts, cargo, swift, go,
// python, make, in that order. Reads the folder each time; what can't be read adds nothing.
QList<RunCommandPreset> detectPresets(const QString &folder);

} // namespace corvane
