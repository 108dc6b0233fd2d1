#include "shell/import/ImportPreviewWindow.h"

#include "accounts/import/ImportService.h"
#include "core/MainThread.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace corvane {

namespace {

QString roleLabel(const Message &message)
{
    switch (message.role) {
    case MessageRole::user: return ImportPreviewWindow::tr("You");
    case MessageRole::assistant: return ImportPreviewWindow::tr("Assistant");
    case MessageRole::tool: return ImportPreviewWindow::tr("Tool");
    default: return ImportPreviewWindow::tr("Note");
    }
}

} // namespace

ImportPreviewWindow::ImportPreviewWindow(const ImportableSession &session, QWidget *parent)
    : QWidget(parent, Qt::Window), m_session(session)
{
    setObjectName(QStringLiteral("importPreview"));
    setWindowTitle(session.firstPrompt.left(60));
    resize(640, 560);
    auto *layout = new QVBoxLayout(this);
    auto *title = new QLabel(session.firstPrompt.left(200), this);
    title->setWordWrap(true);
    title->setTextFormat(Qt::PlainText);
    QFont bold = title->font();
    bold.setBold(true);
    title->setFont(bold);
    layout->addWidget(title);

    m_pages = new QStackedWidget(this);
    m_status = new QLabel(tr("Loading messages..."), m_pages);
    m_status->setObjectName(QStringLiteral("previewStatus"));
    m_status->setAlignment(Qt::AlignCenter);
    m_messages = new QListWidget(m_pages);
    m_messages->setObjectName(QStringLiteral("previewMessages"));
    m_messages->setWordWrap(true);
    m_messages->setSelectionMode(QAbstractItemView::NoSelection);
    m_messages->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    m_pages->addWidget(m_status);
    m_pages->addWidget(m_messages);
    layout->addWidget(m_pages, 1);

    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    auto *closeButton = new QPushButton(tr("Close"), this);
    m_import = new QPushButton(tr("Import Session"), this);
    m_import->setObjectName(QStringLiteral("previewImport"));
    m_import->setDefault(true);
    buttons->addWidget(closeButton);
    buttons->addWidget(m_import);
    layout->addLayout(buttons);
    connect(closeButton, &QPushButton::clicked, this, &QWidget::close);
    connect(m_import, &QPushButton::clicked, this, [this] {
        emit importRequested(m_session);
        close();
    });

    runInBackground(this, [session] { return ImportService::parseMessages(session); },
                    [this](const Result<QList<Message>> &messages) {
        m_loading = false;
        if (!messages) {
            m_status->setText(messages.error().message);
        } else if (messages->isEmpty()) {
            m_status->setText(tr("No messages found"));
        } else {
            for (const Message &message : *messages) {
                auto *item = new QListWidgetItem(roleLabel(message) + QStringLiteral("\n") + message.content, m_messages);
                if (message.role == MessageRole::tool)
                    item->setForeground(palette().color(QPalette::PlaceholderText));
            }
            m_pages->setCurrentWidget(m_messages);
        }
        emit loaded();
    });
}

} // namespace corvane
