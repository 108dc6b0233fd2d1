#pragma once

#include "presentation/markdown/StyledText.h"

#include <QPlainTextEdit>

#include <optional>

namespace corvane {

// One side of the diff: read-only text with a gutter of line numbers (a row may have none), a
// tinted background per row, and syntax colours once they arrive.
class DiffPane : public QPlainTextEdit
{
    Q_OBJECT

public:
    explicit DiffPane(QWidget *parent = nullptr);

    // One entry per line of `text`: its number in the file, and its tint (none when invalid).
    void show(const QString &text, const QList<std::optional<int>> &numbers, const QList<QColor> &tints);
    // Colours the whole text from a highlight of it; runs past the text are ignored.
    void applyHighlight(const StyledText &highlighted);

    int gutterWidth() const;
    const QList<std::optional<int>> &numbers() const { return m_numbers; }

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    friend class DiffGutter;
    void paintGutter(QPaintEvent *event);

    QWidget *m_gutter;
    QList<std::optional<int>> m_numbers;
};

} // namespace corvane
