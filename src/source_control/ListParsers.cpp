#include "source_control/ListParsers.h"

#include "source_control/ParserSupport.h"

#include <QSet>

namespace corvane {

using namespace gitparse;

QList<GitWorktree> parseWorktreeList(const QByteArray &output)
{
    QList<GitWorktree> worktrees;
    std::optional<GitWorktree> pending;
    for (QByteArrayView line : splitOn(output, '\n', true)) {
        if (line.startsWith("worktree ")) {
            if (pending)
                worktrees.append(std::move(*pending));
            pending = GitWorktree{text(line.sliced(9)), std::nullopt, false};
        } else if (!pending) {
            continue;
        } else if (line.startsWith("branch refs/heads/")) {
            pending->branch = text(line.sliced(18));
        } else if (line == "locked") {
            pending->isLocked = true;
        }
    }
    if (pending)
        worktrees.append(std::move(*pending));
    return worktrees;
}

QList<GitStash> parseStashList(const QByteArray &output)
{
    QList<GitStash> stashes;
    for (QByteArrayView line : lines(output)) {
        const qsizetype colon = line.indexOf(':');
        const QByteArrayView message = colon < 0 ? line : trimSpacesAndTabs(line.sliced(colon + 1));
        stashes.append(GitStash{int(stashes.size()), text(message)});
    }
    return stashes;
}

QList<GitRemote> parseRemoteList(const QByteArray &output)
{
    QList<GitRemote> remotes;
    QSet<QString> seen;
    for (QByteArrayView line : lines(output)) {
        const QList<QByteArrayView> pieces = splitOn(line, '\t', false);
        if (pieces.size() < 2)
            continue;
        const QString name = text(pieces[0]);
        if (seen.contains(name))
            continue;
        const QList<QByteArrayView> words = splitOn(pieces[1], ' ', false);
        if (words.isEmpty())
            continue;
        seen.insert(name);
        remotes.append(GitRemote{name, text(words[0])});
    }
    return remotes;
}

} // namespace corvane
