#include "tools/files/FileSystemService.h"

#include <QThread>

namespace corvane {

FileSystemService::FileSystemService(const QString &rootPath, QObject *parent)
    : QObject(parent), m_rootPath(rootPath), m_thread(new QThread), m_worker(new QObject)
{
    m_thread->setObjectName(QStringLiteral("FileSystemService"));
    m_worker->moveToThread(m_thread);
    // Both go once the thread's loop has ended, without anyone waiting for it.
    connect(m_thread, &QThread::finished, m_worker, &QObject::deleteLater);
    connect(m_thread, &QThread::finished, m_thread, &QObject::deleteLater);
    m_thread->start();
}

FileSystemService::~FileSystemService()
{
    // The loop ends after the task it is in; queued tasks go with the worker object.
    m_thread->quit();
}

void FileSystemService::post(std::function<void()> task)
{
    QMetaObject::invokeMethod(m_worker, std::move(task), Qt::QueuedConnection);
}

} // namespace corvane
