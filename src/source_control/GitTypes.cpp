#include "source_control/GitTypes.h"

namespace corvane {

QChar gitStatusLetter(GitStatus status)
{
    switch (status) {
    case GitStatus::added: return u'A';
    case GitStatus::modified: return u'M';
    case GitStatus::deleted: return u'D';
    case GitStatus::renamed: return u'R';
    case GitStatus::copied: return u'C';
    case GitStatus::untracked: return u'?';
    case GitStatus::ignored: return u'!';
    case GitStatus::unmerged: return u'U';
    }
    return u'?';
}

std::optional<GitStatus> gitStatusFromLetter(char letter)
{
    switch (letter) {
    case 'A': return GitStatus::added;
    case 'M': return GitStatus::modified;
    case 'D': return GitStatus::deleted;
    case 'R': return GitStatus::renamed;
    case 'C': return GitStatus::copied;
    case '?': return GitStatus::untracked;
    case '!': return GitStatus::ignored;
    case 'U': return GitStatus::unmerged;
    default: return std::nullopt;
    }
}

} // namespace corvane
