#include "core/Log.h"
#include "core/Paths.h"
#include "core/settings/PreferencesStore.h"
#include "support/CoreFiles.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <cstdio>

using namespace corvane;
using test::readFile;

enum class Kind { string, integer, real, boolean, stringList, dictionary };
using Dictionary = QHash<QString, QByteArray>;
Q_DECLARE_METATYPE(Kind)

namespace {

void write(PreferencesStore &store, Kind kind, const QString &key, const QVariant &value)
{
    switch (kind) {
    case Kind::string: store.setString(key, value.toString()); break;
    case Kind::integer: store.setInteger(key, value.toInt()); break;
    case Kind::real: store.setReal(key, value.toDouble()); break;
    case Kind::boolean: store.setBoolean(key, value.toBool()); break;
    case Kind::stringList: store.setStringList(key, value.toStringList()); break;
    case Kind::dictionary: store.setDataDictionary(key, value.value<Dictionary>()); break;
    }
}

// Reads with a fallback that differs from every type's empty value, so a test can tell "missing"
// from "present but of another type".
QVariant read(const PreferencesStore &store, Kind kind, const QString &key)
{
    switch (kind) {
    case Kind::string: return store.string(key, QStringLiteral("fallback"));
    case Kind::integer: return store.integer(key, 77);
    case Kind::real: return store.real(key, 7.5);
    case Kind::boolean: return store.boolean(key, true);
    case Kind::stringList: return store.stringList(key);
    case Kind::dictionary: return QVariant::fromValue(store.dataDictionary(key));
    }
    return {};
}

QStringList asideFiles(const QString &path)
{
    const QFileInfo info(path);
    return info.dir().entryList({info.fileName() + QStringLiteral(".unreadable-*")}, QDir::Files,
                                QDir::Name);
}

// The log lines written while it lives.
class LogCapture
{
public:
    LogCapture() { setLogStream(m_file); }
    ~LogCapture()
    {
        setLogStream(stdout);
        std::fclose(m_file);
    }
    QStringList lines()
    {
        std::rewind(m_file);
        QFile file;
        return file.open(m_file, QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts) : QStringList();
    }

private:
    std::FILE *m_file = std::tmpfile();
};

} // namespace

class PreferencesStoreTest : public QObject
{
    Q_OBJECT

private slots:
    void valuesSurviveARestartWithTheirType_data()
    {
        QTest::addColumn<Kind>("kind");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<int>("jsonType");
        QTest::newRow("text") << Kind::string << QVariant("dark") << int(QJsonValue::String);
        QTest::newRow("empty text") << Kind::string << QVariant("") << int(QJsonValue::String);
        QTest::newRow("text beyond ASCII") << Kind::string << QVariant("Zoë Ångström 漢字") << int(QJsonValue::String);
        QTest::newRow("whole number") << Kind::integer << QVariant(90) << int(QJsonValue::Double);
        QTest::newRow("negative number") << Kind::integer << QVariant(-3) << int(QJsonValue::Double);
        QTest::newRow("fraction") << Kind::real << QVariant(1.25) << int(QJsonValue::Double);
        QTest::newRow("true stays a boolean") << Kind::boolean << QVariant(true) << int(QJsonValue::Bool);
        QTest::newRow("false stays a boolean") << Kind::boolean << QVariant(false) << int(QJsonValue::Bool);
        QTest::newRow("list of texts") << Kind::stringList << QVariant(QStringList{"terminal", "files"})
                                       << int(QJsonValue::Array);
        QTest::newRow("empty list") << Kind::stringList << QVariant(QStringList{}) << int(QJsonValue::Array);
        QTest::newRow("dictionary of bytes")
            << Kind::dictionary
            << QVariant::fromValue(Dictionary{{"json", R"({"key":"t"})"}, {"binary", QByteArray("\0\xff\n", 3)}})
            << int(QJsonValue::Object);
    }

    void valuesSurviveARestartWithTheirType()
    {
        QFETCH(Kind, kind);
        QFETCH(QVariant, value);
        QFETCH(int, jsonType);
        test::TestEnvironment env;
        const QString path = paths::settingsFile(); // its folder does not exist yet

        PreferencesStore first(path);
        write(first, kind, "k", value);
        // Written through at once: the first store is still open while the second one reads.
        PreferencesStore second(path);
        QVERIFY(second.contains("k"));
        QCOMPARE(read(second, kind, "k"), value);
        QCOMPARE(QJsonDocument::fromJson(readFile(path)).object().value("k").type(), QJsonValue::Type(jsonType));
    }

