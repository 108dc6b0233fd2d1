// The retention sweep on a real store and real repositories: who goes at which age, the order of
// workspaces and chats, the guard against two sweeps at once, a worktree holding work that is
// never swept, the timer and the settings that start a sweep, and corvane-cli's sweep verb.
#include "GitSandbox.h"
#include "support/CliRun.h"

#include "core/Broadcasts.h"
#include "core/Paths.h"
#include "core/records/Message.h"
#include "core/settings/AppSettings.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "source_control/retention/ArchiveCleanupService.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"

#include <QDir>
#include <QFileInfo>
#include <QSignalSpy>
#include <QTest>

using namespace corvane;
using Kind = SweepCandidate::Kind;

namespace {

const QDateTime kNow(QDate(2026, 6, 15), QTime(12, 0), Qt::UTC);
constexpr qint64 kDay = 86400;

} // namespace

class ArchiveCleanupTest : public QObject
{
    Q_OBJECT

private:
    test::GitSandbox m_sandbox;
    std::shared_ptr<Store> m_store;
    NotificationCenter m_center;
    std::unique_ptr<WorkspaceLifecycleService> m_lifecycle;
    std::unique_ptr<ArchiveCleanupService> m_cleanup;
    ArchiveCleanupService::Retentions m_retentions;
    QUuid m_projectId;

    StoreContext &context() { return m_store->mainContext(); }

    // An archived workspace (archived `age` seconds before now; never dated when negative) and
    // its chats, all archived with it.
    QUuid archivedWorkspace(qint64 age, int chats = 1, const std::optional<QString> &worktree = {})
    {
        Workspace workspace;
        workspace.name = QStringLiteral("ws-%1").arg(age);
        workspace.projectId = m_projectId;
        workspace.statusRaw = QStringLiteral("archived");
        if (age >= 0)
            workspace.archivedAt = kNow.addSecs(-age);
        workspace.usesWorktree = worktree.has_value();
        workspace.worktreePath = worktree;
        context().insert(workspace);
        for (int i = 0; i < chats; ++i) {
            Chat chat;
            chat.name = QStringLiteral("in %1").arg(workspace.name);
            chat.projectId = m_projectId;
            chat.workspaceId = workspace.id;
            chat.statusRaw = workspace.statusRaw;
            chat.archivedAt = workspace.archivedAt;
            context().insert(chat);
        }
        (void)context().save();
        return workspace.id;
    }

    // An archived chat in a live workspace, with `messages` messages.
    QUuid archivedChat(qint64 age, int messages = 0)
    {
        static QUuid liveWorkspace;
        if (!context().get<Workspace>(liveWorkspace)) {
            Workspace workspace;
            workspace.name = QStringLiteral("live");
            workspace.projectId = m_projectId;
            liveWorkspace = context().insert(workspace)->id;
        }
        Chat chat;
        chat.name = QStringLiteral("chat-%1").arg(age);
        chat.projectId = m_projectId;
        chat.workspaceId = liveWorkspace;
        chat.statusRaw = QStringLiteral("archived");
        if (age >= 0)
            chat.archivedAt = kNow.addSecs(-age);
        context().insert(chat);
        for (int i = 0; i < messages; ++i) {
            Message message;
            message.chatId = chat.id;
            message.content = QStringLiteral("message %1").arg(i);
            context().insert(message);
        }
        (void)context().save();
        return chat.id;
    }

    SweepReport sweepNow()
    {
        QSignalSpy finished(m_cleanup.get(), &ArchiveCleanupService::sweepFinished);
        if (!m_cleanup->sweep())
            return {};
        if (!finished.wait(20000))
            return {};
        return finished.first().first().value<SweepReport>();
    }

    static QList<QUuid> ids(const QList<SweepCandidate> &candidates)
    {
        QList<QUuid> out;
        for (const SweepCandidate &c : candidates)
            out << c.id;
        return out;
    }

    template <typename R>
    bool exists(const QUuid &id) { return bool(m_store->newContext()->get<R>(id)); }

private slots:
    void init()
    {
        static int stores = 0;
        m_store = Store::open(m_sandbox.path(QStringLiteral("sweep%1.sqlite").arg(++stores))).value();
        m_lifecycle = std::make_unique<WorkspaceLifecycleService>(m_store->mainContext(), m_center);
        m_retentions = {};
        m_cleanup = std::make_unique<ArchiveCleanupService>(*m_lifecycle, [this] { return m_retentions; }, [] { return kNow; });
        m_projectId = m_lifecycle->createProject(QStringLiteral("p"), m_sandbox.makeRepository(QStringLiteral("repo%1").arg(stores)), {})->id;
        (void)context().save();
    }

