#include "core/settings/KeyCombo.h"
#include "core/settings/KeyboardShortcutAction.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace corvane;

Q_DECLARE_METATYPE(corvane::KeyCombo)

namespace corvane {
char *toString(const KeyCombo &combo)
{
    return QTest::toString(QStringLiteral("%1 (0x%2)").arg(combo.displayString()).arg(combo.modifiers, 0, 16));
}
} // namespace corvane

namespace {
constexpr quint64 Cmd = KeyCombo::Command;
constexpr quint64 Shift = KeyCombo::Shift;
constexpr quint64 Opt = KeyCombo::Option;
constexpr quint64 Ctl = KeyCombo::Control;
} // namespace

class KeyboardShortcutsTest : public QObject
{
    Q_OBJECT

private slots:
    void displayString_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<quint64>("modifiers");
        QTest::addColumn<QString>("expected");
        QTest::newRow("Command Shift T") << "t" << (Cmd | Shift) << "Ctrl+Shift+T";
        QTest::newRow("all four, Linux order") << "f" << (Ctl | Opt | Shift | Cmd) << "Ctrl+Alt+Shift+Meta+F";
        QTest::newRow("carriage return") << "\r" << Cmd << "Ctrl+Return";
        QTest::newRow("line feed") << "\n" << quint64(0) << "Return";
        QTest::newRow("tab") << "\t" << Shift << "Shift+Tab";
        QTest::newRow("space") << " " << Opt << "Alt+Space";
        QTest::newRow("escape") << "\x1b" << quint64(0) << "Esc";
        QTest::newRow("delete") << "\x7f" << Cmd << "Ctrl+Backspace";
        for (const char *mark : {",", ".", "/", "?", "-", "=", "[", "]"})
            QTest::addRow("punctuation %s as it is", mark) << mark << Cmd << QStringLiteral("Ctrl+") + mark;
        QTest::newRow("letter without modifiers") << "k" << quint64(0) << "K";
        QTest::newRow("digit") << "1" << Cmd << "Ctrl+1";
        QTest::newRow("caps lock flag not shown") << "a" << (Cmd | 0x10000) << "Ctrl+A";
    }

    void displayString()
    {
        QFETCH(QString, key);
        QFETCH(quint64, modifiers);
        QFETCH(QString, expected);
        QCOMPARE((KeyCombo{key, modifiers}.displayString()), expected);
    }

    void decodingStoredJson_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<bool>("decodes");
        QTest::addColumn<KeyCombo>("expected");
        QTest::newRow("as written") << QByteArray(R"({"key":"t","modifierRawValue":1179648})") << true
                                    << KeyCombo{"t", Cmd | Shift};
        QTest::newRow("unknown fields ignored")
            << QByteArray(R"({"key":".","modifierRawValue":1048576,"label":"x"})") << true << KeyCombo{".", Cmd};
        QTest::newRow("no modifiers") << QByteArray(R"({"key":"\u001b","modifierRawValue":0})") << true
                                      << KeyCombo{"\x1b", 0};
        QTest::newRow("modifiers as text") << QByteArray(R"({"key":"t","modifierRawValue":"1179648"})") << false
                                           << KeyCombo{};
        QTest::newRow("negative modifiers") << QByteArray(R"({"key":"t","modifierRawValue":-1})") << false
                                            << KeyCombo{};
        QTest::newRow("fractional modifiers") << QByteArray(R"({"key":"t","modifierRawValue":1.5})") << false
                                              << KeyCombo{};
        QTest::newRow("no key") << QByteArray(R"({"modifierRawValue":1048576})") << false << KeyCombo{};
        QTest::newRow("empty key") << QByteArray(R"({"key":"","modifierRawValue":1048576})") << false
                                   << KeyCombo{};
        QTest::newRow("a list") << QByteArray(R"(["t",1048576])") << false << KeyCombo{};
        QTest::newRow("not JSON") << QByteArray("Ctrl+T") << false << KeyCombo{};
    }

    void decodingStoredJson()
    {
        QFETCH(QByteArray, json);
        QFETCH(bool, decodes);
        QFETCH(KeyCombo, expected);
        const std::optional<KeyCombo> combo = KeyCombo::fromJson(json);
        QCOMPARE(combo.has_value(), decodes);
        if (decodes)
            QCOMPARE(*combo, expected);
    }

    void everyDefaultRoundTripsThroughJson()
    {
        for (KeyboardShortcutAction action : allKeyboardShortcutActions()) {
            const KeyCombo combo = defaultCombo(action);
            const QByteArray json = combo.toJson();
            // A whole number on disk, never "1.17965e+06": other readers parse it as an integer.
            const QJsonObject object = QJsonDocument::fromJson(json).object();
            QCOMPARE(object.keys(), QStringList({"key", "modifierRawValue"}));
            QVERIFY2(json.contains(QByteArray::number(combo.modifiers)), json.constData());
            QCOMPARE(KeyCombo::fromJson(json), std::optional<KeyCombo>(combo));
        }
    }

    // The raw names are what the settings file stores.
    void rawNamesReadBack()
    {
        for (KeyboardShortcutAction action : allKeyboardShortcutActions())
            QCOMPARE(keyboardShortcutActionFromRaw(rawName(action)), std::optional(action));
        QCOMPARE(keyboardShortcutActionFromRaw("NewWindow"), std::nullopt);
    }

    void onlyOnePairSharesADefault()
    {
        QStringList clashes;
        const auto &all = allKeyboardShortcutActions();
        for (std::size_t i = 0; i < all.size(); ++i)
            for (std::size_t j = i + 1; j < all.size(); ++j)
                if (defaultCombo(all[i]) == defaultCombo(all[j]))
                    clashes << rawName(all[i]) + "/" + rawName(all[j]);
        QCOMPARE(clashes, QStringList{"newChatInWorkspace/toggleTerminal"});
    }
};

QTEST_GUILESS_MAIN(KeyboardShortcutsTest)
#include "tst_keyboard_shortcuts.moc"