    void aValueOfAnotherTypeReadsEmpty_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<Kind>("kind");
        QTest::addColumn<QVariant>("expected");
        QTest::newRow("text \"true\" as boolean") << QByteArray(R"({"k":"true"})") << Kind::boolean << QVariant(false);
        QTest::newRow("number as boolean") << QByteArray(R"({"k":1})") << Kind::boolean << QVariant(false);
        QTest::newRow("boolean as text") << QByteArray(R"({"k":true})") << Kind::string << QVariant("");
        QTest::newRow("null as text") << QByteArray(R"({"k":null})") << Kind::string << QVariant("");
        QTest::newRow("fraction as whole number") << QByteArray(R"({"k":1.5})") << Kind::integer << QVariant(0);
        QTest::newRow("text \"30\" as number") << QByteArray(R"({"k":"30"})") << Kind::integer << QVariant(0);
        QTest::newRow("text as fraction") << QByteArray(R"({"k":"1.5"})") << Kind::real << QVariant(0.0);
        QTest::newRow("object as list") << QByteArray(R"({"k":{"a":"b"}})") << Kind::stringList
                                        << QVariant(QStringList{});
        QTest::newRow("list keeps only its texts") << QByteArray(R"({"k":["a",3,"b"]})") << Kind::stringList
                                                   << QVariant(QStringList{"a", "b"});
        QTest::newRow("list as dictionary") << QByteArray(R"({"k":["a"]})") << Kind::dictionary
                                            << QVariant::fromValue(Dictionary{});
        QTest::newRow("dictionary entry that is not base64")
            << QByteArray(R"({"k":{"good":"aGk=","bad":"%%%","number":4}})") << Kind::dictionary
            << QVariant::fromValue(Dictionary{{"good", "hi"}});
    }

    void aValueOfAnotherTypeReadsEmpty()
    {
        QFETCH(QByteArray, file);
        QFETCH(Kind, kind);
        QFETCH(QVariant, expected);
        test::TestEnvironment env;
        const QString path = env.path("settings.json");
        QVERIFY(test::writeFile(path, file));

        PreferencesStore store(path);
        QVERIFY(store.contains("k"));
        QCOMPARE(read(store, kind, "k"), expected);
        QCOMPARE(readFile(path), file); // reading never rewrites
    }

    void anUnreadableFileIsSetAsideAndDefaultsUsed_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("cut off in a value") << QByteArray("{\"appearanceMode\": \"da");
        QTest::newRow("a list, not an object") << QByteArray(R"(["appearanceMode", "dark"])");
        QTest::newRow("binary garbage") << QByteArray("\x00\x01\x02\xfe{", 5);
        QTest::newRow("empty file") << QByteArray();
    }

    void anUnreadableFileIsSetAsideAndDefaultsUsed()
    {
        QFETCH(QByteArray, bytes);
        test::TestEnvironment env;
        const QString path = env.path("settings.json");
        QVERIFY(test::writeFile(path, bytes));

        LogCapture output;
        PreferencesStore store(path);
        const QStringList log = output.lines();
        QCOMPARE(log.size(), 1);
        QVERIFY2(log.first().startsWith("[Settings] "), qPrintable(log.first()));

        QVERIFY(!store.contains("appearanceMode"));
        QVERIFY(!QFile::exists(path));
        const QStringList aside = asideFiles(path);
        QCOMPARE(aside.size(), 1);
        QVERIFY2(log.first().contains(aside.first()), qPrintable(log.first()));

        // The next write makes a fresh file and leaves the user's damaged one alone.
        store.setBoolean("enableAllTools", false);
        QCOMPARE(PreferencesStore(path).boolean("enableAllTools", true), false);
        QCOMPARE(readFile(env.path(aside.first())), bytes);
    }

    void twoDamagedStartsKeepBothCopies()
    {
        test::TestEnvironment env;
        const QString path = env.path("settings.json");
        QVERIFY(test::writeFile(path, "{first"));
        PreferencesStore first(path);
        QVERIFY(test::writeFile(path, "{second"));
        PreferencesStore second(path); // most likely within the same second as the first

        QStringList contents;
        for (const QString &name : asideFiles(path))
            contents << QString::fromUtf8(readFile(env.path(name)));
        contents.sort();
        QCOMPARE(contents, QStringList({"{first", "{second"}));
    }

    void removeForgetsTheKeyOnDisk()
    {
        test::TestEnvironment env;
        const QString path = env.path("settings.json");
        PreferencesStore store(path);
        store.setBoolean("onboardingEnabled", false);
        store.remove("onboardingEnabled");
        QVERIFY(!store.contains("onboardingEnabled"));
        QCOMPARE(store.boolean("onboardingEnabled", true), true);
        QVERIFY(!PreferencesStore(path).contains("onboardingEnabled"));
    }
};

QTEST_GUILESS_MAIN(PreferencesStoreTest)
#include "tst_preferences_store.moc"
