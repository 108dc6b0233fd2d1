// The coordinator's markers: what counts as one (a whole line, never a quote inside a sentence),
// how feedback reaches its verdict, and what a reader of the chat sees instead of them.
#include "automation/CoordinatorMarkers.h"

#include <QTest>

using namespace corvane;

using Signals = QList<CoordinatorSignal>;
Q_DECLARE_METATYPE(Signals)

namespace {

CoordinatorSignal ready()
{
    return {CoordinatorSignal::Kind::readyForValidation, ReviewVerdict::approved, std::nullopt};
}

CoordinatorSignal verdict(ReviewVerdict v, std::optional<QString> feedback = std::nullopt)
{
    return {CoordinatorSignal::Kind::reviewVerdict, v, std::move(feedback)};
}

} // namespace

class CoordinatorMarkersTest : public QObject
{
    Q_OBJECT

private slots:
    void parseSignals_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<Signals>("expected");
        QTest::newRow("no marker") << "All done." << Signals();
        QTest::newRow("inside a sentence: none") << "I will emit [CORVANE:READY_FOR_VALIDATION] now" << Signals();
        QTest::newRow("indented: one") << "Done.\n   [CORVANE:READY_FOR_VALIDATION]   \n" << Signals{ready()};
        QTest::newRow("case of READY matters") << "[CORVANE:ready_for_validation]" << Signals();
        QTest::newRow("verdict in any case") << "[CORVANE:REVIEW_VERDICT=APPROVED]" << Signals{verdict(ReviewVerdict::approved)};
        QTest::newRow("needschanges spelt without underscore")
            << "[CORVANE:REVIEW_VERDICT=NeedsChanges]" << Signals{verdict(ReviewVerdict::needsChanges)};
        QTest::newRow("an unknown verdict keeps the feedback for the next")
            << "[CORVANE:REVIEW_FEEDBACK=add a test]\n[CORVANE:REVIEW_VERDICT=maybe]\n[CORVANE:REVIEW_VERDICT=rejected]"
            << Signals{verdict(ReviewVerdict::rejected, "add a test")};
        QTest::newRow("two READY lines: two signals") << "[CORVANE:READY_FOR_VALIDATION]\nfixed\n[CORVANE:READY_FOR_VALIDATION]"
                                                      << Signals{ready(), ready()};
        QTest::newRow("READY then a verdict, in order")
            << "[CORVANE:READY_FOR_VALIDATION]\r\n[CORVANE:REVIEW_VERDICT=approved]"
            << Signals{ready(), verdict(ReviewVerdict::approved)};
        QTest::newRow("a fenced block serves the first verdict, trimmed")
            << "[CORVANE:REVIEW_VERDICT=needs_changes]\n[CORVANE:REVIEW_FEEDBACK_BEGIN]\n\n- rename x\n- test y\n\n"
               "[CORVANE:REVIEW_FEEDBACK_END]\n[CORVANE:REVIEW_VERDICT=rejected]"
            << Signals{verdict(ReviewVerdict::needsChanges, "- rename x\n- test y"), verdict(ReviewVerdict::rejected)};
        QTest::newRow("a one-line feedback overrides the fence")
            << "[CORVANE:REVIEW_FEEDBACK_BEGIN]\nlong\n[CORVANE:REVIEW_FEEDBACK_END]\n[CORVANE:REVIEW_FEEDBACK=short]\n"
               "[CORVANE:REVIEW_VERDICT=needs_changes]"
            << Signals{verdict(ReviewVerdict::needsChanges, "short")};
        QTest::newRow("feedback after the last verdict is lost")
            << "[CORVANE:REVIEW_VERDICT=approved]\n[CORVANE:REVIEW_FEEDBACK=late]" << Signals{verdict(ReviewVerdict::approved)};
    }

    void parseSignals()
    {
        QFETCH(QString, text);
        QFETCH(Signals, expected);
        QCOMPARE(markers::parseSignals(text), expected);
    }

    void stripped_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("shown");
        QTest::newRow("no marker: as it is") << "  Plain\n\n\n text " << "  Plain\n\n\n text ";
        QTest::newRow("the marker line vanishes, the rest stays")
            << "Implemented the parser.\n\n[CORVANE:READY_FOR_VALIDATION]\n\nNext: tests." << "Implemented the parser.\n\nNext: tests.";
        QTest::newRow("a quoted marker stays") << "I will emit [CORVANE:READY_FOR_VALIDATION] now"
                                               << "I will emit [CORVANE:READY_FOR_VALIDATION] now";
        QTest::newRow("only markers: the caption")
            << "\n[CORVANE:READY_FOR_VALIDATION]\n" << "_Implementation complete \u2014 running quality gates._";
        QTest::newRow("fenced feedback hidden, the needs_changes caption")
            << "[CORVANE:REVIEW_FEEDBACK_BEGIN]\nfix a\nfix b\n[CORVANE:REVIEW_FEEDBACK_END]\n[CORVANE:REVIEW_VERDICT=needs_changes]"
            << "_Reviewer requested changes \u2014 coordinator will iterate._";
        QTest::newRow("a verdict in other case acts but has no caption") << "[CORVANE:REVIEW_VERDICT=Approved]" << "";
        QTest::newRow("an unclosed fence hides the rest")
            << "Verdict below.\n[CORVANE:REVIEW_FEEDBACK_BEGIN]\nsecret\nmore" << "Verdict below.";
    }

    void stripped()
    {
        QFETCH(QString, text);
        QFETCH(QString, shown);
        QCOMPARE(markers::stripAutomationMarkers(text), shown);
    }
};

QTEST_GUILESS_MAIN(CoordinatorMarkersTest)
#include "tst_coordinator_markers.moc"
