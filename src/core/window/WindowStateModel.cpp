#include "core/window/WindowStateModel.h"

#include "core/settings/PreferencesStore.h"

namespace corvane {

namespace {

std::optional<QUuid> readUuid(const PreferencesStore &preferences, const QString &key)
{
    const QUuid id = QUuid::fromString(preferences.string(key));
    return id.isNull() ? std::nullopt : std::optional(id);
}

} // namespace

WindowStateModel::WindowStateModel(PreferencesStore &preferences, QObject *parent)
    : QObject(parent), m_preferences(preferences)
{
    m_activeProfileId = readUuid(preferences, windowStateKey::activeProfileId);
    m_sidebarCollapsed = preferences.boolean(windowStateKey::sidebarCollapsed, false);
    m_inspectorCollapsed = preferences.boolean(windowStateKey::inspectorCollapsed, true);
    m_content = ContentState::fromText(preferences.string(windowStateKey::content)).value_or(ContentState::empty());
    if (m_content.kind == ContentState::Kind::workspace)
        m_selectedWorkspaceId = m_content.id;
}

void WindowStateModel::setSidebarCollapsed(bool collapsed)
{
    if (collapsed == m_sidebarCollapsed)
        return;
    m_sidebarCollapsed = collapsed;
    m_preferences.setBoolean(windowStateKey::sidebarCollapsed, collapsed);
    emit changed();
}

void WindowStateModel::setInspectorCollapsed(bool collapsed)
{
    if (collapsed == m_inspectorCollapsed)
        return;
    m_inspectorCollapsed = collapsed;
    m_preferences.setBoolean(windowStateKey::inspectorCollapsed, collapsed);
    emit changed();
}

void WindowStateModel::setSelectedWorkspaceId(std::optional<QUuid> id)
{
    if (id == m_selectedWorkspaceId)
        return;
    m_selectedWorkspaceId = id;
    emit changed();
}

void WindowStateModel::setSelectedChatIdInWorkspace(std::optional<QUuid> id)
{
    if (id == m_selectedChatIdInWorkspace)
        return;
    m_selectedChatIdInWorkspace = id;
    emit changed();
}

void WindowStateModel::setActiveProfileId(std::optional<QUuid> id)
{
    // Written on every set, even an unchanged one: another window may have written since.
    m_activeProfileId = id;
    if (id)
        m_preferences.setString(windowStateKey::activeProfileId, id->toString(QUuid::WithoutBraces).toUpper());
    else
        m_preferences.remove(windowStateKey::activeProfileId);
    emit changed();
}

void WindowStateModel::setContent(const ContentState &content)
{
    if (content == m_content)
        return;
    m_content = content;
    m_preferences.setString(windowStateKey::content, content.toText());
    emit contentChanged(content);
    emit changed();
}

void WindowStateModel::setTerminalVisible(bool visible)
{
    if (visible == m_terminalVisible)
        return;
    m_terminalVisible = visible;
    emit changed();
}

QByteArray WindowStateModel::geometry() const
{
    return QByteArray::fromBase64(m_preferences.string(windowStateKey::geometry).toLatin1());
}

void WindowStateModel::setGeometry(const QByteArray &geometry)
{
    const QString text = QString::fromLatin1(geometry.toBase64());
    if (text != m_preferences.string(windowStateKey::geometry))
        m_preferences.setString(windowStateKey::geometry, text);
}

QList<int> WindowStateModel::columnWidths() const
{
    QList<int> widths;
    for (const QString &part : m_preferences.stringList(windowStateKey::columnWidths)) {
        bool ok = false;
        const int width = part.toInt(&ok);
        if (!ok || width < 0)
            return {};
        widths.append(width);
    }
    return widths.size() == 3 ? widths : QList<int>();
}

void WindowStateModel::setColumnWidths(const QList<int> &widths)
{
    QStringList parts;
    for (int width : widths)
        parts.append(QString::number(width));
    if (parts != m_preferences.stringList(windowStateKey::columnWidths))
        m_preferences.setStringList(windowStateKey::columnWidths, parts);
}

} // namespace corvane
