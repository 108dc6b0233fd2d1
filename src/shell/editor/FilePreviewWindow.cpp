#include "shell/editor/FilePreviewWindow.h"

#include "presentation/highlight/FileLanguage.h"
#include "shell/editor/CodeEditor.h"
#include "tools/editor/TextFile.h"

#include <QFileInfo>
#include <QVBoxLayout>

namespace corvane {

FilePreviewWindow::FilePreviewWindow(const QString &path, QWidget *parent)
    : QWidget(parent, Qt::Window), m_editor(new CodeEditor)
{
    setAttribute(Qt::WA_DeleteOnClose);
    setObjectName(QStringLiteral("filePreview"));
    setWindowTitle(QFileInfo(path).fileName());
    resize(800, 600);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_editor);
    m_editor->setReadOnly(true);
    const Result<TextFile> read = textfile::read(path);
    if (!read) {
        m_editor->setPlainText(tr("%1 cannot be shown: %2").arg(QFileInfo(path).fileName(), read.error().message));
        return;
    }
    m_editor->setPlainText(read->text);
    m_editor->setLanguage(languageForFile(QFileInfo(path).fileName()));
    m_editor->highlight();
}

} // namespace corvane
