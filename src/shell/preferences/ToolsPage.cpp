#include "shell/preferences/ToolsPage.h"

#include "core/settings/AppSettings.h"
#include "core/window/PinnedTool.h"
#include "shell/tools/ToolForm.h"

#include <QAbstractItemModel>
#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QSignalBlocker>
#include <QTimer>
#include <QVBoxLayout>

namespace corvane {

namespace {
constexpr int IdRole = Qt::UserRole;
}

ToolsPage::ToolsPage(AppSettings &settings, QWidget *parent) : QWidget(parent), m_settings(settings)
{
    auto *layout = new QVBoxLayout(this);
    m_enableAll = new QCheckBox(tr("Enable all tools"));
    m_enableAll->setObjectName(QStringLiteral("enableAllTools"));
    m_enableAll->setChecked(settings.enableAllTools());
    layout->addWidget(m_enableAll);
    layout->addWidget(toolform::note(tr("The tools in the sidebar, in this order. Drag a tool, or use Move Up and Move Down.")));

    auto *row = new QHBoxLayout;
    m_list = new QListWidget;
    m_list->setObjectName(QStringLiteral("toolList"));
    m_list->setDragDropMode(QAbstractItemView::InternalMove);
    m_list->setDefaultDropAction(Qt::MoveAction);
    row->addWidget(m_list, 1);
    auto *buttons = new QVBoxLayout;
    m_up = new QPushButton(tr("Move Up"));
    m_down = new QPushButton(tr("Move Down"));
    buttons->addWidget(m_up);
    buttons->addWidget(m_down);
    buttons->addStretch();
    row->addLayout(buttons);
    layout->addLayout(row, 1);

    fill();
    connect(m_enableAll, &QCheckBox::toggled, this, [this](bool on) {
        m_settings.setEnableAllTools(on);
        fill();
    });
    connect(m_list, &QListWidget::itemChanged, this, [this](QListWidgetItem *item) {
        const QString id = item->data(IdRole).toString();
        const bool on = item->checkState() == Qt::Checked;
        if (!m_settings.enableAllTools() && m_settings.isToolEnabled(id) != on)
            m_settings.setToolEnabled(id, on);
    });
    // A drop moves the row inside the model (as a move, or as an insert and a removal); the
    // order is read once the drop has settled.
    QAbstractItemModel *model = m_list->model();
    auto settle = [this] {
        if (!m_filling)
            QTimer::singleShot(0, this, &ToolsPage::saveOrder);
    };
    connect(model, &QAbstractItemModel::rowsMoved, this, settle);
    connect(model, &QAbstractItemModel::rowsInserted, this, settle);
    connect(model, &QAbstractItemModel::rowsRemoved, this, settle);
    connect(m_list, &QListWidget::currentRowChanged, this, &ToolsPage::updateButtons);
    connect(m_up, &QPushButton::clicked, this, [this] { move(-1); });
    connect(m_down, &QPushButton::clicked, this, [this] { move(1); });
}

void ToolsPage::fill()
{
    const QSignalBlocker quiet(m_list);
    m_filling = true;
    const QString current = m_list->currentItem() ? m_list->currentItem()->data(IdRole).toString() : QString();
    m_list->clear();
    const bool all = m_settings.enableAllTools();
    const QSet<QString> disabled = m_settings.disabledTools();
    // Every tool, in the order the sidebar would show them all.
    for (const PinnedTool &tool : visibleTools(true, {}, m_settings.toolOrder())) {
        auto *item = new QListWidgetItem(tool.name, m_list);
        item->setData(IdRole, tool.id);
        item->setToolTip(tool.description);
        // While every tool is on the switches are greyed and fixed; the order can still change.
        Qt::ItemFlags flags = Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsDragEnabled;
        if (!all)
            flags |= Qt::ItemIsUserCheckable;
        item->setFlags(flags);
        item->setCheckState(all || !disabled.contains(tool.id) ? Qt::Checked : Qt::Unchecked);
        if (all)
            item->setForeground(palette().brush(QPalette::Disabled, QPalette::Text));
        if (tool.id == current)
            m_list->setCurrentItem(item);
    }
    m_filling = false;
    updateButtons();
}

QStringList ToolsPage::shownOrder() const
{
    QStringList ids;
    for (int i = 0; i < m_list->count(); ++i)
        ids << m_list->item(i)->data(IdRole).toString();
    return ids;
}

void ToolsPage::move(int by)
{
    const int row = m_list->currentRow();
    const int target = row + by;
    if (row < 0 || target < 0 || target >= m_list->count())
        return;
    {
        const QSignalBlocker quiet(m_list);
        QListWidgetItem *item = m_list->takeItem(row);
        m_list->insertItem(target, item);
        m_list->setCurrentRow(target);
    }
    saveOrder();
    updateButtons();
}

void ToolsPage::saveOrder()
{
    // Nothing is written while the shown order is the one the settings already give.
    QStringList effective;
    for (const PinnedTool &tool : visibleTools(true, {}, m_settings.toolOrder()))
        effective << tool.id;
    const QStringList order = shownOrder();
    if (order != effective)
        m_settings.setToolOrder(order);
}

void ToolsPage::updateButtons()
{
    const int row = m_list->currentRow();
    m_up->setEnabled(row > 0);
    m_down->setEnabled(row >= 0 && row < m_list->count() - 1);
}

} // namespace corvane
