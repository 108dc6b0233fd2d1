#include "source_control/StatusParser.h"

#include "source_control/ParserSupport.h"

namespace corvane {

using namespace gitparse;

namespace {

// The kind of a "1 " or "2 " entry from its XY field: the work tree's letter wins over the index's.
std::optional<GitFileStatus> entryFromXY(QByteArrayView xy, QByteArrayView path)
{
    const char x = xy.size() > 0 ? xy[0] : '?';
    const char y = xy.size() > 1 ? xy[1] : '?';
    const bool unstaged = !(y == '.' || y == ' ');
    const std::optional<GitStatus> kind = gitStatusFromLetter(unstaged ? y : x);
    if (!kind)
        return std::nullopt;
    return GitFileStatus{text(path), *kind, unstaged, std::nullopt};
}

void readHeader(QByteArrayView record, StatusSummary &summary)
{
    const auto valueAfter = [&](QByteArrayView prefix) { return trimSpacesAndTabs(record.sliced(prefix.size())); };
    if (record.startsWith("# branch.oid ")) {
        if (valueAfter("# branch.oid ") == "(initial)")
            summary.hasCommits = false;
    } else if (record.startsWith("# branch.head ")) {
        const QByteArrayView head = valueAfter("# branch.head ");
        if (head != "(detached)")
            summary.branch = text(head);
    } else if (record.startsWith("# branch.upstream ")) {
        summary.upstream = text(valueAfter("# branch.upstream "));
    } else if (record.startsWith("# branch.ab ")) {
        for (QByteArrayView piece : splitOn(valueAfter("# branch.ab "), ' ', false)) {
            bool ok = false;
            const int number = piece.sliced(1).toInt(&ok);
            if (!ok)
                continue;
            if (piece.startsWith('+'))
                summary.ahead = number;
            else if (piece.startsWith('-'))
                summary.behind = number < 0 ? -number : number;
        }
    }
}

} // namespace

StatusSummary parseStatusV2(const QByteArray &output)
{
    StatusSummary summary;
    summary.isRepository = true;
    summary.hasCommits = true;
    const bool nulTerminated = output.contains('\0');
    const QList<QByteArrayView> all = records(output);
    summary.files.reserve(all.size());
    for (qsizetype i = 0; i < all.size(); ++i) {
        const QByteArrayView record = all[i];
        if (record.startsWith("# ")) {
            readHeader(record, summary);
        } else if (record.startsWith("1 ")) {
            const auto fields = splitFields(record, 9);
            if (fields.size() < 9)
                continue;
            if (auto entry = entryFromXY(fields[1], fields[8]))
                summary.files.append(std::move(*entry));
        } else if (record.startsWith("2 ")) {
            const auto fields = splitFields(record, 10);
            // With -z the original path is the next record, and belongs to this entry either way.
            const bool hasOriginalRecord = nulTerminated && i + 1 < all.size();
            const QByteArrayView original = hasOriginalRecord ? all[++i] : QByteArrayView();
            if (fields.size() < 10)
                continue;
            QByteArrayView path = fields[9];
            std::optional<QString> originalPath;
            if (nulTerminated) {
                if (hasOriginalRecord)
                    originalPath = text(original);
            } else if (const qsizetype tab = path.indexOf('\t'); tab >= 0) {
                originalPath = text(path.sliced(tab + 1));
                path = path.first(tab);
            }
            if (auto entry = entryFromXY(fields[1], path)) {
                entry->originalPath = std::move(originalPath);
                summary.files.append(std::move(*entry));
            }
        } else if (record.startsWith("? ")) {
            summary.files.append({text(record.sliced(2)), GitStatus::untracked, true, std::nullopt});
        } else if (record.startsWith("! ")) {
            summary.files.append({text(record.sliced(2)), GitStatus::ignored, true, std::nullopt});
        } else if (record.startsWith("u ")) {
            const auto fields = splitFields(record, 11);
            if (fields.size() < 11)
                continue;
            summary.files.append({text(fields[10]), GitStatus::unmerged, true, std::nullopt});
        }
    }
    summary.files.removeIf([](const GitFileStatus &file) { return isDsStore(file.path); });
    return summary;
}

QList<GitFileStatus> parseStatusPorcelain(const QByteArray &output)
{
    QList<GitFileStatus> files;
    const bool nulTerminated = output.contains('\0');
    const QList<QByteArrayView> all = records(output);
    for (qsizetype i = 0; i < all.size(); ++i) {
        const QByteArrayView record = all[i];
        const bool renameOrCopy = record.size() >= 2
            && (record[0] == 'R' || record[0] == 'C' || record[1] == 'R' || record[1] == 'C');
        std::optional<QString> originalPath;
        if (nulTerminated && renameOrCopy && i + 1 < all.size())
            originalPath = text(all[++i]);
        if (record.size() < 3)
            continue;
        const QByteArrayView state = trimSpacesAndTabs(record.first(2));
        const char letter = state.isEmpty() ? '?' : state.back();
        const std::optional<GitStatus> kind = gitStatusFromLetter(letter);
        if (!kind)
            continue;
        files.append({text(record.sliced(3)), *kind, true, std::move(originalPath)});
    }
    files.removeIf([](const GitFileStatus &file) { return isDsStore(file.path); });
    return files;
}

} // namespace corvane
