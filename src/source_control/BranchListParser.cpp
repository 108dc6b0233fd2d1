#include "source_control/BranchListParser.h"

#include "source_control/ParserSupport.h"

namespace corvane {

using namespace gitparse;

QList<GitBranch> parseBranchList(const QByteArray &output)
{
    QList<GitBranch> branches;
    for (QByteArrayView line : lines(output)) {
        const QList<QByteArrayView> pieces = splitOn(line, '|', true);
        if (pieces.size() < 2)
            continue;
        GitBranch branch;
        branch.name = text(pieces[0]);
        branch.isCurrent = pieces[1] == "*";
        if (pieces.size() > 2 && !pieces[2].isEmpty())
            branch.upstream = text(pieces[2]);
        branches.append(std::move(branch));
    }
    return branches;
}

QList<GitBranch> parseRemoteBranchList(const QByteArray &output)
{
    QList<GitBranch> branches;
    for (QByteArrayView line : lines(output)) {
        const QByteArrayView name = trimSpacesAndTabs(line);
        if (name.isEmpty() || name.endsWith("/HEAD"))
            continue;
        branches.append(GitBranch{text(name), false, std::nullopt, true});
    }
    return branches;
}

QDateTime parseGitIsoDate(QByteArrayView value)
{
    const QByteArrayView trimmed = trimSpacesAndTabs(value);
    const qsizetype space = trimmed.lastIndexOf(' ');
    if (space < 0)
        return {};
    const QByteArrayView zone = trimmed.sliced(space + 1);
    if (zone.size() != 5 || (zone[0] != '+' && zone[0] != '-'))
        return {};
    bool hoursOk = false, minutesOk = false;
    const int hours = zone.sliced(1, 2).toInt(&hoursOk);
    const int minutes = zone.sliced(3, 2).toInt(&minutesOk);
    if (!hoursOk || !minutesOk)
        return {};
    const int offset = (zone[0] == '-' ? -1 : 1) * (hours * 3600 + minutes * 60);
    const QDateTime local = QDateTime::fromString(text(trimmed.first(space)), QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    if (!local.isValid())
        return {};
    return QDateTime(local.date(), local.time(), Qt::OffsetFromUTC, offset);
}

QList<StaleBranch> parseStaleBranches(const QByteArray &output, const QDateTime &now, int olderThanDays)
{
    QDateTime cutoff = now.addDays(-olderThanDays);
    if (!cutoff.isValid())
        cutoff = now;
    QList<StaleBranch> stale;
    for (QByteArrayView line : lines(output)) {
        const qsizetype bar = line.indexOf('|');
        if (bar <= 0 || bar == line.size() - 1)
            continue;
        const QDateTime date = parseGitIsoDate(line.sliced(bar + 1));
        if (!date.isValid() || !(date < cutoff))
            continue;
        // Whole days: the calendar days between the two, less one when the time of day has not
        // come round yet.
        const QDateTime localDate = now.timeSpec() == Qt::LocalTime ? date.toLocalTime()
                                                                  : date.toOffsetFromUtc(now.offsetFromUtc());
        qint64 days = localDate.date().daysTo(now.date());
        if (days > 0 && localDate.addDays(days) > now)
            --days;
        stale.append(StaleBranch{text(line.first(bar)), date, int(qMax<qint64>(days, 0))});
    }
    return stale;
}

} // namespace corvane
