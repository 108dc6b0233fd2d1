#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace corvane {

enum class DiffLineType { unchanged, added, removed, modified };

// One line of the side-by-side view: both panes show one line per row, so one scroll offset
// fits both. A side without a line has no number and shows an empty filler line.
struct DiffRow
{
    std::optional<int> leftLineNumber;  // 1-based in the old text
    std::optional<int> rightLineNumber; // 1-based in the new text
    QString leftText;
    QString rightText;
    DiffLineType type = DiffLineType::unchanged;

    bool operator==(const DiffRow &) const = default;
};

namespace diff {

// Lines at every "\n", empty ones kept: a final newline gives a final empty line.
QStringList splitLines(const QString &text);

// A shortest edit script between two line lists, whole lines compared exactly: which old lines
// go (removed[i]) and which new ones come (inserted[j]). A moved line is removed and inserted.
struct EditScript
{
    QList<bool> removed;
    QList<bool> inserted;
};
EditScript shortestEditScript(const QStringList &oldLines, const QStringList &newLines);

// The aligned rows: within a change block removals come before insertions, and a run of removed
// rows followed by a run of added rows pairs up, in order, into modified rows.
QList<DiffRow> rows(const QString &oldText, const QString &newText);

} // namespace diff
} // namespace corvane
