// A project's toolbar actions: their order, and adding, duplicating, deleting and moving them,
// each read back from the store file by a fresh store.
#include "core/records/ProjectActions.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "support/StoreFixture.h"
#include "support/TestEnvironment.h"

#include <QTest>

using namespace corvane;

class ProjectActionsTest : public QObject
{
    Q_OBJECT

private slots:
    void operations_data()
    {
        // Actions "A", "B", ... are stored with the given sortOrder values, each with the script
        // "run <name>"; the expected list is "name|script" in toolbar order.
        QTest::addColumn<QList<int>>("orders");
        QTest::addColumn<QString>("operation");
        QTest::addColumn<QStringList>("expected");
        QTest::addColumn<bool>("numberedFromZero");
        QTest::newRow("sorted, ties as stored") << QList<int>{2, 0, 2, 1} << "none"
                                                << QStringList{"B|run B", "D|run D", "A|run A", "C|run C"} << false;
        QTest::newRow("add at the end") << QList<int>{0, 1} << "add New"
                                        << QStringList{"A|run A", "B|run B", "New|make"} << true;
        QTest::newRow("duplicate") << QList<int>{0, 1, 2} << "duplicate B"
                                   << QStringList{"A|run A", "B|run B", "C|run C", "B Copy|run B"} << true;
        QTest::newRow("duplicate closes gaps") << QList<int>{0, 5, 9} << "duplicate A"
                                               << QStringList{"A|run A", "B|run B", "C|run C", "A Copy|run A"} << true;
        QTest::newRow("delete") << QList<int>{0, 1, 2} << "delete B" << QStringList{"A|run A", "C|run C"} << true;
        QTest::newRow("move down") << QList<int>{0, 1, 2} << "move 0 2" << QStringList{"B|run B", "C|run C", "A|run A"} << true;
        QTest::newRow("move up") << QList<int>{0, 1, 2} << "move 2 0" << QStringList{"C|run C", "A|run A", "B|run B"} << true;
        QTest::newRow("move past the end") << QList<int>{0, 1, 2} << "move 0 9"
                                           << QStringList{"B|run B", "C|run C", "A|run A"} << true;
        QTest::newRow("move from nowhere") << QList<int>{0, 1, 2} << "move 7 0"
                                           << QStringList{"A|run A", "B|run B", "C|run C"} << true;
    }

    void operations()
    {
        QFETCH(QList<int>, orders);
        QFETCH(QString, operation);
        QFETCH(QStringList, expected);
        QFETCH(bool, numberedFromZero);
        test::TestEnvironment env;
        const QString path = env.path(QStringLiteral("actions.store"));
        QUuid projectId;
        {
            auto store = Store::open(path).value();
            StoreContext &ctx = store->mainContext();
            projectId = test::insertPlace(ctx, env.root()).projectId;
            const QUuid otherProject = test::insertPlace(ctx, env.path("other"), {}).projectId;
            QHash<QString, QUuid> ids;
            for (int i = 0; i < orders.size(); ++i) {
                ProjectAction action;
                action.name = QString(QChar('A' + i));
                action.symbolName = QStringLiteral("play.fill");
                action.script = QStringLiteral("run ") + action.name;
                action.sortOrder = orders.at(i);
                action.projectId = projectId;
                ids.insert(action.name, ctx.insert(action)->id);
            }
            projectactions::add(ctx, otherProject, QStringLiteral("Elsewhere"), QStringLiteral("play.fill"), QStringLiteral("x"));
            QVERIFY(ctx.save());
            const QStringList words = operation.split(QLatin1Char(' '));
            if (words.first() == QLatin1String("add"))
                QCOMPARE(projectactions::add(ctx, projectId, words.at(1), QStringLiteral("hammer"), QStringLiteral("make"))->sortOrder,
                         orders.size());
            else if (words.first() == QLatin1String("duplicate"))
                QCOMPARE(projectactions::duplicate(ctx, ids.value(words.at(1)))->symbolName, QStringLiteral("play.fill"));
            else if (words.first() == QLatin1String("delete"))
                projectactions::remove(ctx, ids.value(words.at(1)));
            else if (words.first() == QLatin1String("move"))
                projectactions::move(ctx, projectId, words.at(1).toInt(), words.at(2).toInt());
        }
        auto reopened = Store::open(path).value();
        QStringList shown;
        QList<qint64> numbers;
        for (const auto &action : projectactions::sorted(reopened->mainContext(), projectId)) {
            shown.append(action->name + QLatin1Char('|') + action->script);
            numbers.append(action->sortOrder);
        }
        QCOMPARE(shown, expected);
        if (numberedFromZero)
            for (int i = 0; i < numbers.size(); ++i)
                QCOMPARE(numbers.at(i), qint64(i));
    }
};

QTEST_GUILESS_MAIN(ProjectActionsTest)
#include "tst_project_actions.moc"