    void cleanup()
    {
        m_cleanup.reset();
        m_lifecycle.reset();
        m_store.reset();
    }

    // Strictly "earlier than the cut-off": a record archived exactly 30 days ago waits a sweep.
    void retentionBoundary_data()
    {
        QTest::addColumn<bool>("workspace");
        QTest::addColumn<ArchiveRetention>("retention");
        QTest::addColumn<qint64>("age");
        QTest::addColumn<bool>("deleted");
        for (const bool workspace : {true, false}) {
            const char *kind = workspace ? "workspace" : "chat";
            auto row = [&](const char *name) -> QTestData & { return QTest::addRow("%s %s", kind, name) << workspace; };
            row("29 days, 30") << ArchiveRetention::thirtyDays << 29 * kDay << false;
            row("exactly 30 days, 30") << ArchiveRetention::thirtyDays << 30 * kDay << false;
            row("30 days and a second, 30") << ArchiveRetention::thirtyDays << 30 * kDay + 1 << true;
            row("31 days, 30") << ArchiveRetention::thirtyDays << 31 * kDay << true;
            row("59 days, 60") << ArchiveRetention::sixtyDays << 59 * kDay << false;
            row("61 days, 60") << ArchiveRetention::sixtyDays << 61 * kDay << true;
            row("91 days, 90") << ArchiveRetention::ninetyDays << 91 * kDay << true;
            row("3 years, never") << ArchiveRetention::never << 1000 * kDay << false;
        }
    }

    void retentionBoundary()
    {
        QFETCH(bool, workspace);
        QFETCH(ArchiveRetention, retention);
        QFETCH(qint64, age);
        QFETCH(bool, deleted);
        // The other kind's setting is the opposite extreme, so it cannot be what decides.
        if (workspace)
            m_retentions = {ArchiveRetention::thirtyDays, retention};
        else
            m_retentions = {retention, ArchiveRetention::never};
        const QUuid id = workspace ? archivedWorkspace(age) : archivedChat(age);
        const QList<QUuid> planned = ids(workspace ? m_cleanup->plan().workspaces : m_cleanup->plan().chats);
        QCOMPARE(planned.contains(id), deleted);
        const SweepReport report = sweepNow();
        QCOMPARE(ids(report.deleted).contains(id), deleted);
        QCOMPARE(workspace ? exists<Workspace>(id) : exists<Chat>(id), !deleted);
    }

    // Records archived by older data get today's date and a fresh retention period; with both
    // settings at never that is all a sweep does.
    void neverOnlyBackfills()
    {
        m_retentions = {ArchiveRetention::never, ArchiveRetention::never};
        const QUuid undatedWorkspace = archivedWorkspace(-1, 2);
        const QUuid undatedChat = archivedChat(-1);
        const QUuid old = archivedChat(400 * kDay);
        const SweepReport report = sweepNow();
        QCOMPARE(report.backfilled, 4); // the workspace, its two chats, the lone chat
        QVERIFY(report.deleted.isEmpty());
        auto fresh = m_store->newContext();
        QCOMPARE(fresh->get<Workspace>(undatedWorkspace)->archivedAt, std::optional<QDateTime>(kNow));
        QCOMPARE(fresh->get<Chat>(undatedChat)->archivedAt, std::optional<QDateTime>(kNow));
        QVERIFY(fresh->get<Chat>(old));

        // Dated now, they are not old enough for the next sweep either.
        m_retentions = {ArchiveRetention::thirtyDays, ArchiveRetention::thirtyDays};
        const SweepReport next = sweepNow();
        QCOMPARE(next.backfilled, 0);
        QCOMPARE(ids(next.deleted), QList<QUuid>{old});
    }

    // A workspace's chats go with it and its setting: a short chat retention does not reach
    // into an archived workspace, and a deleted workspace's chats are not handled again.
    void workspacesBeforeChats()
    {
        m_retentions = {ArchiveRetention::thirtyDays, ArchiveRetention::ninetyDays};
        const QUuid kept = archivedWorkspace(45 * kDay, 2);
        const QUuid gone = archivedWorkspace(100 * kDay, 3);
        const QUuid lone = archivedChat(45 * kDay);
        QSignalSpy removed(m_lifecycle.get(), &WorkspaceLifecycleService::recordRemoved);
        const SweepReport report = sweepNow();
        QCOMPARE(ids(report.deleted), (QList<QUuid>{gone, lone}));
        QCOMPARE(report.deleted.first().kind, Kind::workspace);
        QVERIFY(exists<Workspace>(kept));
        QCOMPARE(m_store->newContext()->count<Chat>(where::eq("workspaceId", kept)).value(), 2);
        QCOMPARE(m_store->newContext()->count<Chat>(where::eq("workspaceId", gone)).value(), 0);
        QCOMPARE(removed.size(), 2);
    }

