#include "shell/import/ImportWindow.h"

#include "core/records/Project.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "shell/import/ImportPreviewWindow.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace corvane {

namespace {

constexpr int sessionIdRole = Qt::UserRole + 1;

QString countText(int count)
{
    return count == 1 ? ImportWindow::tr("1 message") : ImportWindow::tr("%1 messages").arg(count);
}

QLabel *centred(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setAlignment(Qt::AlignCenter);
    label->setWordWrap(true);
    return label;
}

} // namespace

ImportWindow::ImportWindow(std::shared_ptr<Store> store, const QUuid &projectId, ImportRoots roots, QWidget *parent)
    : QWidget(parent, Qt::Window)
    , m_model(new ImportWindowViewModel(store, projectId, std::move(roots), this))
{
    setObjectName(QStringLiteral("importWindow"));
    setAttribute(Qt::WA_DeleteOnClose);
    const auto project = store->mainContext().get<Project>(projectId);
    setWindowTitle(tr("Import Sessions") + (project ? QStringLiteral(" — ") + project->name : QString()));
    resize(760, 560);

    auto *layout = new QVBoxLayout(this);
    auto *filters = new QHBoxLayout;
    m_search = new QLineEdit(this);
    m_search->setPlaceholderText(tr("Search sessions"));
    m_search->setClearButtonEnabled(true);
    m_dates = new QComboBox(this);
    for (DateFilter filter : allDateFilters)
        m_dates->addItem(dateFilterLabel(filter), int(filter));
    m_models = new QComboBox(this);
    m_models->addItem(tr("All Models"));
    filters->addWidget(m_search, 1);
    filters->addWidget(m_dates);
    filters->addWidget(m_models);
    layout->addLayout(filters);

    m_pages = new QStackedWidget(this);
    m_loadingLabel = centred(tr("Discovering sessions..."), m_pages);
    m_emptyPage = new QWidget(m_pages);
    auto *emptyLayout = new QVBoxLayout(m_emptyPage);
    m_emptyTitle = centred(QString(), m_emptyPage);
    QFont bold = m_emptyTitle->font();
    bold.setBold(true);
    bold.setPointSizeF(bold.pointSizeF() * 1.2);
    m_emptyTitle->setFont(bold);
    m_emptyText = centred(QString(), m_emptyPage);
    emptyLayout->addStretch(1);
    emptyLayout->addWidget(m_emptyTitle);
    emptyLayout->addWidget(m_emptyText);
    emptyLayout->addStretch(1);
    m_list = new QTreeWidget(m_pages);
    m_list->setObjectName(QStringLiteral("importSessions"));
    m_list->setColumnCount(5);
    m_list->setHeaderLabels({tr("Session"), tr("Date"), tr("Model"), tr("Messages"), QString()});
    m_list->setRootIsDecorated(false);
    m_list->setUniformRowHeights(true);
    m_list->setSelectionMode(QAbstractItemView::NoSelection);
    // The selection mark of a row is a circle, filled when the session is chosen.
    m_list->setStyleSheet(QStringLiteral(
        "QTreeWidget#importSessions::indicator { width: 14px; height: 14px; border-radius: 8px;"
        " border: 1px solid palette(mid); background: palette(base); }"
        "QTreeWidget#importSessions::indicator:checked { background: palette(highlight); border-color: palette(highlight); }"));
    m_list->header()->setSectionResizeMode(promptColumn, QHeaderView::Stretch);
    m_list->header()->setStretchLastSection(false);
    for (int column : {dateColumn, modelColumn, countColumn, previewColumn})
        m_list->header()->setSectionResizeMode(column, QHeaderView::ResizeToContents);
    m_pages->addWidget(m_loadingLabel);
    m_pages->addWidget(m_emptyPage);
    m_pages->addWidget(m_list);
    layout->addWidget(m_pages, 1);

    m_error = new QLabel(this);
    m_error->setObjectName(QStringLiteral("importError"));
    m_error->setStyleSheet(QStringLiteral("color: #d33;"));
    m_error->hide();
    layout->addWidget(m_error);

    auto *bottom = new QHBoxLayout;
    m_selectAll = new QPushButton(tr("Select All"), this);
    m_selectedCount = new QLabel(this);
    m_progressText = new QLabel(this);
    m_progress = new QProgressBar(this);
    m_progress->setMaximumWidth(160);
    m_progress->setTextVisible(false);
    m_cancel = new QPushButton(tr("Cancel"), this);
    m_import = new QPushButton(this);
    m_import->setDefault(true);
    bottom->addWidget(m_selectAll);
    bottom->addWidget(m_selectedCount);
    bottom->addStretch(1);
    bottom->addWidget(m_progressText);
    bottom->addWidget(m_progress);
    bottom->addWidget(m_cancel);
    bottom->addWidget(m_import);
    layout->addLayout(bottom);

    connect(m_search, &QLineEdit::textChanged, m_model, &ImportWindowViewModel::setSearchText);
    connect(m_dates, &QComboBox::currentIndexChanged, this,
            [this](int index) { m_model->setDateFilter(DateFilter(m_dates->itemData(index).toInt())); });
    connect(m_models, &QComboBox::currentIndexChanged, this, [this](int index) {
        if (m_updating)
            return;
        m_model->setModelFilter(index <= 0 ? std::nullopt : std::optional(m_models->itemText(index)));
    });
    connect(m_selectAll, &QPushButton::clicked, this, [this] {
        if (m_model->allFilteredSelected())
            m_model->deselectAll();
        else
            m_model->selectAll();
    });
    connect(m_cancel, &QPushButton::clicked, this, &QWidget::close);
    connect(m_import, &QPushButton::clicked, m_model, &ImportWindowViewModel::importSelected);
    connect(m_list, &QTreeWidget::itemChanged, this, [this](QTreeWidgetItem *item, int column) {
        const QString id = item->data(promptColumn, sessionIdRole).toString();
        if (m_updating || column != promptColumn || id.isEmpty())
            return;
        m_model->setSelected(id, item->checkState(promptColumn) == Qt::Checked);
    });
    connect(m_list, &QTreeWidget::itemClicked, this, [this](QTreeWidgetItem *item, int column) {
        const QString id = item->data(promptColumn, sessionIdRole).toString();
        if (id.isEmpty())
            return;
        if (column == previewColumn)
            preview(id);
        else if (column != promptColumn)
            m_model->toggle(id);
    });
    connect(m_model, &ImportWindowViewModel::changed, this, &ImportWindow::refresh);
    connect(m_model, &ImportWindowViewModel::imported, this, [this](const QList<QUuid> &ids) {
        emit workspacesImported(ids);
        if (!m_model->errorMessage())
            close();
    });
    refresh();
}

