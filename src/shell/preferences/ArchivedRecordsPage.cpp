#include "shell/preferences/ArchivedRecordsPage.h"

#include "core/settings/AppSettings.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "shell/preferences/PageParts.h"
#include "shell/tools/ToolForm.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"

#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QScrollArea>
#include <QTimer>
#include <QVBoxLayout>

namespace corvane {

namespace {

const QList<ArchiveRetention> retentions{ArchiveRetention::never, ArchiveRetention::thirtyDays,
                                         ArchiveRetention::sixtyDays, ArchiveRetention::ninetyDays};

QString idText(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces);
}

LifecycleOutcome outcomeOf(const GitResult<LifecycleOutcome> &result)
{
    return result ? result.value() : LifecycleOutcome::failed(result.error().description());
}

} // namespace

QString ArchivedRecordsPage::retentionLabel(ArchiveRetention retention)
{
    switch (retention) {
    case ArchiveRetention::never: return tr("Never");
    case ArchiveRetention::thirtyDays: return tr("After 30 days");
    case ArchiveRetention::sixtyDays: return tr("After 60 days");
    case ArchiveRetention::ninetyDays: return tr("After 90 days");
    }
    return {};
}

ArchivedRecordsPage::ArchivedRecordsPage(Kind kind, AppSettings &settings, StoreContext &context,
                                         WorkspaceLifecycleService &lifecycle, QWidget *parent)
    : QWidget(parent), m_kind(std::move(kind)), m_settings(settings), m_context(context), m_lifecycle(lifecycle)
{
    auto *layout = new QVBoxLayout(this);
    auto *form = new QFormLayout;
    m_retention = new QComboBox;
    m_retention->setObjectName(QStringLiteral("retention"));
    for (ArchiveRetention retention : retentions)
        m_retention->addItem(retentionLabel(retention), int(retention));
    m_retention->setCurrentIndex(m_retention->findData(int(m_kind.retention(settings))));
    form->addRow(tr("Delete permanently"), m_retention);
    layout->addLayout(form);
    layout->addWidget(toolform::note(tr("Counted from the day a record was archived.")));
    connect(m_retention, &QComboBox::activated, this, [this](int index) {
        m_kind.setRetention(m_settings, ArchiveRetention(m_retention->itemData(index).toInt()));
    });

    auto *scroll = new QScrollArea;
    scroll->setWidgetResizable(true);
    auto *list = new QWidget;
    auto *listLayout = new QVBoxLayout(list);
    m_empty = new QLabel(m_kind.emptyText);
    m_empty->setObjectName(QStringLiteral("emptyList"));
    m_empty->setAlignment(Qt::AlignCenter);
    listLayout->addWidget(m_empty);
    m_rows = new QVBoxLayout;
    m_rows->setSpacing(2);
    listLayout->addLayout(m_rows);
    m_showMore = new QPushButton;
    m_showMore->setObjectName(QStringLiteral("showMore"));
    m_showMore->hide();
    listLayout->addWidget(m_showMore, 0, Qt::AlignHCenter);
    connect(m_showMore, &QPushButton::clicked, this, [this] {
        m_rowLimit += rowsPerPage;
        reload();
    });
    listLayout->addStretch();
    scroll->setWidget(list);
    layout->addWidget(scroll, 1);

    auto *bottom = new QHBoxLayout;
    m_deleteAll = new QPushButton(tr("Delete All…"));
    m_deleteAll->setObjectName(QStringLiteral("deleteAll"));
    bottom->addStretch();
    bottom->addWidget(m_deleteAll);
    layout->addLayout(bottom);
    connect(m_deleteAll, &QPushButton::clicked, this, [this] {
        if (m_total > 0)
            pageparts::confirm(this, m_kind.deleteAllTitle, m_kind.deleteAllText(m_total), tr("Delete All"),
                               [this] { deleteAll(); });
    });

    // Whoever changes the records (this page, a window, the clean-up, another context) saves.
    connect(&context, &StoreContext::saved, this, &ArchivedRecordsPage::scheduleReload);
    connect(&context, &StoreContext::merged, this, &ArchivedRecordsPage::scheduleReload);
    connect(&context.store(), &Store::didSave, this, &ArchivedRecordsPage::scheduleReload);
    connect(&context.store(), &Store::changedElsewhere, this, &ArchivedRecordsPage::scheduleReload);
    connect(&lifecycle, &WorkspaceLifecycleService::recordsChanged, this, &ArchivedRecordsPage::scheduleReload);
    // The list is read when the page is first shown: opening Preferences does not wait for it.
}

void ArchivedRecordsPage::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (m_stale)
        reload();
}

void ArchivedRecordsPage::scheduleReload()
{
    m_stale = true;
    if (m_reloadQueued || m_deletingAll || !isVisible())
        return;
    // One reload for a burst of saves (Delete All saves once per record).
    m_reloadQueued = true;
    QTimer::singleShot(0, this, [this] {
        m_reloadQueued = false;
        if (m_stale)
            reload();
    });
}

