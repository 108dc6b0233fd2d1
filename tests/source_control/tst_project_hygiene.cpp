// The hygiene figures' pure parts: du's size text, the colour bands and the health word, npm's
// report, /proc's stat line, which processes count as lingering, and where memory files are found.
#include "source_control/overview/HygieneParsers.h"
#include "source_control/overview/HygieneRules.h"
#include "source_control/overview/MemoryFiles.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QTest>

using namespace corvane;
using namespace corvane::hygiene;

Q_DECLARE_METATYPE(std::optional<qint64>)
Q_DECLARE_METATYPE(corvane::HygieneColor)

namespace {

void write(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(path.section(QLatin1Char('/'), 0, -2));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

ProcessSnapshot process(qint64 pid, qint64 ppid, qint64 pgrp, const QString &cwd, const QString &comm = QStringLiteral("node"))
{
    return ProcessSnapshot{ProcStat{pid, comm, ppid, pgrp, quint64(pid) * 10}, cwd, comm + QStringLiteral(" server.js")};
}

} // namespace

class ProjectHygieneTest : public QObject
{
    Q_OBJECT

private slots:
    void diskUsage_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<std::optional<qint64>>("bytes");
        QTest::addColumn<HygieneColor>("color");
        QTest::newRow("du's 12M") << "12M" << std::optional<qint64>(12582912) << HygieneColor::green;
        QTest::newRow("exactly 100M is green") << "100M" << std::optional<qint64>(104857600) << HygieneColor::green;
        QTest::newRow("just over 100M") << "101M" << std::optional<qint64>(105906176) << HygieneColor::yellow;
        QTest::newRow("exactly 1G is yellow") << "1G" << std::optional<qint64>(1073741824) << HygieneColor::yellow;
        QTest::newRow("fractions, truncated") << "1.5G" << std::optional<qint64>(1610612736) << HygieneColor::red;
        QTest::newRow("terabytes") << " 2T " << std::optional<qint64>(2199023255552) << HygieneColor::red;
        QTest::newRow("kilobytes") << "4.0K" << std::optional<qint64>(4096) << HygieneColor::green;
        QTest::newRow("a bare number") << "0" << std::optional<qint64>(0) << HygieneColor::green;
        QTest::newRow("an unknown unit keeps the number") << "12X" << std::optional<qint64>(12) << HygieneColor::green;
        QTest::newRow("placeholder") << "..." << std::optional<qint64>() << HygieneColor::green;
        QTest::newRow("empty") << "" << std::optional<qint64>() << HygieneColor::green;
        QTest::newRow("no number") << "abcM" << std::optional<qint64>() << HygieneColor::green;
    }
    void diskUsage()
    {
        QFETCH(QString, text);
        QFETCH(std::optional<qint64>, bytes);
        QFETCH(HygieneColor, color);
        QCOMPARE(diskUsageBytes(text), bytes);
        QCOMPARE(diskUsageColor(text), color);
    }

    void countBands_data()
    {
        QTest::addColumn<int>("figure");
        QTest::addColumn<std::optional<qint64>>("count");
        QTest::addColumn<HygieneColor>("color");
        enum { stash, uncommitted, stale, lingering, outdated, orphan };
        const auto row = [](const char *name, int figure, std::optional<qint64> count, HygieneColor color) {
            QTest::newRow(name) << figure << count << color;
        };
        row("no stashes measured", stash, std::nullopt, HygieneColor::green);
        row("no stashes", stash, 0, HygieneColor::green);
        row("one stash", stash, 1, HygieneColor::yellow);
        row("three stashes", stash, 3, HygieneColor::yellow);
        row("four stashes", stash, 4, HygieneColor::red);
        row("five uncommitted", uncommitted, 5, HygieneColor::yellow);
        row("six uncommitted", uncommitted, 6, HygieneColor::red);
        row("three stale", stale, 3, HygieneColor::yellow);
        row("four stale", stale, 4, HygieneColor::red);
        row("no lingering", lingering, 0, HygieneColor::green);
        row("one lingering", lingering, 1, HygieneColor::red);
        row("no package.json", outdated, std::nullopt, HygieneColor::green);
        row("five outdated", outdated, 5, HygieneColor::yellow);
        row("six outdated", outdated, 6, HygieneColor::red);
        row("many orphan worktrees stay yellow", orphan, 12, HygieneColor::yellow);
    }
    void countBands()
    {
        QFETCH(int, figure);
        QFETCH(std::optional<qint64>, count);
        QFETCH(HygieneColor, color);
        HygieneColor (*const rules[])(std::optional<qint64>) = {stashColor, uncommittedColor, staleBranchColor,
                                                                lingeringColor, outdatedColor, orphanWorktreeColor};
        QCOMPARE(rules[figure](count), color);
    }

    void healthWord()
    {
        QCOMPARE(hygiene::healthWord(std::nullopt), QStringLiteral("..."));
        QCOMPARE(hygiene::healthWord(summary({HygieneColor::green, HygieneColor::green})), QStringLiteral("Good"));
        QCOMPARE(hygiene::healthWord(summary({HygieneColor::yellow, HygieneColor::green})), QStringLiteral("Fair"));
        // One lingering process is enough for the whole project to read poorly.
        QCOMPARE(hygiene::healthWord(summary({HygieneColor::green, HygieneColor::yellow, lingeringColor(1)})),
                 QStringLiteral("Poor"));
    }