ImportWindow *ImportWindow::openFor(std::shared_ptr<Store> store, const QUuid &projectId, ImportRoots roots, QWidget *parent,
                                    bool *created)
{
    if (created)
        *created = false;
    for (ImportWindow *window : parent->findChildren<ImportWindow *>(QString(), Qt::FindDirectChildrenOnly)) {
        if (window->m_model->projectId() == projectId) {
            window->show();
            window->raise();
            window->activateWindow();
            return window;
        }
    }
    auto *window = new ImportWindow(std::move(store), projectId, std::move(roots), parent);
    if (created)
        *created = true;
    window->show();
    return window;
}

void ImportWindow::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (!m_loadedOnce) {
        m_loadedOnce = true;
        m_model->load();
    }
}

QTreeWidgetItem *ImportWindow::rowOf(const QString &sessionId) const
{
    for (int g = 0; g < m_list->topLevelItemCount(); ++g) {
        QTreeWidgetItem *group = m_list->topLevelItem(g);
        for (int i = 0; i < group->childCount(); ++i)
            if (group->child(i)->data(promptColumn, sessionIdRole).toString() == sessionId)
                return group->child(i);
    }
    return nullptr;
}

ImportPreviewWindow *ImportWindow::preview(const QString &sessionId)
{
    for (const ImportableSession &session : m_model->sessions()) {
        if (session.id != sessionId)
            continue;
        auto *window = new ImportPreviewWindow(session, this);
        window->setAttribute(Qt::WA_DeleteOnClose);
        connect(window, &ImportPreviewWindow::importRequested, m_model,
                [this](const ImportableSession &chosen) { m_model->importSessions({chosen}); });
        window->show();
        return window;
    }
    return nullptr;
}

