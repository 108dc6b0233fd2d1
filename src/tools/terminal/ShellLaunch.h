#pragma once

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace corvane::shelllaunch {

// The user's login shell: $SHELL, else bash (Linux desktops don't all have zsh).
QString shell(const QProcessEnvironment &environment);

// The environment a terminal's shell starts with: a fresh list, not the program's own, in this
// order: TERM, COLORTERM, LANG, HOME, PATH (the user's own bins first, then the program's PATH,
// then the usual places), SHELL, USER, the three XDG folders, then each ANTHROPIC* and CLAUDE*
// variable the program has, for the user's own agent runs. DISPLAY, WAYLAND_DISPLAY and the
// session bus are kept too: a shell that cannot open a browser or reach the keyring is no
// desktop shell. Entries are "NAME=value", in order.
QStringList environment(const QProcessEnvironment &program, const QString &systemHome, const QString &systemUser);

} // namespace corvane::shelllaunch
