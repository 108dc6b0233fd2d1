// Starting a run from an issue: the branch a title suggests, which flows a project offers and
// in what order, and the coordinator's first prompt.
#include "automation/RunLaunch.h"

#include <QTest>

using namespace corvane;

class RunLaunchTest : public QObject
{
    Q_OBJECT

private slots:
    void branchSlug_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("slug");
        QTest::newRow("punctuation and a dash") << "Fix: the Login \u2014 page!" << "fix-the-login-page";
        QTest::newRow("only punctuation") << "?!  --" << "";
        QTest::newRow("cut at 48, inside a word") << "Make the sidebar remember its width across restarts please"
                                                  << "make-the-sidebar-remember-its-width-across-resta";
        QTest::newRow("a cut may end on a dash") << QString(47, 'a') + " b" << QString(47, 'a') + "-";
        QTest::newRow("letters beyond ASCII stay") << "Café Übersicht" << "café-übersicht";
    }

    void branchSlug()
    {
        QFETCH(QString, title);
        QFETCH(QString, slug);
        QCOMPARE(runlaunch::branchSlug(title), slug);
    }

    void flowsOfAProject()
    {
        const QUuid mine = QUuid::createUuid();
        auto flow = [](const char *name, std::optional<QUuid> project) {
            auto f = std::make_shared<AutomationFlow>();
            f->name = name;
            f->scopeRaw = project ? "project" : "user";
            f->projectId = project;
            return f;
        };
        const auto offered = runlaunch::flowsFor({flow("quick-fix", {}), flow("other", QUuid::createUuid()),
                                                  flow("ship", mine), flow("Build", {}), flow("audit", mine)},
                                                 mine);
        QStringList names;
        for (const auto &f : offered)
            names << f->name;
        QCOMPARE(names, (QStringList{"audit", "ship", "Build", "quick-fix"}));
    }

    void theLaunchPromptTellsTheProtocol()
    {
        const QString prompt = runlaunch::launchPrompt("build-and-test", {"Add a dark mode", QString("Follow the system.")}, true);
        const QStringList lines = prompt.split('\n');
        QCOMPARE(lines.size(), 32); // 30, and the description with its empty line
        QCOMPARE(lines.first(), QStringLiteral("# Automation: build-and-test"));
        QCOMPARE(lines[3], QStringLiteral("**Add a dark mode**"));
        QCOMPARE(lines[5], QStringLiteral("Follow the system."));
        QCOMPARE(lines[8], QStringLiteral("- Running in an isolated git worktree for this run."));
        QCOMPARE(lines.last(), QStringLiteral("Begin."));
        QVERIFY(!prompt.endsWith('\n'));
        const QString plain = runlaunch::launchPrompt("quick-fix", {"Typo", QString()}, false);
        QCOMPARE(plain.split('\n').size(), 30);
        QVERIFY(plain.contains("\n- Running in the project's current checkout (changes apply in place).\n"));
    }
};

QTEST_GUILESS_MAIN(RunLaunchTest)
#include "tst_run_launch.moc"
