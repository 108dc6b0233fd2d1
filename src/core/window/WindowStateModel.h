#pragma once

#include "core/window/ContentState.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QUuid>

#include <optional>

namespace corvane {

class PreferencesStore;

// Preference keys of the main window. The active profile is the one the sidebar shows; the rest
// is the last window's layout, so that the next start opens where the user left off.
namespace windowStateKey {
inline const QString activeProfileId = QStringLiteral("windowState.activeProfileId");
inline const QString content = QStringLiteral("windowState.content");
inline const QString sidebarCollapsed = QStringLiteral("windowState.isSidebarCollapsed");
inline const QString inspectorCollapsed = QStringLiteral("windowState.isInspectorCollapsed");
inline const QString geometry = QStringLiteral("windowState.geometry");
inline const QString columnWidths = QStringLiteral("windowState.columnWidths");
} // namespace windowStateKey

// The state of one main window: which columns are open, what is selected and what the content
// column shows. Every setter writes through to the preferences when the value changes, so a
// crash loses nothing; `changed` tells the views to redraw.
class WindowStateModel : public QObject
{
    Q_OBJECT

public:
    // Reads what the previous window left. A stored text that is not a valid UUID, or a content
    // line that cannot be read, counts as none.
    explicit WindowStateModel(PreferencesStore &preferences, QObject *parent = nullptr);

    bool isSidebarCollapsed() const { return m_sidebarCollapsed; }
    void setSidebarCollapsed(bool collapsed);
    bool isInspectorCollapsed() const { return m_inspectorCollapsed; }
    void setInspectorCollapsed(bool collapsed);

    std::optional<QUuid> selectedWorkspaceId() const { return m_selectedWorkspaceId; }
    void setSelectedWorkspaceId(std::optional<QUuid> id);
    std::optional<QUuid> selectedChatIdInWorkspace() const { return m_selectedChatIdInWorkspace; }
    void setSelectedChatIdInWorkspace(std::optional<QUuid> id);

    // Setting none removes the key.
    std::optional<QUuid> activeProfileId() const { return m_activeProfileId; }
    void setActiveProfileId(std::optional<QUuid> id);

    ContentState content() const { return m_content; }
    void setContent(const ContentState &content);

    bool isTerminalVisible() const { return m_terminalVisible; }
    void setTerminalVisible(bool visible);

    // Opaque to this model: what the window's platform layer saves and restores.
    QByteArray geometry() const;
    void setGeometry(const QByteArray &geometry);
    // Sidebar, content and inspector widths; empty when never saved or unreadable.
    QList<int> columnWidths() const;
    void setColumnWidths(const QList<int> &widths);

signals:
    void changed();
    void contentChanged(const corvane::ContentState &content);

private:
    PreferencesStore &m_preferences;
    bool m_sidebarCollapsed = false;
    bool m_inspectorCollapsed = true;
    bool m_terminalVisible = false;
    std::optional<QUuid> m_selectedWorkspaceId;
    std::optional<QUuid> m_selectedChatIdInWorkspace;
    std::optional<QUuid> m_activeProfileId;
    ContentState m_content;
};

} // namespace corvane
