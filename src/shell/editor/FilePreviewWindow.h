#pragma once

#include <QWidget>

namespace corvane {

class CodeEditor;

// A file shown read-only in a window of its own, 800 by 600: for a file chosen from the tree
// while no workspace is in front, and for "Preview". Text in colour; anything else says why it
// cannot be shown.
class FilePreviewWindow : public QWidget
{
    Q_OBJECT

public:
    explicit FilePreviewWindow(const QString &path, QWidget *parent = nullptr);
    CodeEditor *editor() const { return m_editor; }

private:
    CodeEditor *m_editor;
};

} // namespace corvane
