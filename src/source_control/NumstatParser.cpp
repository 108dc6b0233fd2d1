#include "source_control/NumstatParser.h"

#include "source_control/ParserSupport.h"

namespace corvane {

using namespace gitparse;

namespace {

void add(DiffStats &stats, QByteArrayView path, int additions, int deletions)
{
    DiffStat &stat = stats[text(path)];
    stat.additions += additions;
    stat.deletions += deletions;
}

} // namespace

void addNumstat(const QByteArray &output, DiffStats &stats)
{
    const bool nulTerminated = output.contains('\0');
    const QList<QByteArrayView> all = records(output);
    for (qsizetype i = 0; i < all.size(); ++i) {
        const QList<QByteArrayView> pieces = splitOn(all[i], '\t', false);
        QByteArrayView path;
        if (nulTerminated) {
            // -z never quotes, so a path may hold tabs: it is all behind the second tab. A rename
            // comes as "A<TAB>D<TAB>" with the old and the new path as the next two records.
            const qsizetype firstTab = all[i].indexOf('\t');
            const qsizetype secondTab = firstTab < 0 ? -1 : all[i].indexOf('\t', firstTab + 1);
            if (secondTab < 0)
                continue;
            path = all[i].sliced(secondTab + 1);
            if (path.isEmpty()) {
                if (i + 2 >= all.size())
                    break;
                path = all[i + 2];
                i += 2;
            }
        } else if (pieces.size() >= 3) {
            path = pieces[2];
        } else {
            continue;
        }
        if (pieces.size() < 2)
            continue;
        bool additionsOk = false, deletionsOk = false;
        const int additions = pieces[0].toInt(&additionsOk);
        const int deletions = pieces[1].toInt(&deletionsOk);
        if (additionsOk && deletionsOk)
            add(stats, path, additions, deletions);
    }
}

DiffStats parseNumstat(const QByteArray &output)
{
    DiffStats stats;
    addNumstat(output, stats);
    return stats;
}

} // namespace corvane