    // A second trigger while a sweep runs (the daily timer, a changed setting) starts nothing.
    void oneSweepAtATime()
    {
        m_retentions = {ArchiveRetention::thirtyDays, ArchiveRetention::thirtyDays};
        const QUuid first = archivedChat(40 * kDay);
        QSignalSpy finished(m_cleanup.get(), &ArchiveCleanupService::sweepFinished);
        QVERIFY(m_cleanup->sweep());
        QVERIFY(m_cleanup->isRunning());
        QVERIFY(!m_cleanup->sweep());
        m_center.post(broadcast::archiveRetentionChanged); // not observed yet: nothing happens
        QVERIFY(finished.wait(20000));
        QTest::qWait(50);
        QCOMPARE(finished.size(), 1);
        QVERIFY(!m_cleanup->isRunning());
        QVERIFY(!exists<Chat>(first));
        QVERIFY(m_cleanup->sweep()); // free again
        QVERIFY(finished.wait(20000));
    }

    // Thousands of chats with their messages go in batches off the main thread; each one's
    // session is ended and its removal announced, as a single deletion does.
    void manyChatsInBatches()
    {
        m_retentions = {ArchiveRetention::thirtyDays, ArchiveRetention::never};
        const int count = ArchiveCleanupService::kBatchSize * 2 + 7;
        for (int i = 0; i < count; ++i)
            archivedChat(40 * kDay, 2);
        const QUuid young = archivedChat(2 * kDay, 2);
        QList<QUuid> ended;
        m_lifecycle->setSessionCloser([&ended](const QUuid &id) { ended << id; });
        QSignalSpy changed(m_lifecycle.get(), &WorkspaceLifecycleService::recordsChanged);
        const SweepReport report = sweepNow();
        QCOMPARE(report.deleted.size(), count);
        QCOMPARE(ended.size(), count);
        QVERIFY(changed.size() >= 1);
        auto fresh = m_store->newContext();
        QCOMPARE(fresh->count<Chat>(where::eq("statusRaw", QStringLiteral("archived"))).value(), 1);
        QCOMPARE(fresh->count<Message>().value(), 2); // the young chat's; the rest went by cascade
        QVERIFY(fresh->get<Chat>(young));
    }

    // A worktree with uncommitted work is never removed by a sweep: the record stays, and so do
    // the folder and the file. A clean worktree of the same age goes with its record.
    void worktreeWithWorkIsKept()
    {
        m_retentions = {ArchiveRetention::thirtyDays, ArchiveRetention::thirtyDays};
        // A clone, so that "nothing unpushed" has an upstream to be measured against.
        const QString repo = m_sandbox.makeClone(QStringLiteral("clone-%1").arg(QUuid::createUuid().toString(QUuid::Id128)));
        m_projectId = m_lifecycle->createProject(QStringLiteral("clone"), repo, {})->id;
        (void)context().save();
        const QString dirty = paths::worktreesRoot() + QStringLiteral("/DIRTY-%1").arg(QUuid::createUuid().toString(QUuid::WithoutBraces));
        const QString clean = paths::worktreesRoot() + QStringLiteral("/CLEAN-%1").arg(QUuid::createUuid().toString(QUuid::WithoutBraces));
        QDir().mkpath(paths::worktreesRoot());
        m_sandbox.git(repo, {"worktree", "add", "--track", "-b", "dirty", dirty, "origin/main"});
        m_sandbox.git(repo, {"worktree", "add", "--track", "-b", "clean", clean, "origin/main"});
        m_sandbox.write(dirty + "/draft.txt", "half a thought\n");
        const QUuid dirtyId = archivedWorkspace(40 * kDay, 1, dirty);
        const QUuid cleanId = archivedWorkspace(40 * kDay, 1, clean);

        const SweepReport report = sweepNow();
        QCOMPARE(ids(report.deleted), QList<QUuid>{cleanId});
        QCOMPARE(report.skipped.size(), 1);
        QCOMPARE(report.skipped.first().first.id, dirtyId);
        QVERIFY2(report.skipped.first().second.contains("work that would be lost"), qPrintable(report.skipped.first().second));
        QVERIFY(exists<Workspace>(dirtyId));
        QCOMPARE(QFile(dirty + "/draft.txt").exists(), true);
        QFile draft(dirty + "/draft.txt");
        QVERIFY(draft.open(QIODevice::ReadOnly));
        QCOMPARE(draft.readAll(), QByteArray("half a thought\n"));
        QVERIFY(QString::fromUtf8(m_sandbox.git(repo, {"worktree", "list"})).contains(dirty));
        QVERIFY(!QFileInfo::exists(clean));
        QVERIFY(!exists<Workspace>(cleanId));
    }

