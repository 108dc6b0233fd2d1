#include "shell/tools/PulseToolPage.h"

#include "presentation/pulse/PulseModel.h"
#include "shell/tools/ToolForm.h"

#include <QLabel>
#include <QListWidget>
#include <QPainter>
#include <QScrollBar>
#include <QVBoxLayout>

namespace corvane {

namespace {

constexpr int loadMoreDistance = 200;
constexpr int chatIdRole = Qt::UserRole + 1;

QIcon dot(const std::optional<QString> &hex)
{
    QPixmap pixmap(10, 10);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(hex.value_or(QStringLiteral("#8e8e93"))));
    painter.drawEllipse(0, 0, 10, 10);
    return QIcon(pixmap);
}

} // namespace

PulseToolPage::PulseToolPage(PulseModel &model, QWidget *parent)
    : QWidget(parent), m_model(model), m_list(new QListWidget), m_state(new QLabel)
{
    auto *layout = new QVBoxLayout(this);
    auto *title = new QLabel(tr("Pulse"));
    QFont big = title->font();
    big.setPointSizeF(big.pointSizeF() * 1.4);
    big.setBold(true);
    title->setFont(big);
    layout->addWidget(title);
    layout->addWidget(toolform::note(tr("Timeline of all chat activity across projects.")));
    m_state->setAlignment(Qt::AlignCenter);
    m_state->setEnabled(false);
    layout->addWidget(m_state);
    m_list->setObjectName(QStringLiteral("pulseList"));
    m_list->setFrameShape(QFrame::NoFrame);
    m_list->setUniformItemSizes(false);
    layout->addWidget(m_list, 1);

    connect(&m_model, &PulseModel::reset, m_list, &QListWidget::clear);
    connect(&m_model, &PulseModel::rowsAppended, this, &PulseToolPage::append);
    connect(&m_model, &PulseModel::rowsChanged, this, [this](const QList<int> &rows) {
        for (int row : rows)
            redrawRow(row);
    });
    connect(m_list->verticalScrollBar(), &QScrollBar::valueChanged, this, &PulseToolPage::loadMoreIfNear);
    connect(m_list, &QListWidget::itemActivated, this, [this](QListWidgetItem *item) {
        if (const QUuid id = item->data(chatIdRole).toUuid(); !id.isNull())
            emit chatActivated(id);
    });
    connect(m_list, &QListWidget::itemClicked, m_list, &QListWidget::itemActivated);
}

void PulseToolPage::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    m_model.setActive(true);
    m_model.reload();
    m_state->setText(tr("Loading..."));
    m_state->show();
}

void PulseToolPage::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    m_model.setActive(false);
}

void PulseToolPage::append(int first, int count)
{
    for (int row = first; row < first + count; ++row) {
        m_list->addItem(new QListWidgetItem);
        redrawRow(row);
    }
    m_state->setVisible(m_model.items().isEmpty());
    m_state->setText(tr("No Activity Yet\nChats you work in show here, a row for each day."));
    // A first page that does not fill the view would never scroll: ask for more now.
    loadMoreIfNear();
}

void PulseToolPage::redrawRow(int row)
{
    QListWidgetItem *item = m_list->item(row);
    if (!item || row >= m_model.items().size())
        return;
    const PulseItem &source = m_model.items().at(row);
    if (source.header) {
        item->setText(*source.header);
        item->setFlags(Qt::NoItemFlags); // a group row: not selectable
        QFont bold = m_list->font();
        bold.setBold(true);
        item->setFont(bold);
        return;
    }
    const PulseEntry &entry = *source.entry;
    item->setText(QStringLiteral("%1\n%2%3").arg(entry.chatName, entry.workspaceName,
                                                 entry.isRunning    ? tr(" · Running")
                                                 : entry.isArchived ? tr(" · Archived")
                                                                    : QString()));
    item->setIcon(dot(entry.profileColorHex));
    item->setData(chatIdRole, entry.chatId);
    item->setForeground(entry.isArchived ? palette().brush(QPalette::Disabled, QPalette::Text)
                                         : palette().brush(QPalette::Text));
}

void PulseToolPage::loadMoreIfNear()
{
    const QScrollBar *bar = m_list->verticalScrollBar();
    // Pixels from the bottom of what shows to the end of the list.
    const int rowHeight = qMax(1, m_list->sizeHintForRow(0));
    const int remaining = (bar->maximum() - bar->value()) * (m_list->verticalScrollMode() == QAbstractItemView::ScrollPerItem ? rowHeight : 1);
    if (remaining <= loadMoreDistance && !m_model.isLoadingMore() && !m_model.allRowsLoaded() && isVisible())
        m_model.loadNextPage();
}

} // namespace corvane
