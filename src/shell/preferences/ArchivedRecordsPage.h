#pragma once

#include "core/settings/SettingsEnums.h"
#include "source_control/GitFuture.h"
#include "source_control/workspaces/ArchivedRecords.h"
#include "source_control/workspaces/WorkspaceTypes.h"

#include <QHash>
#include <QWidget>

#include <functional>

class QComboBox;
class QLabel;
class QPushButton;
class QVBoxLayout;

namespace corvane {

class AppSettings;
class StoreContext;
class WorkspaceLifecycleService;

// A page of archived records of one kind: how long they are kept, and the list, newest first,
// each with Restore and Delete Permanently…, plus Delete All…. The list reloads whenever the
// store changes. The two kinds differ only in what `Kind` says.
class ArchivedRecordsPage : public QWidget
{
    Q_OBJECT

public:
    struct Kind
    {
        QString emptyText;
        std::function<QList<ArchivedRecord>(StoreContext &)> load;
        std::function<ArchiveRetention(const AppSettings &)> retention;
        std::function<void(AppSettings &, ArchiveRetention)> setRetention;
        std::function<LifecycleOutcome(WorkspaceLifecycleService &, const QUuid &)> restore;
        std::function<GitFuture<LifecycleOutcome>(WorkspaceLifecycleService &, const QUuid &, bool confirmed)> remove;
        std::function<QString(const QString &name)> deleteOneTitle;
        QString deleteOneText;
        QString deleteAllTitle;
        std::function<QString(int count)> deleteAllText;
    };

    // Rows drawn at first; "Show More" adds as many again. A long list costs its rows' widgets.
    static constexpr int rowsPerPage = 200;

    // The retention choices, in the picker's order.
    static QString retentionLabel(ArchiveRetention retention);

    QComboBox *retentionBox() const { return m_retention; }
    QPushButton *deleteAllButton() const { return m_deleteAll; }
    QPushButton *showMoreButton() const { return m_showMore; }
    QPushButton *restoreButton(const QUuid &id) const;
    QPushButton *deleteButton(const QUuid &id) const;
    // The ids in the order the list shows them (the first pages of all).
    QList<QUuid> shownIds() const;

    void reload();

protected:
    ArchivedRecordsPage(Kind kind, AppSettings &settings, StoreContext &context, WorkspaceLifecycleService &lifecycle,
                        QWidget *parent);
    void showEvent(QShowEvent *event) override;

private:
    void scheduleReload();
    void restore(const QUuid &id);
    void confirmDelete(const ArchivedRecord &record);
    void deleteRecord(const QUuid &id, bool confirmed, std::function<void()> next = {});
    void deleteAll();
    void deleteInTurn(QList<QUuid> ids);
    void endDeletingAll();
    QWidget *makeRow(const ArchivedRecord &record);

    Kind m_kind;
    AppSettings &m_settings;
    StoreContext &m_context;
    WorkspaceLifecycleService &m_lifecycle;
    QComboBox *m_retention;
    QLabel *m_empty;
    QVBoxLayout *m_rows;
    QPushButton *m_deleteAll;
    QPushButton *m_showMore;
    int m_rowLimit = rowsPerPage;
    int m_total = 0;
    // What the list shows, in order, and each record's row; rows are kept across reloads so a
    // save that changes one record redraws only that one.
    QList<ArchivedRecord> m_shown;
    QHash<QUuid, QWidget *> m_rowWidgets;
    bool m_reloadQueued = false;
    bool m_stale = true;
    bool m_deletingAll = false; // the list is read once at the end, not after each removal
};

} // namespace corvane
