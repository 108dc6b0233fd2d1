#include "source_control/diff/LineDiff.h"

#include <QHash>

#include <vector>

namespace corvane::diff {

QStringList splitLines(const QString &text)
{
    return text.split(QLatin1Char('\n'));
}

namespace {

// Myers' greedy algorithm over line numbers (equal lines share a number). Round d keeps the
// furthest point reached on each of its 2d+1 diagonals, so the trace is d² numbers, not
// (N+M)·d; the script is read back from the trace. Past `maxRounds` (files shuffled beyond
// recognition, where the trace would take hundreds of megabytes) every line left is simply
// removed and inserted: correct, if not the shortest.
constexpr int maxRounds = 4096;

void myers(const std::vector<int> &a, const std::vector<int> &b, std::vector<bool> &removed, std::vector<bool> &inserted)
{
    const int n = int(a.size()), m = int(b.size());
    const int max = n + m;
    if (max == 0)
        return;
    std::vector<int> v(2 * size_t(max) + 3, 0);
    const int offset = max + 1;
    std::vector<std::vector<int>> trace;
    int found = -1;
    for (int d = 0; d <= max && found < 0; ++d) {
        if (d > maxRounds) {
            std::fill(removed.begin(), removed.end(), true);
            std::fill(inserted.begin(), inserted.end(), true);
            return;
        }
        for (int k = -d; k <= d; k += 2) {
            const bool down = k == -d || (k != d && v[offset + k - 1] < v[offset + k + 1]);
            int x = down ? v[offset + k + 1] : v[offset + k - 1] + 1;
            int y = x - k;
            while (x < n && y < m && a[x] == b[y]) {
                ++x;
                ++y;
            }
            v[offset + k] = x;
            if (x >= n && y >= m) {
                found = d;
                break;
            }
        }
        trace.emplace_back(v.begin() + offset - d, v.begin() + offset + d + 1);
    }
    // Back from the end, one edit per round: the diagonal a round came from says whether its
    // edit was an insertion (from k + 1, a step down) or a removal (from k - 1, a step right).
    int x = n, y = m;
    for (int d = found; d > 0; --d) {
        const std::vector<int> &before = trace[size_t(d - 1)]; // diagonals -(d-1)..d-1
        auto furthest = [&before, d](int k) { return before[size_t(k + d - 1)]; };
        const int k = x - y;
        const bool down = k == -d || (k != d && furthest(k - 1) < furthest(k + 1));
        const int fromK = down ? k + 1 : k - 1;
        const int fromX = furthest(fromK);
        const int fromY = fromX - fromK;
        if (down)
            inserted[size_t(fromY)] = true;
        else
            removed[size_t(fromX)] = true;
        x = fromX; // the equal lines after the edit need no mark
        y = fromY;
    }
}

} // namespace

EditScript shortestEditScript(const QStringList &oldLines, const QStringList &newLines)
{
    EditScript script;
    script.removed = QList<bool>(oldLines.size(), false);
    script.inserted = QList<bool>(newLines.size(), false);
    // The common head and tail are never edited.
    qsizetype head = 0;
    while (head < oldLines.size() && head < newLines.size() && oldLines[head] == newLines[head])
        ++head;
    qsizetype tail = 0;
    while (tail < oldLines.size() - head && tail < newLines.size() - head
           && oldLines[oldLines.size() - 1 - tail] == newLines[newLines.size() - 1 - tail])
        ++tail;
    // Lines as numbers, equal lines one number. A line only one side has can never be matched,
    // so it is an edit for certain and stays out of the search: the script stays minimal and
    // the search only sees lines both sides share.
    QHash<QString, int> numbers;
    auto numberOf = [&numbers](const QString &line) {
        auto it = numbers.constFind(line);
        if (it == numbers.cend())
            it = numbers.insert(line, int(numbers.size()));
        return *it;
    };
    QHash<int, int> oldCount, newCount;
    std::vector<int> oldIds, newIds;
    for (qsizetype i = head; i < oldLines.size() - tail; ++i) {
        const int id = numberOf(oldLines[i]);
        oldIds.push_back(id);
        ++oldCount[id];
    }
    for (qsizetype j = head; j < newLines.size() - tail; ++j) {
        const int id = numberOf(newLines[j]);
        newIds.push_back(id);
        ++newCount[id];
    }
    std::vector<int> a, b;
    std::vector<qsizetype> aAt, bAt; // where each kept line sits in the whole list
    for (size_t i = 0; i < oldIds.size(); ++i) {
        if (newCount.value(oldIds[i]) > 0) {
            a.push_back(oldIds[i]);
            aAt.push_back(head + qsizetype(i));
        } else {
            script.removed[head + qsizetype(i)] = true;
        }
    }
    for (size_t j = 0; j < newIds.size(); ++j) {
        if (oldCount.value(newIds[j]) > 0) {
            b.push_back(newIds[j]);
            bAt.push_back(head + qsizetype(j));
        } else {
            script.inserted[head + qsizetype(j)] = true;
        }
    }
    std::vector<bool> removed(a.size(), false), inserted(b.size(), false);
    myers(a, b, removed, inserted);
    for (size_t i = 0; i < a.size(); ++i)
        if (removed[i])
            script.removed[aAt[i]] = true;
    for (size_t j = 0; j < b.size(); ++j)
        if (inserted[j])
            script.inserted[bAt[j]] = true;
    return script;
}

QList<DiffRow> rows(const QString &oldText, const QString &newText)
{
    const QStringList oldLines = splitLines(oldText);
    const QStringList newLines = splitLines(newText);
    const EditScript script = shortestEditScript(oldLines, newLines);
    QList<DiffRow> walked;
    walked.reserve(std::max(oldLines.size(), newLines.size()));
    qsizetype i = 0, j = 0;
    while (i < oldLines.size() || j < newLines.size()) {
        if (i < oldLines.size() && (script.removed[i] || j >= newLines.size())) {
            walked.append({int(i + 1), std::nullopt, oldLines[i], QString(), DiffLineType::removed});
            ++i;
        } else if (j < newLines.size() && (script.inserted[j] || i >= oldLines.size())) {
            walked.append({std::nullopt, int(j + 1), QString(), newLines[j], DiffLineType::added});
            ++j;
        } else {
            walked.append({int(i + 1), int(j + 1), oldLines[i], newLines[j], DiffLineType::unchanged});
            ++i;
            ++j;
        }
    }
    // A run of removals directly followed by a run of additions pairs up, in order.
    QList<DiffRow> paired;
    paired.reserve(walked.size());
    for (qsizetype at = 0; at < walked.size();) {
        if (walked[at].type != DiffLineType::removed) {
            paired.append(walked[at++]);
            continue;
        }
        qsizetype removedEnd = at;
        while (removedEnd < walked.size() && walked[removedEnd].type == DiffLineType::removed)
            ++removedEnd;
        qsizetype addedEnd = removedEnd;
        while (addedEnd < walked.size() && walked[addedEnd].type == DiffLineType::added)
            ++addedEnd;
        const qsizetype removedCount = removedEnd - at, addedCount = addedEnd - removedEnd;
        const qsizetype pairs = std::min(removedCount, addedCount);
        for (qsizetype p = 0; p < pairs; ++p) {
            const DiffRow &left = walked[at + p];
            const DiffRow &right = walked[removedEnd + p];
            paired.append({left.leftLineNumber, right.rightLineNumber, left.leftText, right.rightText, DiffLineType::modified});
        }
        for (qsizetype p = pairs; p < removedCount; ++p)
            paired.append(walked[at + p]);
        for (qsizetype p = pairs; p < addedCount; ++p)
            paired.append(walked[removedEnd + p]);
        at = addedEnd;
    }
    return paired;
}

} // namespace corvane::diff
