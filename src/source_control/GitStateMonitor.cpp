#include "source_control/GitStateMonitor.h"

#include "core/Log.h"
#include "core/Broadcasts.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sys/inotify.h>

namespace corvane {

namespace {
constexpr const char *Tag = "GitStateMonitor";
// Written in place, replaced by a rename, deleted, or its attributes changed.
constexpr quint32 headMask = IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB | IN_MOVE_SELF | IN_DELETE_SELF;
}

GitStateMonitor::GitStateMonitor(const QString &workingDirectory, NotificationCenter &center, InotifyHub *hub,
                                 QObject *parent)
    : QObject(parent)
    , m_workingDirectory(QDir::cleanPath(workingDirectory))
    , m_center(&center)
    , m_hub(hub ? hub : InotifyHub::shared())
{
    m_rearm.setSingleShot(true);
    m_rearm.setTimerType(Qt::PreciseTimer);
    m_rearm.setInterval(rearmDelay);
    connect(&m_rearm, &QTimer::timeout, this, &GitStateMonitor::rearm);
}

GitStateMonitor::~GitStateMonitor()
{
    stop();
}

QString GitStateMonitor::headPath() const
{
    // In a linked worktree ".git" is a file naming the worktree's own folder in the main
    // repository ("gitdir: /repo/.git/worktrees/name"), where its HEAD lives.
    const QString dotGit = m_workingDirectory + QStringLiteral("/.git");
    if (QFileInfo(dotGit).isFile()) {
        QFile file(dotGit);
        if (file.open(QIODevice::ReadOnly)) {
            const QByteArray line = file.readLine(4096).trimmed();
            if (line.startsWith("gitdir:")) {
                const QString gitDir = QFile::decodeName(line.mid(7).trimmed());
                return QDir(m_workingDirectory).absoluteFilePath(QDir(gitDir).filePath(QStringLiteral("HEAD")));
            }
        }
    }
    return dotGit + QStringLiteral("/HEAD");
}

void GitStateMonitor::start()
{
    stop();
    const QString path = headPath();
    if (!QFileInfo(path).isFile()) {
        logLine(Tag, QStringLiteral("No .git/HEAD found at ") + path);
        return;
    }
    auto subscription = std::make_shared<InotifySubscription>([this](const QList<InotifyEvent> &) { handleEvents(); },
                                                              [this] { handleEvents(); });
    if (!m_hub || m_hub->addWatch(QFile::encodeName(path), headMask, subscription) < 0) {
        logLine(Tag, QStringLiteral("Failed to open ") + path);
        return;
    }
    m_subscription = std::move(subscription);
    m_running = true;
    logLine(Tag, QStringLiteral("Started monitoring ") + path);
}

void GitStateMonitor::stop()
{
    m_rearm.stop();
    m_running = false;
    if (m_subscription && m_hub)
        m_hub->close(m_subscription);
    m_subscription.reset();
}

void GitStateMonitor::handleEvents()
{
    // One read may hold several events of one replacement (attributes, then deletion): one post.
    // The watch is dropped until the re-arm, as the file it followed is gone or about to be.
    if (m_subscription && m_hub)
        m_hub->close(m_subscription);
    m_subscription.reset();
    m_headAtPost = readHead();
    logLine(Tag, QStringLiteral("Git state changed, posting notification"));
    QMetaObject::invokeMethod(this, [this] {
        broadcast::post(*m_center, broadcast::GitStateChanged{m_workingDirectory}, this);
        emit changed();
    }, Qt::QueuedConnection);
    m_rearm.start();
}

void GitStateMonitor::rearm()
{
    start();
    // What changed while no watch was in place is told now rather than at the next change.
    if (isArmed() && readHead() != m_headAtPost)
        handleEvents();
}

QByteArray GitStateMonitor::readHead() const
{
    QFile head(headPath());
    return head.open(QIODevice::ReadOnly) ? head.readAll() : QByteArray();
}

} // namespace corvane
