#include "core/process/ChildProcess.h"
#include "core/process/ProcessReaper.h"

#include <QDir>
#include <QFile>
#include <QPointer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace corvane;
using Kind = ChildProcess::ExitKind;

namespace {

const QString App = QStringLiteral(PROCESSTESTAPP);

ProcessCommand helper(const QStringList &arguments)
{
    ProcessCommand command;
    command.program = App;
    command.arguments = arguments;
    return command;
}

// Alive and not a zombie: an orphan that was killed may wait unreaped under a pid 1 that never reaps.
bool isAlive(int pid)
{
    if (::kill(pid, 0) != 0)
        return false;
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return false;
    const QByteArray fields = stat.readAll();
    const qsizetype state = fields.lastIndexOf(')') + 2;
    return state < fields.size() && fields.at(state) != 'Z';
}

// Every live process running our helper: the tests' children and grandchildren.
QList<int> helperProcesses()
{
    QList<int> found;
    const QString app = QFileInfo(App).canonicalFilePath();
    for (const QString &entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
        const int pid = entry.toInt();
        if (pid > 0 && QFile::symLinkTarget(QStringLiteral("/proc/%1/exe").arg(pid)) == app && isAlive(pid))
            found << pid;
    }
    return found;
}

// Everything one ChildProcess emitted, and how much output had come when it finished.
struct Recorder
{
    explicit Recorder(ChildProcess &process)
    {
        QObject::connect(&process, &ChildProcess::stateChanged, [this](ChildProcess::State s) { states << s; });
        QObject::connect(&process, &ChildProcess::lineReady, [this](const QByteArray &line) { lines << line; });
        QObject::connect(&process, &ChildProcess::outputReady, [this](const QByteArray &data) { raw += data; });
        QObject::connect(&process, &ChildProcess::errorOutput, [this](const QByteArray &data) { errors += data; });
        QObject::connect(&process, &ChildProcess::failedToStart, [this](const Error &e) { failures << e.message; });
        QObject::connect(&process, &ChildProcess::finished, [this](int c, Kind k, int s) {
            ++finishedCount;
            code = c, kind = k, signal = s;
            outputAtFinish = lines.size() + raw.size();
        });
    }
    QList<ChildProcess::State> states;
    QByteArrayList lines;
    QByteArray raw, errors;
    QStringList failures;
    int finishedCount = 0, code = -2, signal = -2;
    Kind kind = Kind::Normal;
    qsizetype outputAtFinish = -1;
};

} // namespace

class ChildProcessTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    QString inDir(QString path) const { return path.replace(QLatin1String("%dir%"), m_dir.path()); }