    void freshness()
    {
        const QDateTime now = QDateTime::currentDateTime();
        QVERIFY(!isFresh(std::nullopt, now));
        QVERIFY(isFresh(now.addSecs(-599), now));
        QVERIFY(!isFresh(now.addSecs(-600), now));
        QVERIFY(!isFresh(now.addSecs(120), now)); // a clock that went back: measure again
    }

    void duTotal()
    {
        QCOMPARE(parseDuTotal("12M\t/path\n"), std::optional<QString>("12M"));
        QCOMPARE(parseDuTotal("12M\t/a\n3.1G\t/b\n3.2G\ttotal\n"), std::optional<QString>("3.2G"));
        QCOMPARE(parseDuTotal(""), std::optional<QString>());
    }

    void npmOutdated()
    {
        // npm exits 1 here, which says nothing: the JSON does.
        const auto report = parseNpmOutdated("{\"zod\":{\"current\":\"3.1.0\",\"wanted\":\"3.1.0\",\"latest\":\"3.23.8\"},"
            "\"left-pad\":{\"current\":\"1.0.0\",\"latest\":\"1.3.0\"},"
            "\"missing\":{\"wanted\":\"2.0.0\",\"latest\":\"2.0.0\"}, \"odd\":\"x\"}");
        QVERIFY(report);
        QCOMPARE(report->outdatedCount, 2);
        QCOMPARE(report->details[0].name, QStringLiteral("left-pad"));
        QCOMPARE(report->details[1].latest, QStringLiteral("3.23.8"));
        QCOMPARE(report->packageManager, QStringLiteral("npm"));

        QCOMPARE(parseNpmOutdated("{}")->outdatedCount, 0);
        QCOMPARE(parseNpmOutdated("npm WARN something")->outdatedCount, 0);
        const auto failed = parseNpmOutdated("{\"error\":{\"code\":\"ECONNREFUSED\",\"summary\":\"request to http:\x2f/127.0.0.1:9/zod failed\\nmore\"}}");
        QVERIFY(!failed);
        QCOMPARE(failed.error().message, QStringLiteral("npm outdated failed: request to http://127.0.0.1:9/zod failed"));
    }

    void procStat()
    {
        const QByteArray line = "4242 (a (b) c) S 17 4242 4242 0 -1 4194304 100 0 0 0 1 2 0 0 20 0 1 0 987654 1000 100";
        const auto stat = parseProcStat(line);
        QVERIFY(stat);
        QCOMPARE(stat->pid, 4242);
        QCOMPARE(stat->comm, QStringLiteral("a (b) c"));
        QCOMPARE(stat->ppid, 17);
        QCOMPARE(stat->pgrp, 4242);
        QCOMPARE(stat->startTicks, 987654ULL);
        QVERIFY(!parseProcStat("4242 (short) S 1 2"));
        QVERIFY(!parseProcStat("garbage"));
    }

    void lingering()
    {
        const qint64 own = 100;
        const QList<ProcessSnapshot> table{
            process(50, 1, 50, "/p/app", "bash"), // the shell that started us, waiting for us
            process(own, 50, own, "/p/app", "corvane"),
            process(200, own, 200, "/p/app", "claude"), // an agent: leads its own group under us
            process(201, 200, 200, "/p/app/web"), // what the agent started
            process(300, own, own, "/p/app"), // our child in our own group: not run by the wrapper
            process(400, 1, 400, "/p/app/web"), // left behind by a closed terminal
            process(401, 1, 401, "/p/application"), // another project whose name starts the same
            process(402, 1, 402, "/wt/feature"), // in a worktree
            process(403, 1, 403, ""), // cwd hidden from us
        };
        const QList<ZombieProcess> found = lingeringProcesses(table, {"/p/app", "/wt/feature"}, own);
        QList<qint64> pids;
        for (const ZombieProcess &p : found)
            pids << p.id;
        QCOMPARE(pids, (QList<qint64>{300, 400, 402}));
        QCOMPARE(found[1].command, QStringLiteral("node server.js"));
        QCOMPARE(found[1].startTicks, 4000ULL);
    }

    void memoryFiles()
    {
        QVERIFY(memoryfiles::autoDirectory("/a/b", "/home/u").endsWith(".claude/projects/-a-b/memory"));

        test::TestEnvironment environment;
        const QString home = environment.path("home");
        const QString project = environment.path("proj");
        const QString autoDir = memoryfiles::autoDirectory(project, home);
        write(project + "/CLAUDE.md", "# Rules\nline two\nline three\nline four\n");
        write(project + "/.claude/CLAUDE.md", "nested");
        write(project + "/AGENTS.md", "\xff\xfe not UTF-8");
        write(home + "/.claude/CLAUDE.md", QByteArray(300, 'g'));
        write(autoDir + "/notes.md", "auto note");
        write(autoDir + "/MEMORY.md", "memory");
        write(autoDir + "/skip.txt", "not markdown");
        const QList<MemoryFileInfo> files = memoryfiles::load(project, home);
        QStringList names;
        for (const MemoryFileInfo &f : files)
            names << f.name + "@" + QString::number(int(f.source));
        QCOMPARE(names, (QStringList{"CLAUDE.md@0", ".claude/CLAUDE.md@0", "CLAUDE.md@2", "MEMORY.md@1", "notes.md@1"}));
        QCOMPARE(files[0].preview, QStringLiteral("# Rules line two line three"));
        QCOMPARE(files[2].preview.size(), 200);
    }
};

QTEST_GUILESS_MAIN(ProjectHygieneTest)
#include "tst_project_hygiene.moc"
