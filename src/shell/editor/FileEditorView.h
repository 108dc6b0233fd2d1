#pragma once

#include "tools/editor/OpenFileService.h"

#include <QHash>
#include <QPointer>
#include <QTimer>
#include <QWidget>

class QLabel;
class QPushButton;
class QTextDocument;

namespace corvane {

class CodeEditor;

// The editor of one workspace's open files: it shows the service's active file of that
// workspace and follows it. Each open file keeps its own document, so switching between pills
// keeps every file's undo history and cursor. Typing goes into the buffer at once (the dirty dot
// of its pill follows), colours follow 0.3 s after the last key, and the save key writes it.
class FileEditorView : public QWidget
{
    Q_OBJECT

public:
    static constexpr int highlightDelayMs = 300;
    // A text longer than this loads in pieces of about this size, each a turn of the event loop.
    static constexpr qsizetype loadPiece = 256 * 1024;

    // The shown document is still loading (read-only meanwhile).
    bool isLoading() const;

    FileEditorView(OpenFileService &service, const QUuid &workspaceId, QWidget *parent = nullptr);
    ~FileEditorView() override;

    QUuid workspaceId() const { return m_workspaceId; }
    CodeEditor *editor() const { return m_editor; }
    QString boundPath() const { return m_boundPath; }
    // Copies the shown text into its buffer: before a save, a close or a quit.
    void flush();
    bool save();

signals:
    // The bound file changed (another pill, or none).
    void boundFileChanged(const QString &path);

private:
    void bindActiveFile();
    void textEdited();
    void contentsReplaced(const QString &path);
    void showDiskNotice(const OpenFile &file);
    QTextDocument *documentFor(const OpenFilePtr &file);
    // Appends the next piece of a large file's text; the editor is read-only until the last.
    void loadMore();
    bool isLoading(const QTextDocument *document) const { return m_loadingOffset.contains(document); }

    OpenFileService &m_service;
    QUuid m_workspaceId;
    CodeEditor *m_editor;
    QWidget *m_notice;
    QLabel *m_noticeText;
    QLabel *m_empty;
    QHash<QString, QPointer<QTextDocument>> m_documents;
    // Large files load in pieces so that the first lines show at once: how far each has got.
    QHash<const QTextDocument *, qsizetype> m_loadingOffset;
    QTimer m_loadTimer;
    OpenFilePtr m_bound;
    QString m_boundPath;
    QTimer m_highlightTimer;
    QTimer m_flushTimer;
    bool m_skipEdits = false;
};

} // namespace corvane
