#pragma once

#include "source_control/overview/HygieneTypes.h"

#include <QHash>
#include <QWidget>

#include <functional>

class QLabel;
class QListWidget;
class QMenu;
class QPushButton;
class QVBoxLayout;

namespace corvane {

class ProjectOverviewViewModel;

// The project page: the project's name and folder with its health word, the hygiene tiles
// (each with its colour, its value or why it has none, and its action), then the workspaces,
// branches, worktrees and memory files. It only draws the view model and hands clicks to it;
// what destroys something asks first.
class ProjectPage : public QWidget
{
    Q_OBJECT

public:
    // Answers whether the user went ahead; the default asks with a message box.
    using Confirm = std::function<bool(const QString &title, const QString &text, const QString &button)>;

    ProjectPage(ProjectOverviewViewModel &model, QWidget *parent = nullptr);

    void setConfirm(Confirm confirm) { m_confirm = std::move(confirm); }
    ProjectOverviewViewModel &model() const { return m_model; }

    // The tile of a figure (for tests): its value label is named "value", its button "action".
    QWidget *tile(HygieneFigureKind kind) const { return m_tiles.value(kind); }
    // What a branch row's context menu offers: switch, merge into the current branch, delete.
    QMenu *branchMenu(const QString &branch);
    // The stash tile's menu: apply or drop each stash.
    QMenu *stashMenu() const { return m_stashMenu; }

signals:
    // A workspace row was activated.
    void workspaceActivated(const QUuid &workspaceId);

private:
    struct Tile
    {
        QWidget *frame = nullptr;
        QLabel *dot = nullptr;
        QLabel *value = nullptr;
        QLabel *detail = nullptr;
        QPushButton *action = nullptr;
    };

    QWidget *makeTile(HygieneFigureKind kind);
    void showHeader();
    void showFigures();
    void showWorkspaces();
    void showGitData();
    void showMemoryFiles();
    void runAction(HygieneFigureKind kind);
    void confirmRemoveWorktree(const QString &path);
    void fillStashMenu();
    void showMessage(const QString &text);

    ProjectOverviewViewModel &m_model;
    Confirm m_confirm;
    QLabel *m_title;
    QLabel *m_path;
    QLabel *m_branch;
    QLabel *m_health;
    QLabel *m_healthDot;
    QHash<HygieneFigureKind, QWidget *> m_tiles;
    QHash<HygieneFigureKind, Tile> m_tileParts;
    QListWidget *m_workspaces;
    QLabel *m_archived;
    QListWidget *m_branches;
    QVBoxLayout *m_worktrees;
    QWidget *m_worktreeBox;
    QListWidget *m_memory;
    QLabel *m_message;
    QMenu *m_stashMenu;
};

} // namespace corvane