    // Started, the service sweeps after its first delay, again after each interval, and at
    // once when a retention setting changes.
    void timerAndSettingsStartSweeps()
    {
        PreferencesStore preferences(m_sandbox.path(QStringLiteral("prefs-%1.json").arg(QUuid::createUuid().toString(QUuid::Id128))));
        AppSettings settings(preferences, m_center, [] { return SystemUserNames{}; });
        settings.setArchivedChatRetention(ArchiveRetention::ninetyDays);
        auto cleanup = std::make_unique<ArchiveCleanupService>(
            *m_lifecycle,
            [&settings] {
                return ArchiveCleanupService::Retentions{settings.archivedChatRetention(), settings.archivedWorkspaceRetention()};
            },
            [] { return kNow; });
        QSignalSpy finished(cleanup.get(), &ArchiveCleanupService::sweepFinished);
        cleanup->setDelays(std::chrono::milliseconds(100), std::chrono::milliseconds(300));
        cleanup->start(m_center);
        QVERIFY(finished.wait(5000));
        QVERIFY(finished.wait(5000)); // the interval
        const QUuid chat = archivedChat(40 * kDay);

        // 90 days to 30: no waiting for the next interval.
        cleanup->setDelays(std::chrono::hours(1), std::chrono::hours(24));
        cleanup->start(m_center);
        finished.clear();
        settings.setArchivedChatRetention(ArchiveRetention::thirtyDays);
        QVERIFY(finished.wait(5000));
        QCOMPARE(ids(finished.last().first().value<SweepReport>().deleted), QList<QUuid>{chat});

        cleanup->stop();
        finished.clear();
        settings.setArchivedChatRetention(ArchiveRetention::sixtyDays);
        QVERIFY(!finished.wait(300));
    }

    // The verb prints what would go without touching anything, then sweeps for real.
    void cliDryRunThenSweep()
    {
        // The program reads the window's store and settings.
        QDir().mkpath(QFileInfo(paths::storeFile()).absolutePath());
        auto store = Store::open(paths::storeFile()).value();
        StoreContext &ctx = store->mainContext();
        const QDateTime now = QDateTime::currentDateTimeUtc();
        Chat old;
        old.name = QStringLiteral("forty days");
        old.statusRaw = QStringLiteral("archived");
        old.archivedAt = now.addSecs(-40 * kDay);
        Chat recent = old;
        recent.id = QUuid::createUuid();
        recent.name = QStringLiteral("ten days");
        recent.archivedAt = now.addSecs(-10 * kDay);
        ctx.insert(old);
        ctx.insert(recent);
        QVERIFY(ctx.save());
        const QString oldId = old.id.toString(QUuid::WithoutBraces);
        const QString cli = QStringLiteral(CORVANE_CLI_PATH);

        const test::CliRun dry = test::runCli(cli, {"sweep", "--dry-run"});
        QVERIFY2(dry.exitCode == 0, qPrintable(dry.err));
        const QStringList lines = dry.out.trimmed().split(u'\n');
        QCOMPARE(lines.size(), 2);
        QCOMPARE(lines[0], QStringList({"chat", oldId, "forty days", old.archivedAt->toString(Qt::ISODate)}).join(u'\t'));
        QCOMPARE(lines[1], QStringLiteral("total\t1 record would be deleted (0 workspaces, 1 chat)"));
        QVERIFY(store->newContext()->get<Chat>(old.id));

        const test::CliRun swept = test::runCli(cli, {"sweep"});
        QVERIFY2(swept.exitCode == 0, qPrintable(swept.err));
        QVERIFY2(swept.out.startsWith("deleted\tchat\t" + oldId + "\t"), qPrintable(swept.out));
        QVERIFY(swept.out.trimmed().endsWith("total\t1 deleted, 0 kept"));
        QVERIFY(!store->newContext()->get<Chat>(old.id));
        QVERIFY(store->newContext()->get<Chat>(recent.id));

        QCOMPARE(test::runCli(cli, {"sweep", "--now"}).exitCode, 2);
        QCOMPARE(test::runCli(cli, {"sweep", "everything"}).exitCode, 2);
    }
};

QTEST_GUILESS_MAIN(ArchiveCleanupTest)
#include "tst_archive_cleanup.moc"
