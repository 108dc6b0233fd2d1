#pragma once

#include <QList>
#include <QString>
#include <QUuid>

#include <memory>
#include <optional>

namespace corvane {

class StoreContext;
struct Project;

// What the sidebar draws of one chat, workspace and project: plain values, read in one pass.
struct SidebarChatRow
{
    QUuid id;
    QString name;
    qint64 sortOrder = 0;
};

struct SidebarWorkspaceRow
{
    QUuid id;
    QString name;
    std::optional<QString> gitBranch;
    QList<SidebarChatRow> chats; // open chats, in display order
    std::optional<QString> automationStatusRaw; // the status of its latest automation run

    // "Add a parser · Review Required": the name, and where its run stands.
    QString label() const;
};

struct SidebarProjectRow
{
    QUuid id;
    QString name;
    QString path;
    bool isExpanded = true;
    QList<SidebarWorkspaceRow> workspaces; // live workspaces, in display order
};

// The tree under `projects` (kept in their order): live workspaces and their open chats, read
// with one query for each kind however many projects there are.
QList<SidebarProjectRow> readSidebarTree(StoreContext &context, const QList<std::shared_ptr<Project>> &projects);

} // namespace corvane
