#pragma once

// Waiting on what a real program prints into a terminal session.
#include "tools/terminal/TerminalSession.h"

#include <QTest>

namespace corvane::test {

// Whether some line of the screen or its scrollback contains `text` within `ms`.
inline bool screenShows(TerminalSession &session, const QString &text, int ms = 10000)
{
    return QTest::qWaitFor([&] {
        for (int row = -session.screen().scrollbackSize(); row < session.screen().rows(); ++row)
            if (session.screen().lineText(row).contains(text))
                return true;
        return false;
    }, ms);
}

} // namespace corvane::test
