#pragma once

#include "source_control/GitTypes.h"

#include <QToolButton>
#include <QUuid>

class QMenu;

namespace corvane {

// The chat header's branch: a button named after the branch that the chat's folder has checked
// out, with a menu of the local branches to switch to. Off, with the reason as its tool tip,
// where the branch cannot change (a worktree's). It only reads git; the switch is the caller's.
class BranchSwitchButton : public QToolButton
{
    Q_OBJECT

public:
    explicit BranchSwitchButton(QWidget *parent = nullptr);

    // The chat and its folder; an empty folder hides the button. Reads git again only when the
    // chat or the folder changed, or `reload` is asked for.
    void showChat(const QUuid &chatId, const QString &folder, bool switchable, const QString &toolTip,
                  bool reload = false);
    QUuid chatId() const { return m_chatId; }
    QMenu *branchMenu() const { return m_menu; }
    // The local branches as last listed.
    const QList<GitBranch> &branches() const { return m_branches; }

signals:
    void branchChosen(const QUuid &chatId, const corvane::GitBranch &branch);
    // The label and the menu were read from git.
    void loaded();

private:
    void load();
    void fillMenu();

    QMenu *m_menu;
    QUuid m_chatId;
    QString m_folder;
    QList<GitBranch> m_branches;
    int m_generation = 0; // answers for an earlier chat are dropped
};

} // namespace corvane
