#pragma once

#include <QString>

#include <functional>

class QMenu;
class QWidget;

namespace corvane {

// "Open in": the installed editors, then the user's terminal application, for `folder`.
QMenu *openInMenu(const QString &folder, QWidget *parent);

// "Run": the commands the folder's files suggest (npm scripts, cargo, go, make...), each handed
// to `run` with its command and name; a folder that suggests nothing says so.
QMenu *runMenu(const QString &folder, std::function<void(const QString &command, const QString &name)> run,
               QWidget *parent);

} // namespace corvane
