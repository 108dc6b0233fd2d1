#pragma once

#include "core/NotificationCenter.h"

#include <QString>
#include <QUuid>
#include <QVariantMap>

// Every broadcast the application posts: its name, defined here once, and for those that carry
// something, a payload type that knows its name and its keys. Post and observe through these
// types, so a name or a key cannot differ between the two sides.
//
//     broadcast::post(center, broadcast::ChatRenamed{chatId});
//     broadcast::observe<broadcast::ChatRenamed>(center, this, [](const broadcast::ChatRenamed &c) { ... });
namespace corvane::broadcast {

// ---- Names without a payload

// A chat or workspace was archived or restored.
inline const QString chatArchiveStateDidChange = QStringLiteral("chatArchiveStateDidChange");
// Profiles were created, renamed, reordered, deleted or signed in or out.
inline const QString profilesDidChange = QStringLiteral("profilesDidChange");
// The start-up pass that fills in missing activity days has finished.
inline const QString chatActivityDaysDidBackfill = QStringLiteral("chatActivityDaysDidBackfill");
// Settings, posted by AppSettings when the value changes.
inline const QString appearanceModeChanged = QStringLiteral("appearanceModeChanged");
inline const QString textSizeScaleChanged = QStringLiteral("textSizeScaleChanged");
inline const QString terminalAppearanceModeChanged = QStringLiteral("terminalAppearanceModeChanged");
inline const QString toolSettingsChanged = QStringLiteral("toolSettingsChanged");
inline const QString shortcutSettingsChanged = QStringLiteral("shortcutSettingsChanged");
inline const QString showHiddenFilesChanged = QStringLiteral("showHiddenFilesChanged");
inline const QString modelVisibilityChanged = QStringLiteral("modelVisibilityChanged");
inline const QString archiveRetentionChanged = QStringLiteral("archiveRetentionChanged");
// Help → Show Setup Checklist…: the first-run checklist is to be shown again.
inline const QString showSetupChecklist = QStringLiteral("showSetupChecklist");
// A planner card was created, moved, edited or deleted, or its workspace unlinked.
inline const QString issueDidChange = QStringLiteral("com.mirelworks.Corvane.issueDidChange");

// ---- Names with a payload, and the payloads

inline const QString chatSessionDidChange = QStringLiteral("chatSessionDidChange");
inline const QString chatActivityStateDidChange = QStringLiteral("chatActivityStateDidChange");
inline const QString chatDidRename = QStringLiteral("chatDidRename");
inline const QString workspaceDidRename = QStringLiteral("workspaceDidRename");
inline const QString gitStateDidChange = QStringLiteral("gitStateDidChange");
inline const QString fileSystemDidChange = QStringLiteral("fileSystemDidChange");
inline const QString automationRunDidUpdate = QStringLiteral("CorvaneAutomationRunDidUpdate");
inline const QString openFilesDidChange = QStringLiteral("openFilesDidChange");
inline const QString editorDidSaveFile = QStringLiteral("editorDidSaveFile");

// An automation run changed: its status, phase, iteration or verdict.
struct AutomationRunUpdated
{
    QUuid runId;
    QUuid workspaceId; // null when the run has no workspace

    static const QString &name() { return automationRunDidUpdate; }
    QVariantMap toPayload() const
    {
        QVariantMap payload{{"runId", runId}};
        if (!workspaceId.isNull())
            payload.insert("workspaceId", workspaceId);
        return payload;
    }
    static AutomationRunUpdated from(const QVariantMap &p) { return {p.value("runId").toUuid(), p.value("workspaceId").toUuid()}; }
};

// A live session was created or closed.
struct ChatSessionChanged
{
    QUuid chatId;
    bool hasSession = false;

    static const QString &name() { return chatSessionDidChange; }
    QVariantMap toPayload() const { return {{"chatId", chatId}, {"hasSession", hasSession}}; }
    static ChatSessionChanged from(const QVariantMap &p)
    {
        return {p.value("chatId").toUuid(), p.value("hasSession").toBool()};
    }
};

// A live session's activity changed. `state` is ChatActivityState's raw text ("idle",
// "processing", "waitingForPermission", "completed"): this library does not know the agents.
struct ChatActivityChanged
{
    QUuid chatId;
    QString state;

    static const QString &name() { return chatActivityStateDidChange; }
    QVariantMap toPayload() const { return {{"chatId", chatId}, {"state", state}}; }
    static ChatActivityChanged from(const QVariantMap &p) { return {p.value("chatId").toUuid(), p.value("state").toString()}; }
};

// A chat got a new name (typed by the user or generated from its first message).
struct ChatRenamed
{
    QUuid chatId;

    static const QString &name() { return chatDidRename; }
    QVariantMap toPayload() const { return {{"chatId", chatId}}; }
    static ChatRenamed from(const QVariantMap &p) { return {p.value("chatId").toUuid()}; }
};

// A workspace got a new name.
struct WorkspaceRenamed
{
    QUuid workspaceId;

    static const QString &name() { return workspaceDidRename; }
    QVariantMap toPayload() const { return {{"workspaceId", workspaceId}}; }
    static WorkspaceRenamed from(const QVariantMap &p) { return {p.value("workspaceId").toUuid()}; }
};

// HEAD of a checkout changed (a branch switch, a commit), also when made outside the program.
struct GitStateChanged
{
    QString workingDirectory;

    static const QString &name() { return gitStateDidChange; }
    QVariantMap toPayload() const { return {{"workingDirectory", workingDirectory}}; }
    static GitStateChanged from(const QVariantMap &p) { return {p.value("workingDirectory").toString()}; }
};

// Files of a working tree changed on disk.
struct FileSystemChanged
{
    QString workingDirectory;

    static const QString &name() { return fileSystemDidChange; }
    QVariantMap toPayload() const { return {{"workingDirectory", workingDirectory}}; }
    static FileSystemChanged from(const QVariantMap &p) { return {p.value("workingDirectory").toString()}; }
};

// A workspace's open files changed: one opened or closed, the active one, or a dirty state.
struct OpenFilesChanged
{
    QUuid workspaceId;

    static const QString &name() { return openFilesDidChange; }
    QVariantMap toPayload() const { return {{"workspaceId", workspaceId}}; }
    static OpenFilesChanged from(const QVariantMap &p) { return {p.value("workspaceId").toUuid()}; }
};

// An open file was written to disk from the editor; "url" holds its local path.
struct EditorSavedFile
{
    QString path;

    static const QString &name() { return editorDidSaveFile; }
    QVariantMap toPayload() const { return {{"url", path}}; }
    static EditorSavedFile from(const QVariantMap &p) { return {p.value("url").toString()}; }
};

template <typename Payload>
void post(NotificationCenter &center, const Payload &payload, const void *sender = nullptr)
{
    center.post(Payload::name(), sender, payload.toPayload());
}

// Observes the payload's broadcast for as long as `context` lives (and the guard, when kept).
template <typename Payload, typename Handler>
ObserverGuard observe(NotificationCenter &center, QObject *context, Handler handler, const void *sender = nullptr)
{
    return ObserverGuard(center, center.addObserver(Payload::name(), [handler = std::move(handler)](const Notification &n) {
        handler(Payload::from(n.payload));
    }, sender, context));
}

} // namespace corvane::broadcast