private slots:
    void initTestCase()
    {
        QVERIFY2(QFileInfo(App).isExecutable(), qPrintable(App));
        QVERIFY(helperProcesses().isEmpty());
        QFile plain(m_dir.filePath("plain.txt")), garbage(m_dir.filePath("garbage"));
        QVERIFY(plain.open(QIODevice::WriteOnly) && garbage.open(QIODevice::WriteOnly));
        garbage.write("\x01\x02 not a program");
        garbage.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QVERIFY(QDir(m_dir.path()).mkdir("folder"));
    }

    // A child that outlives its test fails it; it is killed so the next test starts clean.
    void cleanup()
    {
        QList<int> left = helperProcesses();
        for (int i = 0; i < 100 && !left.isEmpty(); ++i) {
            QTest::qWait(20);
            left = helperProcesses();
        }
        QStringList pids;
        for (int pid : left) {
            ::kill(pid, SIGKILL);
            pids << QString::number(pid);
        }
        QVERIFY2(left.isEmpty(), qPrintable("still running after the test: " + pids.join(' ')));
    }

    // Raw rows expect one entry: all the bytes, as they came.
    void deliversOutput_data()
    {
        QTest::addColumn<bool>("raw");
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<int>("maxLineLength");
        QTest::addColumn<QByteArrayList>("expected");
        QByteArrayList many;
        for (int i = 1; i <= 20000; ++i)
            many << "line " + QByteArray::number(i);
        const QByteArray x1000(1000, 'x'), x3m(3000000, 'x');
        QTest::newRow("three lines") << false << QStringList{"lines", "3"} << QByteArray() << 0 << QByteArrayList{"line 1", "line 2", "line 3"};
        QTest::newRow("20000 lines") << false << QStringList{"lines", "20000"} << QByteArray() << 0 << many;
        QTest::newRow("standard input echoed") << false << QStringList{"echo"} << QByteArray("ask\nagain\n") << 0 << QByteArrayList{"ask", "again"};
        QTest::newRow("last line without newline") << false << QStringList{"exit", "0"} << QByteArray() << 0 << QByteArrayList{"first", "last words"};
        QTest::newRow("UTF-8 split inside characters") << false << QStringList{"utf8"} << QByteArray() << 0
                                                       << QByteArrayList{"h\xc3\xa9llo \xe2\x9c\x93 \xf0\x9f\x98\x80"};
        QTest::newRow("\\r\\n endings") << false << QStringList{"crlf"} << QByteArray() << 0 << QByteArrayList{"one", "two", "", "three"};
        QTest::newRow("bytes that are not UTF-8") << false << QStringList{"bytes"} << QByteArray() << 0 << QByteArrayList{QByteArray("\xff\xfe\0\x80 raw", 8)};
        QTest::newRow("3 MB line") << false << QStringList{"huge", "3000000"} << QByteArray() << 0 << QByteArrayList{x3m, "after"};
        QTest::newRow("line at the limit") << false << QStringList{"huge", "1000"} << QByteArray() << 1000 << QByteArrayList{x1000, "after"};
        QTest::newRow("line one byte over the limit") << false << QStringList{"huge", "1001"} << QByteArray() << 1000 << QByteArrayList{"after"};
        QTest::newRow("3 MB line over a 1 MB limit") << false << QStringList{"huge", "3000000"} << QByteArray() << (1 << 20) << QByteArrayList{"after"};
        QTest::newRow("raw: 3 MB line") << true << QStringList{"huge", "3000000"} << QByteArray() << 0 << QByteArrayList{x3m + "\nafter\n"};
        QTest::newRow("raw: \\r\\n kept") << true << QStringList{"crlf"} << QByteArray() << 0 << QByteArrayList{"one\r\ntwo\r\n\r\nthree\r\n"};
        QTest::newRow("raw: no final newline") << true << QStringList{"exit", "0"} << QByteArray() << 0 << QByteArrayList{"first\nlast words"};
    }

    void deliversOutput()
    {
        QFETCH(bool, raw);
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, input);
        QFETCH(int, maxLineLength);
        QFETCH(QByteArrayList, expected);
        ChildProcess process(raw ? ChildProcess::OutputMode::Raw : ChildProcess::OutputMode::Lines);
        if (maxLineLength)
            process.setMaxLineLength(maxLineLength);
        Recorder r(process);
        process.start(helper(arguments));
        QVERIFY(process.write(input)); // while still starting
        process.closeInput();
        QTRY_COMPARE_WITH_TIMEOUT(r.finishedCount, 1, 10000);
        QCOMPARE(raw ? QByteArrayList{r.raw} : r.lines, expected);
        QVERIFY(raw ? r.lines.isEmpty() : r.raw.isEmpty());
        // Nothing came after finished().
        QCOMPARE(r.outputAtFinish, raw ? expected.first().size() : expected.size());
        QCOMPARE(r.kind, Kind::Normal);
    }

    void reportsTheExit_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<Kind>("kind");
        QTest::addColumn<int>("code");
        QTest::addColumn<int>("signal");
        QTest::addColumn<QByteArray>("lastLine");
        QTest::newRow("exit code 0") << QStringList{"exit", "0"} << Kind::Normal << 0 << 0 << QByteArray("last words");
        QTest::newRow("exit code 42") << QStringList{"exit", "42"} << Kind::Normal << 42 << 0 << QByteArray("last words");
        QTest::newRow("abort") << QStringList{"crash"} << Kind::Crashed << -1 << SIGABRT << QByteArray("partial");
    }

    void reportsTheExit()
    {
        QFETCH(QStringList, arguments);
        QFETCH(Kind, kind);
        QFETCH(int, code);
        QFETCH(int, signal);
        QFETCH(QByteArray, lastLine);
        ChildProcess process;
        Recorder r(process);
        process.start(helper(arguments));
        QTRY_COMPARE(r.finishedCount, 1);
        QCOMPARE(r.kind, kind);
        QCOMPARE(r.code, code);
        QCOMPARE(r.signal, signal);
        QCOMPARE(r.lines.last(), lastLine);
        using S = ChildProcess::State;
        QCOMPARE(r.states, (QList<S>{S::Starting, S::Running, S::Finished}));
        QTest::qWait(100);
        QCOMPARE(r.finishedCount, 1);
        QVERIFY(!process.stopRequested());
    }

    void reportsLaunchFailures_data()
    {
        QTest::addColumn<QString>("program");
        QTest::addColumn<QString>("workingDirectory");
        QTest::addColumn<QString>("reason");
        QTest::newRow("missing program") << "/nonexistent/claude" << "" << "No such file or directory";
        QTest::newRow("not in PATH") << "corvane-no-such-tool" << "" << "not found in PATH";
        QTest::newRow("not executable") << "%dir%/plain.txt" << "" << "Permission denied";
        QTest::newRow("a folder") << "%dir%/folder" << "" << "Is a directory";
        QTest::newRow("missing working directory") << App << "/nonexistent/dir" << "working directory /nonexistent/dir does not exist";
        QTest::newRow("not a program at all") << "%dir%/garbage" << "" << "Exec format error";
    }

    void reportsLaunchFailures()
    {
        QFETCH(QString, program);
        QFETCH(QString, workingDirectory);
        QFETCH(QString, reason);
        program = inDir(program);
        ChildProcess process;
        Recorder r(process);
        QSignalSpy failed(&process, &ChildProcess::failedToStart);
        process.start({program, {}, workingDirectory});
        QCOMPARE(failed.size(), 0); // never from inside start()
        QTRY_COMPARE(failed.size(), 1);
        QVERIFY2(r.failures.first().startsWith("Could not start " + program + ": ") && r.failures.first().contains(reason),
                 qPrintable(r.failures.first()));
        QCOMPARE(process.state(), ChildProcess::State::FailedToStart);
        QVERIFY(!process.write("late\n"));
        QTest::qWait(100);
        QCOMPARE(failed.size(), 1);
        QCOMPARE(r.finishedCount, 0);
    }

    void endsTheWholeGroup_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<QString>("action");
        QTest::addColumn<int>("signal");
        QTest::newRow("stop()") << "stay" << "stop" << SIGTERM;
        QTest::newRow("terminate()") << "stay" << "terminate" << SIGTERM;
        QTest::newRow("kill()") << "stay" << "kill" << SIGKILL;
        QTest::newRow("interrupt()") << "stay" << "interrupt" << SIGINT;
        QTest::newRow("destroyed while running") << "stay" << "destroy" << 0;
        QTest::newRow("destroyed after exiting, orphan left") << "leave" << "destroy" << 0;
        QTest::newRow("kill() after exiting, orphan left") << "leave" << "kill" << 0;
    }

    void endsTheWholeGroup()
    {
        QFETCH(QString, mode);
        QFETCH(QString, action);
        QFETCH(int, signal);
        auto process = std::make_unique<ChildProcess>();
        Recorder r(*process);
        process->start(helper({"grandchild", mode}));
        QTRY_VERIFY(!r.lines.isEmpty());
        const int grandchild = r.lines.first().toInt();
        QVERIFY(isAlive(grandchild));
        if (mode == "leave") {
            QTRY_COMPARE(r.finishedCount, 1);
            QVERIFY(isAlive(grandchild));
        }
        if (action == "destroy")
            process.reset();
        else if (action == "stop")
            process->stop(0, 5000);
        else if (action == "terminate")
            QVERIFY(process->terminate());
        else if (action == "kill")
            QVERIFY(process->kill());
        else if (action == "interrupt")
            QVERIFY(process->interrupt());
        if (signal) {
            QTRY_COMPARE(r.finishedCount, 1);
            QCOMPARE(r.kind, Kind::Crashed);
            QCOMPARE(r.signal, signal);
            QCOMPARE(process->stopRequested(), action != "interrupt");
        }
        QTRY_VERIFY(!isAlive(grandchild));
    }

    // Right after start() the child may not have its own group yet: it must be killed all the same.
    void destroyedWhileStarting()
    {
        for (int i = 0; i < 20; ++i) {
            ChildProcess process;
            process.start(helper({"grandchild", "stay"}));
            if (i % 2)
                QTest::qWait(i % 3); // land at different points of the start
        }
    }

    // What agents rely on: SIGINT ends the turn, the child handles it and carries on to a clean exit.
    void interruptReachesTheChildsHandler()
    {
        ChildProcess process;
        Recorder r(process);
        process.start(helper({"sigint"}));
        QTRY_COMPARE(r.lines, QByteArrayList{"ready"});
        QVERIFY(process.interrupt());
        QTRY_COMPARE(r.finishedCount, 1);
        QCOMPARE(r.lines, (QByteArrayList{"ready", "interrupted"}));
        QCOMPARE(r.kind, Kind::Normal);
        QVERIFY(!process.stopRequested());
    }

    void stopEscalates_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<Kind>("kind");
        QTest::addColumn<int>("signal");
        QTest::newRow("ignores SIGTERM: killed") << QStringList{"ignoreterm"} << Kind::Crashed << SIGKILL;
        QTest::newRow("obeys SIGTERM") << QStringList{"sigint"} << Kind::Crashed << SIGTERM;
        QTest::newRow("ends at end of input") << QStringList{"echo"} << Kind::Normal << 0;
    }

    void stopEscalates()
    {
        QFETCH(QStringList, arguments);
        QFETCH(Kind, kind);
        QFETCH(int, signal);
        ChildProcess process;
        Recorder r(process);
        process.start(helper(arguments));
        QTRY_COMPARE(process.state(), ChildProcess::State::Running);
        if (arguments.first() != "echo")
            QTRY_COMPARE(r.lines, QByteArrayList{"ready"}); // its signal handling is in place
        QElapsedTimer elapsed;
        elapsed.start();
        process.stop(100, 300);
        process.stop(10000, 10000); // changes nothing
        QTRY_COMPARE_WITH_TIMEOUT(r.finishedCount, 1, 5000);
        QCOMPARE(r.kind, kind);
        QCOMPARE(r.signal, signal);
        if (signal == SIGKILL)
            QVERIFY2(elapsed.elapsed() >= 400 && elapsed.elapsed() < 5000, qPrintable(QString::number(elapsed.elapsed())));
    }

    // Retired processes end in parallel: one at end of input, one on SIGTERM, one only by SIGKILL.
    // The drain waits for the slowest, bounded by the delays, not by their sum.
    void reaperDrainsInParallel()
    {
        ProcessReaper reaper;
        QList<std::shared_ptr<Recorder>> recorders;
        QElapsedTimer elapsed;
        elapsed.start();
        for (const QString mode : {"echo", "sigint", "ignoreterm", "ignoreterm"}) {
            auto process = std::make_unique<ChildProcess>();
            recorders << std::make_shared<Recorder>(*process);
            process->start(helper({mode}));
            if (mode != "echo")
                QTRY_COMPARE(recorders.last()->lines, QByteArrayList{"ready"});
            reaper.retire(std::move(process), 300, 300);
        }
        QVERIFY(reaper.count() >= 3); // the first may have ended while the others started
        QVERIFY(reaper.drain(5000));
        QCOMPARE(reaper.count(), 0);
        QVERIFY2(elapsed.elapsed() < 3000, qPrintable(QString::number(elapsed.elapsed())));
        QCOMPARE(recorders[0]->kind, Kind::Normal);
        QCOMPARE(recorders[1]->signal, SIGTERM);
        QCOMPARE(recorders[2]->signal, SIGKILL);
        QCOMPARE(recorders[3]->signal, SIGKILL);
        QVERIFY(reaper.drain(10)); // nothing left: at once
    }

    void keepsABoundedErrorTail_data()
    {
        QTest::addColumn<int>("tailSize");
        QTest::addColumn<int>("bytes");
        QTest::newRow("default tail, 100 KB written") << 0 << 100000;
        QTest::newRow("100-byte tail") << 100 << 100000;
        QTest::newRow("less than the tail") << 0 << 1000;
    }

    void keepsABoundedErrorTail()
    {
        QFETCH(int, tailSize);
        QFETCH(int, bytes);
        ChildProcess process;
        if (tailSize)
            process.setErrorTailSize(tailSize);
        Recorder r(process);
        process.start(helper({"stderr", QString::number(bytes)}));
        QTRY_COMPARE(r.finishedCount, 1);
        QCOMPARE(r.errors.size(), bytes + 3);
        const qsizetype kept = qMin<qsizetype>(tailSize ? tailSize : ChildProcess::DefaultErrorTailSize, bytes + 3);
        QCOMPARE(process.errorTail(), r.errors.right(kept));
        // The cut falls inside an "é": the tail's text starts at the next whole character.
        QCOMPARE(process.errorTailText(), QString((kept - 3) / 2, QChar(0xE9)) + "END");
    }

    void outputWaitsForAHandlerThatSpinsTheEventLoop()
    {
        ChildProcess process;
        Recorder r(process);
        bool handlerDone = false, finishedAfterHandler = false;
        connect(&process, &ChildProcess::lineReady, this, [&](const QByteArray &line) {
            if (line == "first") {
                QTest::qWait(300); // like a modal dialog: the child writes more and exits meanwhile
                handlerDone = true;
            }
        });
        connect(&process, &ChildProcess::finished, this, [&] { finishedAfterHandler = handlerDone; });
        process.start(helper({"exit", "0"}));
        QTRY_COMPARE(r.finishedCount, 1);
        QVERIFY(finishedAfterHandler);
        QCOMPARE(r.lines, (QByteArrayList{"first", "last words"}));
    }

    // Owners often drop a process from its own signals; the rest of that delivery must not touch it.
    void mayBeDeletedFromItsOwnSignals_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("signal");
        QTest::newRow("lineReady, more lines queued") << QStringList{"lines", "3"} << "lineReady";
        QTest::newRow("lineReady, still running") << QStringList{"grandchild", "stay"} << "lineReady";
        QTest::newRow("errorOutput") << QStringList{"stderr", "10"} << "errorOutput";
        QTest::newRow("stateChanged to Running") << QStringList{"grandchild", "stay"} << "stateChanged";
        QTest::newRow("finished") << QStringList{"exit", "0"} << "finished";
        QTest::newRow("failedToStart") << QStringList{} << "failedToStart";
    }

    void mayBeDeletedFromItsOwnSignals()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, signal);
        QPointer<ChildProcess> process = new ChildProcess;
        int calls = 0;
        auto drop = [&] { ++calls; delete process.data(); };
        if (signal == "lineReady")
            connect(process, &ChildProcess::lineReady, this, drop);
        else if (signal == "errorOutput")
            connect(process, &ChildProcess::errorOutput, this, drop);
        else if (signal == "stateChanged")
            connect(process, &ChildProcess::stateChanged, this, [&](ChildProcess::State s) { if (s == ChildProcess::State::Running) drop(); });
        else if (signal == "finished")
            connect(process, &ChildProcess::finished, this, drop);
        else
            connect(process, &ChildProcess::failedToStart, this, drop);
        ProcessCommand command = helper(arguments);
        if (arguments.isEmpty())
            command.program = "/nonexistent/tool";
        process->start(command);
        QTRY_VERIFY(!process);
        QTest::qWait(50);
        QCOMPARE(calls, 1);
    }

    void runSyncPassesTheCommandOn_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<QString>("workingDirectory");
        QTest::addColumn<QString>("variable");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("standard input") << QStringList{"echo"} << QByteArray("some input\n") << "" << "" << QByteArray("some input\n");
        QTest::newRow("a variable") << QStringList{"env", "CORVANE_PROBE"} << QByteArray() << "" << "CORVANE_PROBE=probe" << QByteArray("probe");
        QTest::newRow("nothing else inherited") << QStringList{"env", "HOME"} << QByteArray() << "" << "CORVANE_PROBE=probe" << QByteArray("(unset)");
        QTest::newRow("working directory") << QStringList{"pwd"} << QByteArray() << "%dir%/folder" << "" << QByteArray("%dir%/folder");
    }

    void runSyncPassesTheCommandOn()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, input);
        QFETCH(QString, workingDirectory);
        QFETCH(QString, variable);
        QFETCH(QByteArray, expected);
        ProcessCommand command = helper(arguments);
        command.workingDirectory = inDir(workingDirectory);
        if (!variable.isEmpty()) {
            command.environment = QProcessEnvironment();
            command.environment.insert(variable.section('=', 0, 0), variable.section('=', 1));
        }
        const auto completed = ChildProcess::runSync(command, input);
        QVERIFY2(completed.ok(), completed.ok() ? "" : qPrintable(completed.error().message));
        QCOMPARE(completed->output, inDir(QString::fromUtf8(expected)).toUtf8());
        QCOMPARE(completed->exitCode, 0);
    }
};

QTEST_GUILESS_MAIN(ChildProcessTest)
#include "tst_child_process.moc"
