// The serial runner behind GitService, driven with /bin/sh so that each way a command can end
// (exit status, standard error that is empty or not UTF-8, a signal, a program that is missing)
// is produced for real.
#include "source_control/GitCommandQueue.h"

#include <QDeadlineTimer>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace corvane;

namespace {

struct Ran
{
    bool done = false;
    GitCommandOutcome outcome;
};

// Runs one shell script (or `program` with `script` as its one argument) as the queue's only
// operation and waits for it.
GitCommandOutcome runScript(const QString &script, const QByteArray &input = {}, const QString &program = {})
{
    QTemporaryDir dir;
    auto queue = GitCommandQueue::create(dir.path(), program.isEmpty() ? "/bin/sh" : program);
    auto ran = std::make_shared<Ran>();
    const QStringList arguments = program.isEmpty() ? QStringList{"-c", script} : QStringList{script};
    queue->enqueue([queue = queue.get(), ran, arguments, input](const GitCommandQueue::Done &done) {
        queue->execute(arguments, [ran, done](const GitCommandOutcome &outcome) {
            ran->outcome = outcome;
            ran->done = true;
            done();
        }, input);
    });
    QDeadlineTimer deadline(10000);
    QTimer tick;
    tick.start(50);
    while (!ran->done && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return ran->outcome;
}

} // namespace

class GitCommandQueueTest : public QObject
{
    Q_OBJECT

private slots:
    void outcomes_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("message"); // "-" when the command succeeds
        QTest::newRow("success keeps output untrimmed") << "printf ' out \\n'" << QByteArray(" out \n") << 0 << "-";
        QTest::newRow("standard error on success is no failure") << "echo warn >&2; echo ok" << QByteArray("ok\n") << 0 << "-";
        QTest::newRow("failure with trimmed standard error")
            << "printf '\\n  fatal: broken  \\n\\n' >&2; exit 128" << QByteArray() << 128 << "fatal: broken";
        QTest::newRow("failure with empty standard error") << "exit 1" << QByteArray() << 1 << "";
        QTest::newRow("standard error that is not UTF-8") << "printf 'bad \\377\\n' >&2; exit 3" << QByteArray() << 3
                                                          << "Unknown git error";
        QTest::newRow("UTF-8 standard error") << "printf 'fatal: caf\\303\\251' >&2; exit 2" << QByteArray() << 2
                                              << "fatal: caf\u00e9";
        QTest::newRow("ended by a signal") << "kill -9 $$" << QByteArray() << -1 << "git was ended by signal 9";
        QTest::newRow("output before failing is kept") << "echo partial; exit 5" << QByteArray("partial\n") << 5 << "";
    }

    void outcomes()
    {
        QFETCH(QString, script);
        QFETCH(QByteArray, output);
        QFETCH(int, exitCode);
        QFETCH(QString, message);
        const GitCommandOutcome outcome = runScript(script);
        QCOMPARE(outcome.output, output);
        QCOMPARE(outcome.exitCode, exitCode);
        if (message == "-") {
            QVERIFY(outcome.succeeded());
        } else {
            QVERIFY(outcome.failure);
            QCOMPARE(outcome.failure->kind, GitError::Kind::commandFailed);
            QCOMPARE(outcome.failure->exitCode, exitCode);
            QCOMPARE(outcome.failure->message, message);
        }
    }

    void inputReachesTheCommand()
    {
        QCOMPARE(runScript("cat", "protocol=https\n\n").output, QByteArray("protocol=https\n\n"));
        // Without input, standard input is at its end at once: nothing can wait on it.
        QCOMPARE(runScript("cat; echo done").output, QByteArray("done\n"));
    }

    void missingProgramIsALaunchFailure()
    {
        const GitCommandOutcome outcome = runScript("status", {}, "/nonexistent/no-such-git");
        QVERIFY(outcome.failure);
        QCOMPARE(outcome.failure->kind, GitError::Kind::launchFailed);
        QVERIFY2(outcome.failure->message.contains("no-such-git"), qPrintable(outcome.failure->message));
    }

    void operationsNeverOverlap()
    {
        QTemporaryDir dir;
        auto queue = GitCommandQueue::create(dir.path(), "/bin/sh");
        QStringList events;
        for (const QString name : {"a", "b", "c"}) {
            // Each operation runs two commands; the next operation must wait for both.
            queue->enqueue([q = queue.get(), &events, name](const GitCommandQueue::Done &done) {
                events << name + " start";
                q->execute({"-c", "sleep 0.05"}, [q, &events, name, done](const GitCommandOutcome &) {
                    q->execute({"-c", "sleep 0.05"}, [&events, name, done](const GitCommandOutcome &) {
                        events << name + " end";
                        done();
                    });
                });
            });
        }
        QCOMPARE(queue->pendingCount(), 3);
        QTRY_COMPARE(events.size(), 6);
        QCOMPARE(events, QStringList({"a start", "a end", "b start", "b end", "c start", "c end"}));
        QCOMPARE(queue->pendingCount(), 0);
    }

    void operationThatEndsAtOnceLetsTheNextRun()
    {
        QTemporaryDir dir;
        auto queue = GitCommandQueue::create(dir.path(), "/bin/sh");
        int ran = 0;
        for (int i = 0; i < 1000; ++i)
            queue->enqueue([&ran](const GitCommandQueue::Done &done) { ++ran; done(); });
        QCOMPARE(ran, 1000);
        QCOMPARE(queue->pendingCount(), 0);
    }

    void queueOutlivesItsLastHandle()
    {
        QTemporaryDir dir;
        bool done = false;
        {
            auto queue = GitCommandQueue::create(dir.path(), "/bin/sh");
            queue->enqueue([q = queue.get(), &done](const GitCommandQueue::Done &finish) {
                q->execute({"-c", "sleep 0.1; echo late"}, [&done, finish](const GitCommandOutcome &outcome) {
                    done = outcome.output == "late\n";
                    finish();
                });
            });
        }
        QTRY_VERIFY(done);
    }
};

QTEST_GUILESS_MAIN(GitCommandQueueTest)
#include "tst_git_command_queue.moc"
