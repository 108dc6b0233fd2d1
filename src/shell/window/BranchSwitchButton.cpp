#include "shell/window/BranchSwitchButton.h"

#include "source_control/GitService.h"

#include <QMenu>

namespace corvane {

BranchSwitchButton::BranchSwitchButton(QWidget *parent) : QToolButton(parent), m_menu(new QMenu(this))
{
    setObjectName(QStringLiteral("branchSwitch"));
    setPopupMode(QToolButton::InstantPopup);
    setToolButtonStyle(Qt::ToolButtonTextOnly);
    setAutoRaise(true);
    setMenu(m_menu);
    // Branches come and go outside the program: the list is read again each time it opens.
    connect(m_menu, &QMenu::aboutToShow, this, &BranchSwitchButton::load);
    hide();
}

void BranchSwitchButton::showChat(const QUuid &chatId, const QString &folder, bool switchable, const QString &toolTip,
                                  bool reload)
{
    setEnabled(switchable);
    setToolTip(toolTip);
    setVisible(!folder.isEmpty());
    const bool changed = chatId != m_chatId || folder != m_folder;
    m_chatId = chatId;
    m_folder = folder;
    if (folder.isEmpty())
        return;
    if (changed) {
        m_branches.clear();
        m_menu->clear();
        setText(QString());
    }
    if (changed || reload)
        load();
}

void BranchSwitchButton::load()
{
    if (m_folder.isEmpty())
        return;
    const int generation = ++m_generation;
    const GitService git(m_folder);
    git.currentBranch().then(this, [this, generation, git](const GitResult<QString> &current) {
        if (generation != m_generation)
            return;
        setText(current ? *current : QString());
        git.listBranches().then(this, [this, generation](const GitResult<QList<GitBranch>> &listed) {
            if (generation != m_generation)
                return;
            m_branches.clear();
            for (const GitBranch &branch : listed ? *listed : QList<GitBranch>())
                if (!branch.isRemote)
                    m_branches.append(branch);
            fillMenu();
            emit loaded();
        });
    });
}

void BranchSwitchButton::fillMenu()
{
    m_menu->clear();
    for (const GitBranch &branch : std::as_const(m_branches)) {
        QAction *item = m_menu->addAction(branch.name);
        item->setCheckable(true);
        item->setChecked(branch.isCurrent);
        connect(item, &QAction::triggered, this, [this, branch] {
            if (!branch.isCurrent)
                emit branchChosen(m_chatId, branch);
        });
    }
}

} // namespace corvane