void ArchivedRecordsPage::reload()
{
    m_stale = false;
    const QList<ArchivedRecord> all = m_kind.load(m_context);
    m_total = int(all.size());
    const QList<ArchivedRecord> records = all.mid(0, m_rowLimit);
    m_showMore->setVisible(m_total > records.size());
    m_showMore->setText(tr("Show More (%1 of %2 shown)").arg(records.size()).arg(m_total));
    m_deleteAll->setEnabled(m_total > 0);
    if (records == m_shown)
        return; // most saves change other records
    QHash<QUuid, ArchivedRecord> before;
    for (const ArchivedRecord &record : std::as_const(m_shown))
        before.insert(record.id, record);
    QHash<QUuid, QWidget *> rows;
    for (const ArchivedRecord &record : records) {
        QWidget *row = m_rowWidgets.take(record.id);
        if (row && before.value(record.id) != record) {
            delete row;
            row = nullptr;
        }
        rows.insert(record.id, row ? row : makeRow(record));
    }
    qDeleteAll(m_rowWidgets); // the records that left the list
    m_rowWidgets = rows;
    while (QLayoutItem *item = m_rows->takeAt(0))
        delete item;
    for (const ArchivedRecord &record : records)
        m_rows->addWidget(m_rowWidgets.value(record.id));
    m_shown = records;
    m_empty->setVisible(records.isEmpty());
}

QList<QUuid> ArchivedRecordsPage::shownIds() const
{
    QList<QUuid> ids;
    for (const ArchivedRecord &record : m_shown)
        ids.append(record.id);
    return ids;
}

QWidget *ArchivedRecordsPage::makeRow(const ArchivedRecord &record)
{
    auto *row = new QWidget;
    row->setObjectName(QStringLiteral("record:") + idText(record.id));
    auto *layout = new QHBoxLayout(row);
    layout->setContentsMargins(4, 2, 4, 2);
    auto *texts = new QVBoxLayout;
    auto *name = new QLabel(record.name);
    QFont bold = name->font();
    bold.setBold(true);
    name->setFont(bold);
    QStringList details;
    details << (record.projectName.isEmpty() ? tr("No project") : record.projectName);
    details << (record.archivedAt ? tr("Archived %1").arg(QLocale().toString(*record.archivedAt, QLocale::ShortFormat))
                                  : tr("Archived"));
    auto *detail = new QLabel(details.join(QStringLiteral(" · ")));
    detail->setEnabled(false);
    texts->addWidget(name);
    texts->addWidget(detail);
    layout->addLayout(texts, 1);
    auto *restoring = new QPushButton(tr("Restore"));
    restoring->setObjectName(QStringLiteral("restore:") + idText(record.id));
    auto *deleting = new QPushButton(tr("Delete Permanently…"));
    deleting->setObjectName(QStringLiteral("delete:") + idText(record.id));
    layout->addWidget(restoring);
    layout->addWidget(deleting);
    connect(restoring, &QPushButton::clicked, this, [this, id = record.id] { restore(id); });
    connect(deleting, &QPushButton::clicked, this, [this, record] { confirmDelete(record); });
    return row;
}

QPushButton *ArchivedRecordsPage::restoreButton(const QUuid &id) const
{
    return findChild<QPushButton *>(QStringLiteral("restore:") + idText(id));
}

QPushButton *ArchivedRecordsPage::deleteButton(const QUuid &id) const
{
    return findChild<QPushButton *>(QStringLiteral("delete:") + idText(id));
}

void ArchivedRecordsPage::restore(const QUuid &id)
{
    const LifecycleOutcome outcome = m_kind.restore(m_lifecycle, id);
    if (!outcome.message.isEmpty())
        pageparts::inform(this, outcome.isDone() ? tr("Restored") : tr("Cannot Restore"), outcome.message);
    scheduleReload();
}

void ArchivedRecordsPage::confirmDelete(const ArchivedRecord &record)
{
    pageparts::confirm(this, m_kind.deleteOneTitle(record.name), m_kind.deleteOneText, tr("Delete Permanently"),
                       [this, id = record.id] { deleteRecord(id, false); });
}

void ArchivedRecordsPage::deleteRecord(const QUuid &id, bool confirmed, std::function<void()> next)
{
    m_kind.remove(m_lifecycle, id, confirmed).then(this, [this, id, next](const GitResult<LifecycleOutcome> &result) {
        const LifecycleOutcome outcome = outcomeOf(result);
        switch (outcome.kind) {
        case LifecycleOutcome::Kind::needsConfirmation:
            // The worktree holds work that would be lost with it: the user decides once more,
            // and may stop there.
            endDeletingAll();
            return pageparts::confirm(this, tr("Delete Permanently?"), outcome.message, tr("Delete Permanently"),
                                      [this, id, next] { deleteRecord(id, true, next); });
        case LifecycleOutcome::Kind::failed:
            endDeletingAll();
            return pageparts::inform(this, tr("Cannot Delete"), outcome.message);
        case LifecycleOutcome::Kind::busy:
            endDeletingAll();
            return;
        case LifecycleOutcome::Kind::done:
            scheduleReload();
            if (next)
                next();
            return;
        }
    });
}

void ArchivedRecordsPage::deleteAll()
{
    // Every archived record of the kind, the ones beyond the shown pages too.
    QList<QUuid> ids;
    for (const ArchivedRecord &record : m_kind.load(m_context))
        ids.append(record.id);
    m_deletingAll = true;
    deleteInTurn(ids);
}

void ArchivedRecordsPage::endDeletingAll()
{
    m_deletingAll = false;
    scheduleReload();
}

void ArchivedRecordsPage::deleteInTurn(QList<QUuid> ids)
{
    // One at a time: each removal may ask about its worktree, and a refusal stops the rest.
    if (ids.isEmpty()) {
        endDeletingAll();
        return;
    }
    const QUuid id = ids.takeFirst();
    deleteRecord(id, false, [this, ids] { deleteInTurn(ids); });
}

} // namespace corvane