void ImportWindow::refresh()
{
    const bool importing = m_model->isImporting();
    if (!m_model->hasLoaded()) {
        m_pages->setCurrentWidget(m_loadingLabel);
    } else {
        updateModels();
        const QList<SessionGroup> groups = m_model->groupedSessions();
        if (m_model->sessions().isEmpty()) {
            m_emptyTitle->setText(tr("No Sessions Found"));
            m_emptyText->setText(tr("No importable Claude Code sessions were found for this project."));
            m_pages->setCurrentWidget(m_emptyPage);
        } else if (groups.isEmpty()) {
            m_emptyTitle->setText(tr("No Matching Sessions"));
            m_emptyText->setText(tr("Try adjusting your search or filters."));
            m_pages->setCurrentWidget(m_emptyPage);
        } else {
            m_pages->setCurrentWidget(m_list);
        }
        rebuildList(groups);
        updateChecks();
    }

    const int selected = int(m_model->selectedIds().size());
    m_selectAll->setText(m_model->allFilteredSelected() ? tr("Deselect All") : tr("Select All"));
    m_selectAll->setEnabled(!importing && !m_model->filteredSessions().isEmpty());
    m_selectedCount->setText(tr("%1 selected").arg(selected));
    m_import->setText(tr("Import (%1)").arg(selected));
    m_import->setEnabled(!importing && selected > 0);
    m_list->setEnabled(!importing);
    const auto progress = m_model->importProgress();
    m_progressText->setVisible(progress.has_value());
    m_progress->setVisible(progress.has_value());
    if (progress) {
        m_progressText->setText(tr("Importing %1 of %2").arg(progress->first).arg(progress->second));
        m_progress->setRange(0, progress->second);
        m_progress->setValue(progress->first);
    }
    m_error->setVisible(m_model->errorMessage().has_value());
    m_error->setText(m_model->errorMessage().value_or(QString()));
}

void ImportWindow::updateModels()
{
    const QStringList models = m_model->availableModels();
    if (models != m_shownModels) {
        m_updating = true;
        m_models->clear();
        m_models->addItem(tr("All Models"));
        m_models->addItems(models);
        m_shownModels = models;
        m_updating = false;
    }
    const int index = m_model->modelFilter() ? m_models->findText(*m_model->modelFilter()) : 0;
    if (index >= 0 && index != m_models->currentIndex()) {
        m_updating = true;
        m_models->setCurrentIndex(index);
        m_updating = false;
    }
}

void ImportWindow::rebuildList(const QList<SessionGroup> &groups)
{
    QStringList ids;
    for (const SessionGroup &group : groups) {
        ids << QStringLiteral("#") + dateGroupLabel(group.group);
        for (const ImportableSession &session : group.sessions)
            ids << session.id;
    }
    if (ids == m_shownIds)
        return;
    m_shownIds = ids;
    m_updating = true;
    m_list->clear();
    const QLocale locale;
    for (const SessionGroup &group : groups) {
        auto *header = new QTreeWidgetItem(m_list, {dateGroupLabel(group.group)});
        header->setFlags(Qt::ItemIsEnabled);
        header->setFirstColumnSpanned(true);
        QFont bold = header->font(promptColumn);
        bold.setBold(true);
        header->setFont(promptColumn, bold);
        for (const ImportableSession &session : group.sessions) {
            QString prompt = session.firstPrompt;
            prompt.replace(QLatin1Char('\n'), QLatin1Char(' '));
            auto *row = new QTreeWidgetItem(header, {prompt, locale.toString(session.modified, QLocale::ShortFormat),
                                                     session.model.value_or(QString()), countText(session.messageCount),
                                                     tr("Preview")});
            row->setData(promptColumn, sessionIdRole, session.id);
            row->setToolTip(promptColumn, session.firstPrompt);
            row->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
            row->setCheckState(promptColumn, Qt::Unchecked);
            row->setForeground(previewColumn, palette().color(QPalette::Link));
        }
        header->setExpanded(true);
    }
    m_updating = false;
}

void ImportWindow::updateChecks()
{
    m_updating = true;
    for (int g = 0; g < m_list->topLevelItemCount(); ++g) {
        QTreeWidgetItem *group = m_list->topLevelItem(g);
        for (int i = 0; i < group->childCount(); ++i) {
            QTreeWidgetItem *row = group->child(i);
            const bool selected = m_model->isSelected(row->data(promptColumn, sessionIdRole).toString());
            const Qt::CheckState state = selected ? Qt::Checked : Qt::Unchecked;
            if (row->checkState(promptColumn) != state)
                row->setCheckState(promptColumn, state);
        }
    }
    m_updating = false;
}

} // namespace corvane
