#pragma once

#include "shell/editor/CodeEditor.h"

#include <optional>

namespace corvane {

// One side of the diff: read-only code whose gutter numbers the lines as in the file (a row
// missing on this side has none), with a tinted background per row.
class DiffPane : public CodeEditor
{
    Q_OBJECT

public:
    explicit DiffPane(QWidget *parent = nullptr);

    // One entry per line of `text`: its number in the file, and its tint (none when invalid).
    void show(const QString &text, const QList<std::optional<int>> &numbers, const QList<QColor> &tints);
    const QList<std::optional<int>> &numbers() const { return m_numbers; }

protected:
    std::optional<int> lineNumber(int block) const override;
    int largestLineNumber() const override;

private:
    QList<std::optional<int>> m_numbers;
};

} // namespace corvane
