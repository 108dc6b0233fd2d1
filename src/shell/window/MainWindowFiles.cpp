// The main window's open files: pills after the chats of a workspace's tab bar, and an editor per
// workspace in front of its chats while one of those pills is selected.
#include "shell/window/MainWindow.h"

#include "core/Broadcasts.h"
#include "core/records/Workspace.h"
#include "core/store/StoreContext.h"
#include "core/window/WindowStateModel.h"
#include "shell/editor/FileEditorView.h"
#include "shell/editor/FilePreviewWindow.h"
#include "shell/window/InspectorView.h"
#include "tools/editor/OpenFileService.h"
#include "tools/files/FileTreeViewModel.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>

namespace corvane {

namespace {

OpenFileService::SaveAnswer askToSave(const OpenFile &file)
{
    QMessageBox box(QApplication::activeWindow());
    box.setIcon(QMessageBox::Warning);
    box.setWindowTitle(QObject::tr("Save changes to %1?").arg(file.fileName()));
    box.setText(QObject::tr("Save changes to %1?").arg(file.fileName()));
    box.setInformativeText(QObject::tr("Your changes will be lost if you don't save them."));
    QPushButton *save = box.addButton(QObject::tr("Save"), QMessageBox::AcceptRole);
    QPushButton *discard = box.addButton(QObject::tr("Don't Save"), QMessageBox::DestructiveRole);
    box.addButton(QObject::tr("Cancel"), QMessageBox::RejectRole);
    box.setDefaultButton(save);
    box.exec();
    if (box.clickedButton() == save)
        return OpenFileService::SaveAnswer::save;
    if (box.clickedButton() == discard)
        return OpenFileService::SaveAnswer::discard;
    return OpenFileService::SaveAnswer::cancel;
}

void warn(const QString &title, const QString &text)
{
    QMessageBox box(QMessageBox::Warning, title, title, QMessageBox::Ok, QApplication::activeWindow());
    box.setInformativeText(text);
    box.exec();
}

} // namespace

void MainWindow::setUpFiles()
{
    if (!m_services.openFiles)
        m_services.openFiles = new OpenFileService(m_services.center, this);
    m_services.openFiles->setSavePrompt(askToSave);
    m_services.openFiles->setWarning(warn);
    connect(m_services.openFiles, &OpenFileService::filesChanged, this, [this](const QUuid &workspaceId) {
        if (m_state->content() == ContentState::workspace(workspaceId))
            drawOpenFiles(workspaceId);
    });
    WorkspaceTabBar *bar = m_content->tabBar();
    connect(bar, &WorkspaceTabBar::fileSelected, this, [this](const QString &path) {
        const ContentState content = m_state->content();
        if (content.kind != ContentState::Kind::workspace)
            return;
        m_fileInFront.insert(content.id);
        m_services.openFiles->setActive(path, content.id);
        drawOpenFiles(content.id);
        if (QWidget *editor = m_content->fileEditor())
            editor->setFocus(Qt::TabFocusReason);
    });
    // A chat's pill puts the chat back in front; the file stays open.
    connect(bar, &WorkspaceTabBar::chatSelected, this, [this] {
        const ContentState content = m_state->content();
        if (content.kind == ContentState::Kind::workspace && m_fileInFront.remove(content.id))
            drawOpenFiles(content.id);
    });
    connect(bar, &WorkspaceTabBar::fileCloseRequested, this, [this](const QString &path) {
        const ContentState content = m_state->content();
        if (content.kind != ContentState::Kind::workspace)
            return;
        if (FileEditorView *editor = m_fileEditors.value(content.id))
            editor->flush();
        m_services.openFiles->close(path, content.id, true);
    });
    connect(m_fileTreeModel, &FileTreeViewModel::itemMoved, m_services.openFiles, &OpenFileService::followMove);
    connect(m_inspector, &InspectorView::fileOpenRequested, this, &MainWindow::openFile);
    connect(m_inspector, &InspectorView::filePreviewRequested, this, &MainWindow::previewFile);
    // A workspace archived elsewhere (the board, a script) lets go of its files, unless that
    // would lose unsaved edits: those stay until the user decides.
    m_filesObserver = ObserverGuard(m_services.center, m_services.center.addObserver(broadcast::chatArchiveStateDidChange, [this](const Notification &) {
        for (const QUuid &workspaceId : m_services.openFiles->workspaces()) {
            const auto workspace = m_services.context.get<Workspace>(workspaceId);
            if (workspace && !workspace->isArchived())
                continue;
            const auto files = m_services.openFiles->files(workspaceId);
            if (std::none_of(files.cbegin(), files.cend(), [](const OpenFilePtr &file) { return file->isDirty(); }))
                m_services.openFiles->closeWorkspace(workspaceId);
        }
    }, nullptr, this));
}

OpenFileService &MainWindow::openFiles() const
{
    return *m_services.openFiles;
}

void MainWindow::openFile(const QString &path)
{
    const ContentState content = m_state->content();
    // Without a workspace in front there is no tab bar to hold the file: it is previewed.
    if (content.kind != ContentState::Kind::workspace)
        return previewFile(path);
    if (!m_services.openFiles->open(path, content.id))
        return;
    m_fileInFront.insert(content.id);
    drawOpenFiles(content.id);
}

void MainWindow::previewFile(const QString &path)
{
    auto *preview = new FilePreviewWindow(path, this);
    preview->show();
}

bool MainWindow::closeWorkspaceFiles(const QUuid &workspaceId)
{
    if (FileEditorView *editor = m_fileEditors.value(workspaceId))
        editor->flush();
    if (!m_services.openFiles->closeWorkspaceAsking(workspaceId))
        return false;
    m_fileInFront.remove(workspaceId);
    if (QPointer<FileEditorView> editor = m_fileEditors.take(workspaceId))
        editor->deleteLater();
    return true;
}

FileEditorView *MainWindow::fileEditor(const QUuid &workspaceId)
{
    QPointer<FileEditorView> &editor = m_fileEditors[workspaceId];
    if (!editor)
        editor = new FileEditorView(*m_services.openFiles, workspaceId);
    return editor;
}

void MainWindow::drawOpenFiles(const QUuid &workspaceId)
{
    m_services.openFiles->setCurrentWorkspaceId(workspaceId);
    QList<WorkspaceTabBar::FileTab> tabs;
    for (const OpenFilePtr &file : m_services.openFiles->files(workspaceId))
        tabs.append({file->path, file->fileName(), file->isDirty()});
    const OpenFilePtr active = m_services.openFiles->activeFile(workspaceId);
    if (!active)
        m_fileInFront.remove(workspaceId);
    const bool inFront = active && m_fileInFront.contains(workspaceId);
    m_content->tabBar()->setFiles(tabs, inFront ? std::optional(active->path) : std::nullopt);
    m_content->setFileEditor(inFront ? fileEditor(workspaceId) : nullptr);
}

} // namespace corvane
