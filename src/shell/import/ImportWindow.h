#pragma once

#include "accounts/import/ImportWindowViewModel.h"

#include <QWidget>

class QComboBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QStackedWidget;
class QTreeWidget;
class QTreeWidgetItem;

namespace corvane {

class ImportPreviewWindow;

// One project's "Import Sessions" window: the session logs found for its folder, grouped by
// date, with search, date and model filters, a selection circle per row, a preview, and the
// import with its progress. It draws ImportWindowViewModel, which decides.
class ImportWindow : public QWidget
{
    Q_OBJECT

public:
    ImportWindow(std::shared_ptr<Store> store, const QUuid &projectId, ImportRoots roots, QWidget *parent);

    // The project's window among `parent`'s children, brought forward, or a new one (`created`
    // says which): there is at most one per project.
    static ImportWindow *openFor(std::shared_ptr<Store> store, const QUuid &projectId, ImportRoots roots, QWidget *parent,
                                 bool *created = nullptr);

    ImportWindowViewModel &model() { return *m_model; }
    QTreeWidget *list() const { return m_list; }
    QLineEdit *searchField() const { return m_search; }
    QComboBox *dateFilter() const { return m_dates; }
    QComboBox *modelFilter() const { return m_models; }
    QPushButton *selectAllButton() const { return m_selectAll; }
    QPushButton *importButton() const { return m_import; }
    QPushButton *cancelButton() const { return m_cancel; }
    QLabel *selectedLabel() const { return m_selectedCount; }
    QLabel *progressLabel() const { return m_progressText; }
    QLabel *errorLabel() const { return m_error; }
    QLabel *emptyTitle() const { return m_emptyTitle; }
    QLabel *emptyText() const { return m_emptyText; }
    QLabel *loadingLabel() const { return m_loadingLabel; }
    // The row of a session, for tests; null when it is not shown.
    QTreeWidgetItem *rowOf(const QString &sessionId) const;
    // Opens the preview of a shown session.
    ImportPreviewWindow *preview(const QString &sessionId);

    enum Column { promptColumn, dateColumn, modelColumn, countColumn, previewColumn };

signals:
    // After an import that made workspaces, the first first.
    void workspacesImported(const QList<QUuid> &workspaceIds);

protected:
    void showEvent(QShowEvent *event) override;

private:
    void refresh();
    void rebuildList(const QList<SessionGroup> &groups);
    void updateChecks();
    void updateModels();

    ImportWindowViewModel *m_model;
    QLineEdit *m_search;
    QComboBox *m_dates;
    QComboBox *m_models;
    QStackedWidget *m_pages;
    QLabel *m_loadingLabel;
    QWidget *m_emptyPage;
    QLabel *m_emptyTitle;
    QLabel *m_emptyText;
    QTreeWidget *m_list;
    QPushButton *m_selectAll;
    QLabel *m_selectedCount;
    QLabel *m_progressText;
    QProgressBar *m_progress;
    QLabel *m_error;
    QPushButton *m_cancel;
    QPushButton *m_import;
    QStringList m_shownIds; // the rows the list holds now, to rebuild it only when they change
    QStringList m_shownModels;
    bool m_updating = false;
    bool m_loadedOnce = false;
};

} // namespace corvane
