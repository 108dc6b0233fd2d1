#pragma once

#include "accounts/import/ImportableSession.h"

#include <QWidget>

class QLabel;
class QListWidget;
class QPushButton;
class QStackedWidget;

namespace corvane {

// The messages of one session log, read-only, as the import would make them; nothing reaches
// the store from here. "Import Session" hands the session back to whoever opened the preview.
class ImportPreviewWindow : public QWidget
{
    Q_OBJECT

public:
    ImportPreviewWindow(const ImportableSession &session, QWidget *parent);

    const ImportableSession &session() const { return m_session; }
    QLabel *statusLabel() const { return m_status; }
    QListWidget *messageList() const { return m_messages; }
    QPushButton *importButton() const { return m_import; }
    bool isLoading() const { return m_loading; }

signals:
    void importRequested(const corvane::ImportableSession &session);
    void loaded();

private:
    ImportableSession m_session;
    QStackedWidget *m_pages;
    QLabel *m_status;
    QListWidget *m_messages;
    QPushButton *m_import;
    bool m_loading = true;
};

} // namespace corvane
