#include "source_control/GitExecutable.h"

#include <QFileInfo>
#include <QStandardPaths>

namespace corvane {

QString gitExecutable()
{
    static const QString path = [] {
        const QString fixed = QStringLiteral("/usr/bin/git");
        if (QFileInfo(fixed).isExecutable())
            return fixed;
        const QString found = QStandardPaths::findExecutable(QStringLiteral("git"));
        return found.isEmpty() ? fixed : found;
    }();
    return path;
}

} // namespace corvane
