// Our branch-name rules against git's own verdict ("git check-ref-format --branch") on the same
// names, so a name we let through is one git takes, and one we refuse is one git would refuse.
#include "GitSandbox.h"

#include "source_control/BranchNameRules.h"

#include <QTest>

using namespace corvane;

class BranchNamesTest : public QObject
{
    Q_OBJECT

private slots:
    void agreesWithGit_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("valid");
        QTest::newRow("plain") << "main" << true;
        QTest::newRow("with slash") << "feature/login" << true;
        QTest::newRow("deep slashes") << "team/a/b/c" << true;
        QTest::newRow("unicode letters") << QString::fromUtf8("feature/\u00fcber-stra\u00dfe") << true;
        QTest::newRow("japanese") << QString::fromUtf8("\u65e5\u672c/\u30d6\u30e9\u30f3\u30c1") << true;
        QTest::newRow("emoji") << QString::fromUtf8("ship/\U0001F680") << true;
        QTest::newRow("dots inside") << "release/1.2.3" << true;
        QTest::newRow(".lock inside a part") << "a.lock.b" << true;
        QTest::newRow("at sign alone") << "@" << true;
        QTest::newRow("at sign inside") << "me@work" << true;
        QTest::newRow("looks like a ref") << "refs/heads/x" << true;
        QTest::newRow("empty") << "" << false;
        QTest::newRow("leading dash") << "-f" << false;
        QTest::newRow("HEAD") << "HEAD" << false;
        QTest::newRow("double dot") << "a..b" << false;
        QTest::newRow("space") << "my branch" << false;
        QTest::newRow("tab") << "my\tbranch" << false;
        QTest::newRow("control character") << QString("ctl\x01x") << false;
        QTest::newRow("delete character") << QString("del\x7fx") << false;
        QTest::newRow("tilde") << "a~1" << false;
        QTest::newRow("caret") << "a^" << false;
        QTest::newRow("colon") << "a:b" << false;
        QTest::newRow("question mark") << "a?" << false;
        QTest::newRow("asterisk") << "a*" << false;
        QTest::newRow("open bracket") << "a[b" << false;
        QTest::newRow("backslash") << "a\\b" << false;
        QTest::newRow("part begins with a dot") << "a/.b" << false;
        QTest::newRow("begins with a dot") << ".hidden" << false;
        QTest::newRow("ends with .lock") << "a.lock" << false;
        QTest::newRow("part ends with .lock") << "a.lock/b" << false;
        QTest::newRow("trailing slash") << "x/" << false;
        QTest::newRow("leading slash") << "/x" << false;
        QTest::newRow("double slash") << "a//b" << false;
        QTest::newRow("trailing dot") << "a." << false;
        QTest::newRow("at-brace") << "a@{1}" << false;
        QTest::newRow("previous branch syntax") << "@{-1}" << false;
    }

    void agreesWithGit()
    {
        QFETCH(QString, name);
        QFETCH(bool, valid);
        const std::optional<QString> problem = branchNameProblem(name);
        QVERIFY2(problem.has_value() != valid, qPrintable(problem.value_or("accepted")));
        const test::GitSandbox::Run git = m_sandbox.gitRun(m_sandbox.root(), {"check-ref-format", "--branch", name});
        QVERIFY2((git.exitCode == 0) == valid, git.errorOutput.constData());
    }

    void refusalReadsAsASentence_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("message");
        QTest::newRow("double dot") << "a..b" << "'a..b' is not a valid branch name: it contains \"..\"";
        QTest::newRow("space") << "my branch" << "'my branch' is not a valid branch name: it contains a space";
        QTest::newRow("lock") << "x.lock" << "'x.lock' is not a valid branch name: a part ends with \".lock\"";
        QTest::newRow("dash") << "-D" << "'-D' is not a valid branch name: it begins with \"-\"";
    }

    void refusalReadsAsASentence()
    {
        QFETCH(QString, name);
        QFETCH(QString, message);
        const GitResult<void> result = validateBranchName(name);
        QVERIFY(!result);
        QCOMPARE(result.error().message, message);
        QCOMPARE(result.error().exitCode, 1);
    }

private:
    test::GitSandbox m_sandbox;
};

QTEST_GUILESS_MAIN(BranchNamesTest)
#include "tst_branch_names.moc"
