#pragma once

// A stand-in for `claude auth status --json`: a shell script that answers from files in the
// configuration folder it is asked about (CLAUDE_CONFIG_DIR, else ~/.claude), so each profile can
// be given its own answer and the answer changed between checks:
//   answer.json  printed as the status (missing: signed out, exit 1, as claude does)
//   delay        seconds to wait first, to hold a check in flight
//   calls        one line appended per run
#include "support/CoreFiles.h"

#include <QDir>
#include <QFile>

namespace corvane::test {

struct ClaudeStub
{
    QString path;

    // Writes the script into `folder`; empty path when it can't be written.
    static ClaudeStub write(const QString &folder)
    {
        const QString script = folder + QStringLiteral("/claude");
        const QByteArray body =
            "#!/bin/sh\n"
            "dir=\"${CLAUDE_CONFIG_DIR:-$HOME/.claude}\"\n"
            "mkdir -p \"$dir\"\n"
            "echo \"$*\" >> \"$dir/calls\"\n"
            "if [ -f \"$dir/delay\" ]; then sleep \"$(cat \"$dir/delay\")\"; fi\n"
            "if [ -f \"$dir/answer.json\" ]; then cat \"$dir/answer.json\"; exit 0; fi\n"
            "echo '{\"loggedIn\": false, \"authMethod\": \"none\", \"apiProvider\": \"firstParty\"}'\n"
            "exit 1\n";
        if (!writeFile(script, body))
            return {};
        QFile::setPermissions(script, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        return {script};
    }

    static bool answer(const QString &configDir, const QByteArray &json) { return writeFile(configDir + "/answer.json", json); }
    static bool signedIn(const QString &configDir, const QString &email = {})
    {
        const QByteArray mail = email.isEmpty() ? QByteArray() : ", \"email\": \"" + email.toUtf8() + "\"";
        return answer(configDir, "{\"loggedIn\": true, \"authMethod\": \"claude.ai\"" + mail + "}");
    }
    static bool signedOut(const QString &configDir) { return QFile::remove(configDir + "/answer.json") || true; }
    static bool delay(const QString &configDir, double seconds)
    {
        return writeFile(configDir + "/delay", QByteArray::number(seconds));
    }
    static int calls(const QString &configDir)
    {
        return readFile(configDir + "/calls").count('\n');
    }
};

} // namespace corvane::test
