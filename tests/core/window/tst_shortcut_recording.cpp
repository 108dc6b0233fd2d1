// Key presses turned into stored combinations, and which recordings this desktop accepts.
#include "core/NotificationCenter.h"
#include "core/settings/AppSettings.h"
#include "core/settings/PreferencesStore.h"
#include "core/window/ShortcutBindings.h"
#include "core/window/ShortcutRecording.h"
#include "support/TestEnvironment.h"

#include <QTest>

using namespace corvane;
using namespace corvane::test;

using A = KeyboardShortcutAction;

namespace QTest {
template <>
char *toString(const KeyCombo &combo)
{
    return qstrdup(QStringLiteral("%1 (0x%2)").arg(combo.displayString()).arg(combo.modifiers, 0, 16).toUtf8().constData());
}
} // namespace QTest

class TestShortcutRecording : public QObject
{
    Q_OBJECT

private slots:
    void keyPresses_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("modifiers");
        QTest::addColumn<QString>("stored");
        QTest::addColumn<quint64>("flags");
        const int ctrl = int(Qt::ControlModifier), shift = int(Qt::ShiftModifier);
        QTest::newRow("Ctrl+Shift+T") << int(Qt::Key_T) << (ctrl | shift) << "t" << quint64(KeyCombo::Command | KeyCombo::Shift);
        QTest::newRow("Alt is Option") << int(Qt::Key_I) << (ctrl | int(Qt::AltModifier)) << "i"
                                       << quint64(KeyCombo::Command | KeyCombo::Option);
        QTest::newRow("Meta is Control") << int(Qt::Key_F) << (ctrl | int(Qt::MetaModifier)) << "f"
                                         << quint64(KeyCombo::Command | KeyCombo::Control);
        QTest::newRow("digit") << int(Qt::Key_1) << ctrl << "1" << quint64(KeyCombo::Command);
        QTest::newRow("period") << int(Qt::Key_Period) << ctrl << "." << quint64(KeyCombo::Command);
        QTest::newRow("shifted comma keeps the comma") << int(Qt::Key_Less) << (ctrl | shift) << ","
                                                       << quint64(KeyCombo::Command | KeyCombo::Shift);
        QTest::newRow("backtick") << int(Qt::Key_QuoteLeft) << ctrl << "`" << quint64(KeyCombo::Command);
        QTest::newRow("return") << int(Qt::Key_Return) << ctrl << "\r" << quint64(KeyCombo::Command);
        QTest::newRow("function key alone") << int(Qt::Key_F11) << 0 << "F11" << quint64(0);
        QTest::newRow("arrow") << int(Qt::Key_Up) << int(Qt::AltModifier) << "Up" << quint64(KeyCombo::Option);
    }

    void keyPresses()
    {
        QFETCH(int, key);
        QFETCH(int, modifiers);
        QFETCH(QString, stored);
        QFETCH(quint64, flags);
        const Result<KeyCombo> combo = comboForKeyPress(key, Qt::KeyboardModifiers(modifiers));
        QVERIFY2(combo.ok(), qPrintable(combo ? QString() : combo.error().message));
        QCOMPARE(combo.value(), (KeyCombo{stored, flags}));
    }

    void keysThatAreNoShortcut_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("modifiers");
        QTest::newRow("plain letter") << int(Qt::Key_A) << 0;
        QTest::newRow("shifted letter") << int(Qt::Key_A) << int(Qt::ShiftModifier);
        QTest::newRow("modifier alone") << int(Qt::Key_Control) << int(Qt::ControlModifier);
        QTest::newRow("unknown") << int(Qt::Key_unknown) << int(Qt::ControlModifier);
    }

    void keysThatAreNoShortcut()
    {
        QFETCH(int, key);
        QFETCH(int, modifiers);
        QVERIFY(!comboForKeyPress(key, Qt::KeyboardModifiers(modifiers)).ok());
    }

    void recordedCombinationsReachTheMenus()
    {
        TestEnvironment env;
        PreferencesStore store(env.path("settings.json"));
        NotificationCenter center;
        AppSettings settings(store, center, [] { return SystemUserNames{}; });

        // The stored default shared by two actions: the earlier one is named.
        Status status = recordShortcut(settings, A::toggleDictation, {QStringLiteral("t"), KeyCombo::Command | KeyCombo::Shift});
        QVERIFY(!status);
        QCOMPARE(status.error().message, QStringLiteral("Ctrl+Shift+T is already used by \"New Chat in Workspace\""));

        // Toggle Terminal's key here is Ctrl+`; taking it for another action would leave it without.
        status = recordShortcut(settings, A::newIssue, {QStringLiteral("`"), KeyCombo::Command});
        QVERIFY(!status);
        QCOMPARE(status.error().message, QStringLiteral("Ctrl+` is already used by \"Toggle Terminal\""));

        QVERIFY(recordShortcut(settings, A::toggleTerminal, {QStringLiteral("`"), KeyCombo::Command}));
        QVERIFY(!recordShortcut(settings, A::newIssue, {QStringLiteral("i"), KeyCombo::Command | KeyCombo::Option})); // Toggle Inspector's
        QVERIFY(recordShortcut(settings, A::newIssue, {QStringLiteral("F4"), 0}));
        const QList<ShortcutBinding> bindings = resolveShortcutBindings(settings);
        QCOMPARE(*bindings.at(int(A::newIssue)).combo, (KeyCombo{QStringLiteral("F4"), 0}));
        for (const ShortcutBinding &binding : bindings)
            QVERIFY2(binding.combo, qPrintable(displayName(binding.action) + QStringLiteral(": ") + binding.note));
    }
};

QTEST_MAIN(TestShortcutRecording)
#include "tst_shortcut_recording.moc"
