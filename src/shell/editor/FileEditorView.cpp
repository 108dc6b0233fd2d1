#include "shell/editor/FileEditorView.h"

#include "presentation/highlight/FileLanguage.h"
#include "shell/editor/CodeEditor.h"

#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextDocumentLayout>
#include <QPushButton>
#include <QScrollBar>
#include <QShortcut>
#include <QTextBlock>
#include <QTextDocument>
#include <QVBoxLayout>

namespace corvane {

namespace {
// Past this many characters a keystroke does not copy the whole text into the buffer; a timer
// does, and every save, close and quit copies it first.
constexpr int largeDocument = 1'000'000;
} // namespace

FileEditorView::FileEditorView(OpenFileService &service, const QUuid &workspaceId, QWidget *parent)
    : QWidget(parent), m_service(service), m_workspaceId(workspaceId), m_editor(new CodeEditor),
      m_notice(new QWidget), m_noticeText(new QLabel), m_empty(new QLabel(tr("No file is open.")))
{
    setObjectName(QStringLiteral("fileEditor"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    m_notice->setObjectName(QStringLiteral("diskChangeNotice"));
    m_notice->setAutoFillBackground(true);
    auto *noticeRow = new QHBoxLayout(m_notice);
    noticeRow->setContentsMargins(10, 6, 10, 6);
    m_noticeText->setWordWrap(true);
    auto *reload = new QPushButton(tr("Reload"));
    auto *keep = new QPushButton(tr("Keep Mine"));
    noticeRow->addWidget(m_noticeText, 1);
    noticeRow->addWidget(reload);
    noticeRow->addWidget(keep);
    m_notice->hide();
    connect(reload, &QPushButton::clicked, this, [this] {
        if (m_bound)
            m_service.revert(m_bound);
    });
    connect(keep, &QPushButton::clicked, this, [this] {
        if (m_bound)
            m_bound->changedOnDisk = false;
        m_notice->hide();
    });

    m_empty->setAlignment(Qt::AlignCenter);
    m_empty->setEnabled(false);
    m_editor->setObjectName(QStringLiteral("fileEditorText"));
    layout->addWidget(m_notice);
    layout->addWidget(m_editor, 1);
    layout->addWidget(m_empty, 1);
    setFocusProxy(m_editor);

    m_highlightTimer.setSingleShot(true);
    m_highlightTimer.setInterval(highlightDelayMs);
    connect(&m_highlightTimer, &QTimer::timeout, m_editor, &CodeEditor::highlight);
    m_flushTimer.setSingleShot(true);
    m_flushTimer.setInterval(highlightDelayMs);
    connect(&m_flushTimer, &QTimer::timeout, this, &FileEditorView::flush);
    m_loadTimer.setInterval(0);
    connect(&m_loadTimer, &QTimer::timeout, this, &FileEditorView::loadMore);

    connect(m_editor, &QPlainTextEdit::textChanged, this, &FileEditorView::textEdited);
    connect(m_editor, &QPlainTextEdit::modificationChanged, this, [this] {
        if (!m_skipEdits)
            flush();
    });
    connect(&m_service, &OpenFileService::filesChanged, this, [this](const QUuid &id) {
        if (id == m_workspaceId)
            bindActiveFile();
    });
    connect(&m_service, &OpenFileService::contentsReplaced, this, &FileEditorView::contentsReplaced);
    connect(&m_service, &OpenFileService::pathChanged, this, [this](const QString &from, const QString &to) {
        if (QPointer<QTextDocument> document = m_documents.take(from))
            m_documents.insert(to, document);
        if (m_boundPath == from) {
            m_boundPath = to;
            m_editor->setLanguage(languageForFile(QFileInfo(to).fileName()));
            emit boundFileChanged(to);
        }
    });
    auto *saveKey = new QShortcut(QKeySequence::Save, this, nullptr, nullptr, Qt::WidgetWithChildrenShortcut);
    connect(saveKey, &QShortcut::activated, this, &FileEditorView::save);
    bindActiveFile();
}

FileEditorView::~FileEditorView()
{
    // The documents go with this widget; the editor must not repaint one on the way out.
    disconnect(m_editor, nullptr, this, nullptr);
}

QTextDocument *FileEditorView::documentFor(const OpenFilePtr &file)
{
    if (QTextDocument *known = m_documents.value(file->path))
        return known;
    auto *document = new QTextDocument(this);
    document->setDocumentLayout(new QPlainTextDocumentLayout(document));
    document->setDefaultFont(m_editor->font());
    // Loading is not an edit to undo; without the undo stack a large file loads a tenth faster.
    document->setUndoRedoEnabled(false);
    // A document is built at about 20 MB a second: a large file shows its first lines at once
    // and the rest arrives piece by piece, the window answering in between.
    qsizetype first = file->contents.size();
    if (first > loadPiece) {
        first = file->contents.lastIndexOf(QLatin1Char('\n'), loadPiece / 4);
        first = first < 0 ? loadPiece / 4 : first;
        m_loadingOffset.insert(document, first);
        m_loadTimer.start();
    }
    document->setPlainText(file->contents.left(first));
    document->setUndoRedoEnabled(!isLoading(document));
    document->setModified(file->isDirty());
    m_documents.insert(file->path, document);
    return document;
}

void FileEditorView::bindActiveFile()
{
    // Documents of files closed since go with them.
    QSet<QString> open;
    for (const OpenFilePtr &file : m_service.files(m_workspaceId))
        open.insert(file->path);
    for (auto it = m_documents.begin(); it != m_documents.end();) {
        if (open.contains(it.key())) {
            ++it;
            continue;
        }
        if (it.value() && it.value() == m_editor->document()) {
            m_skipEdits = true;
            m_editor->setDocument(nullptr); // a fresh empty document of the editor's own
            m_skipEdits = false;
        }
        m_loadingOffset.remove(it.value());
        delete it.value();
        it = m_documents.erase(it);
    }

    const OpenFilePtr active = m_service.activeFile(m_workspaceId);
    m_editor->setVisible(bool(active));
    m_empty->setVisible(!active);
    m_notice->setVisible(active && active->changedOnDisk);
    if (active && active->changedOnDisk)
        showDiskNotice(*active);
    if (active == m_bound && (!active || m_editor->document() == m_documents.value(active->path)))
        return;
    m_flushTimer.stop();
    flush();
    m_bound = active;
    m_boundPath = active ? active->path : QString();
    m_highlightTimer.stop();
    if (active) {
        m_skipEdits = true;
        m_editor->setDocument(documentFor(active));
        m_editor->setReadOnly(isLoading());
        m_editor->setTabStopDistance(m_editor->fontMetrics().horizontalAdvance(QLatin1Char(' ')) * 4);
        m_skipEdits = false;
        m_editor->setLanguage(languageForFile(active->fileName()));
        m_editor->highlight();
    }
    emit boundFileChanged(m_boundPath);
}

bool FileEditorView::isLoading() const
{
    return isLoading(m_editor->document());
}

void FileEditorView::loadMore()
{
    // The shown file first; the others of this workspace after it.
    auto loading = m_loadingOffset.begin();
    if (auto shown = m_loadingOffset.find(m_editor->document()); shown != m_loadingOffset.end())
        loading = shown;
    if (loading == m_loadingOffset.end())
        return m_loadTimer.stop();
    auto *document = const_cast<QTextDocument *>(loading.key());
    const QString path = m_documents.key(document);
    const OpenFilePtr file = m_service.file(path, m_workspaceId);
    const qsizetype from = loading.value();
    const qsizetype to = file ? std::min(from + loadPiece, file->contents.size()) : from;
    m_skipEdits = true;
    if (file && to > from) {
        QTextCursor end(document);
        end.movePosition(QTextCursor::End);
        end.insertText(file->contents.mid(from, to - from));
    }
    if (file && to < file->contents.size()) {
        loading.value() = to;
    } else {
        m_loadingOffset.erase(loading);
        document->setUndoRedoEnabled(true);
        document->setModified(file && file->isDirty());
        if (document == m_editor->document())
            m_editor->setReadOnly(false);
    }
    m_skipEdits = false;
}

void FileEditorView::textEdited()
{
    if (m_skipEdits || !m_bound)
        return;
    if (m_editor->document()->characterCount() < largeDocument)
        flush();
    else
        m_flushTimer.start();
    if (m_editor->language())
        m_highlightTimer.start();
}

void FileEditorView::flush()
{
    // Half a text is not the user's edit: nothing is copied before loading ends.
    if (m_bound && m_editor->document() == m_documents.value(m_bound->path) && !isLoading())
        m_service.setContents(m_bound, m_editor->toPlainText());
}

bool FileEditorView::save()
{
    if (!m_bound)
        return false;
    m_flushTimer.stop();
    flush();
    if (!m_service.save(m_bound))
        return false;
    m_editor->document()->setModified(false);
    m_notice->hide();
    return true;
}

void FileEditorView::contentsReplaced(const QString &path)
{
    QTextDocument *document = m_documents.value(path);
    const OpenFilePtr file = m_service.file(path, m_workspaceId);
    if (!document || !file)
        return;
    const bool shown = document == m_editor->document();
    // The whole new text goes in below; a load still under way has nothing left to add.
    if (m_loadingOffset.remove(document)) {
        document->setUndoRedoEnabled(true);
        if (shown)
            m_editor->setReadOnly(false);
    }
    const int position = shown ? m_editor->textCursor().position() : 0;
    const int scroll = shown ? m_editor->verticalScrollBar()->value() : 0;
    m_skipEdits = true;
    // One edit block: the reload can be undone like any edit.
    QTextCursor cursor(document);
    cursor.beginEditBlock();
    cursor.select(QTextCursor::Document);
    cursor.insertText(file->contents);
    cursor.endEditBlock();
    document->setModified(false);
    m_skipEdits = false;
    if (!shown)
        return;
    QTextCursor restored(document);
    restored.setPosition(std::min(position, document->characterCount() - 1));
    m_editor->setTextCursor(restored);
    m_editor->verticalScrollBar()->setValue(scroll);
    m_notice->setVisible(file->changedOnDisk);
    if (file->changedOnDisk)
        showDiskNotice(*file);
    m_editor->highlight();
}

void FileEditorView::showDiskNotice(const OpenFile &file)
{
    m_noticeText->setText(tr("“%1” changed on disk. Your unsaved edits are kept here: Reload takes the disk's "
                             "version, saving writes yours over it.")
                              .arg(file.fileName()));
}

} // namespace corvane
