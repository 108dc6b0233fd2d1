// Quality gates through the real /bin/sh: order, required and optional, exit codes, feedback,
// launch failures, the output tail, and a time-out that ends the gate's whole process group.
#include "automation/QualityGateRunner.h"

#include "core/records/GateResult.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QSignalSpy>
#include <QTest>

#include <csignal>

using namespace corvane;

namespace {

QualityGate gate(const QString &name, const QString &command, qint64 order = 0, bool required = true)
{
    QualityGate g;
    g.name = name;
    g.command = command;
    g.order = order;
    g.isRequired = required;
    g.feedbackTemplate = QStringLiteral("{name} failed with {exitCode}:\n{output}");
    return g;
}

// "name:passed:exitCode" for each result, in the order they ran.
QStringList summary(const GateRunResult &result)
{
    QStringList out;
    for (const GateResult &r : result.results)
        out << QStringLiteral("%1:%2:%3").arg(r.gateName).arg(r.passed ? "pass" : "fail").arg(r.exitCode);
    return out;
}

} // namespace

using Gates = QList<QualityGate>;
Q_DECLARE_METATYPE(Gates)

class QualityGateRunnerTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<test::TestEnvironment> m_env;
    std::shared_ptr<Store> m_store;

    GateRunResult run(const Gates &gates, const QString &folder = {})
    {
        QualityGateRunner runner(m_store->mainContext());
        QSignalSpy done(&runner, &QualityGateRunner::finished);
        if (!runner.runGates(gates, std::nullopt, 2, folder.isEmpty() ? m_env->root() : folder) || !done.wait(20000))
            return {};
        return done.first().first().value<GateRunResult>();
    }

private slots:
    void init()
    {
        m_env = std::make_unique<test::TestEnvironment>();
        m_store = Store::open(m_env->path("gates.store")).value();
    }
    void cleanup()
    {
        m_store.reset();
        m_env.reset();
    }

    void validation_data()
    {
        QTest::addColumn<Gates>("gates");
        QTest::addColumn<QStringList>("ran");
        QTest::addColumn<bool>("allPassed");

        QualityGate off = gate("lint", "exit 1");
        off.isEnabled = false;
        QTest::newRow("every gate disabled: passes, nothing ran") << Gates{off} << QStringList() << true;
        QTest::newRow("in their order, whatever the list's")
            << Gates{gate("test", "true", 2), gate("build", "true", 1)} << QStringList{"build:pass:0", "test:pass:0"} << true;
        QTest::newRow("a failing optional gate does not stop a required one")
            << Gates{gate("style", "exit 4", 0, false), gate("test", "true", 1)} << QStringList{"style:fail:4", "test:pass:0"}
            << true;
        QTest::newRow("the first failing required gate stops the rest")
            << Gates{gate("build", "echo broken >&2; exit 2", 0), gate("test", "true", 1)} << QStringList{"build:fail:2"}
            << false;
        QualityGate three = gate("odd", "exit 3");
        three.successExitCode = 3;
        QualityGate zero = gate("strict", "exit 0", 1);
        zero.successExitCode = 3;
        QTest::newRow("a success code of 3: 3 passes, 0 fails") << Gates{three, zero} << QStringList{"odd:pass:3", "strict:fail:0"}
                                                                << false;
        QualityGate gone = gate("moved", "true");
        gone.workingDirOverride = QStringLiteral("/no/such/folder");
        QTest::newRow("a working folder that is gone cannot launch") << Gates{gone} << QStringList{"moved:fail:-1"} << false;
    }

    void validation()
    {
        QFETCH(Gates, gates);
        QFETCH(QStringList, ran);
        QFETCH(bool, allPassed);
        const GateRunResult result = run(gates);
        QCOMPARE(summary(result), ran);
        QCOMPARE(result.allPassed(), allPassed);
        QCOMPARE(result.feedback.has_value(), !allPassed);
        // Each result is in the store, with its iteration.
        const auto stored = m_store->mainContext().fetchOrEmpty<GateResult>();
        QCOMPARE(stored.size(), ran.size());
        for (const auto &r : stored)
            QCOMPARE(r->iterationNumber, 2);
    }

    void feedbackIsTheFilledTemplate()
    {
        QualityGate failing = gate("{output}", "printf 'expected 2, got 3'; exit 1");
        failing.feedbackTemplate = QStringLiteral("{name} exited {exitCode}. {output} / {output}");
        const GateRunResult result = run({failing});
        // The name is filled first, so a name holding "{output}" gets the output too.
        QCOMPARE(*result.feedback, QStringLiteral("expected 2, got 3 exited 1. expected 2, got 3 / expected 2, got 3"));
        failing.feedbackTemplate.clear();
        QCOMPARE(run({failing}).feedback, std::optional<QString>(QString()));
        QualityGate gone = gate("moved", "true");
        gone.workingDirOverride = QStringLiteral("/no/such/folder");
        QVERIFY(run({gone}).results.first().outputTail.startsWith("Failed to launch gate 'moved': "));
    }

    void runsInTheWorkspaceUnlessTold()
    {
        const QString workspace = m_env->path("workspace");
        QDir().mkpath(workspace + "/sub");
        QualityGate here = gate("here", "pwd; exit 1");
        here.workingDirOverride = QString();
        QCOMPARE(run({here}, workspace).results.first().outputTail.trimmed(), workspace);
        here.workingDirOverride = workspace + "/sub";
        QCOMPARE(run({here}, workspace).results.first().outputTail.trimmed(), workspace + "/sub");
    }

    void onlyTheTailOfALongOutputIsKept()
    {
        // 1 MB, standard error mixed in, ending in a line to recognise.
        const GateRunResult result = run({gate("chatty", "head -c 1048576 /dev/zero | tr '\\\\0' x; echo >&2; echo last line; exit 1")});
        const QString tail = result.results.first().outputTail;
        QCOMPARE(tail.size(), GateExecution::tailBytes);
        QVERIFY(tail.endsWith("\nlast line\n"));
    }

    void aBackgroundJobDoesNotHoldTheGate()
    {
        // The shell's exit ends the gate, though the job still holds the output open; the
        // output of both streams reads in the order written.
        const GateRunResult result = run({gate("server", "echo one; echo two >&2; sleep 30 & echo three")});
        QCOMPARE(summary(result), QStringList{"server:pass:0"});
        QCOMPARE(result.results.first().outputTail, QStringLiteral("one\ntwo\nthree\n"));
        QVERIFY(result.results.first().durationSeconds < 10);
    }

    void aTimeOutEndsTheWholeGroup()
    {
        const QString pidFile = m_env->path("sleeper.pid");
        QualityGate slow = gate("slow", QStringLiteral("sleep 600 & echo $! > '%1'; wait").arg(pidFile));
        slow.timeoutSeconds = 1;
        const GateRunResult result = run({slow});
        QCOMPARE(summary(result), QStringList{"slow:fail:143"}); // SIGTERM, as a shell reports it
        QVERIFY(result.results.first().durationSeconds >= 1.0);
        QFile file(pidFile);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const pid_t sleeper = file.readAll().trimmed().toInt();
        QVERIFY(sleeper > 0);
        QTRY_VERIFY_WITH_TIMEOUT(::kill(sleeper, 0) != 0, 3000);
    }
};

QTEST_GUILESS_MAIN(QualityGateRunnerTest)
#include "tst_quality_gate_runner.moc"
