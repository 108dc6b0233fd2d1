// Run commands proposed from real folders, and editors and terminals found in a made-up PATH and
// data folder.
#include "support/TestEnvironment.h"
#include "tools/launch/Editors.h"
#include "tools/launch/RunCommandPresets.h"
#include "tools/launch/TerminalLaunch.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace corvane;

namespace {

void write(const QString &path, const QByteArray &content, bool executable = false)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
    file.close();
    if (executable)
        file.setPermissions(file.permissions() | QFile::ExeOwner | QFile::ExeUser);
}

// "name=command (detectedBy)" for each, "name (detectedBy)" when the command is the name.
QString describe(const QList<RunCommandPreset> &presets)
{
    QStringList parts;
    for (const RunCommandPreset &p : presets)
        parts.append((p.name == p.command ? p.name : p.name + "=" + p.command) + " (" + p.detectedBy + ")");
    return parts.join(QStringLiteral("; "));
}

} // namespace

class LaunchTest : public QObject
{
    Q_OBJECT

    test::TestEnvironment m_env;

private slots:
    void presets_data()
    {
        // Each file is "name:content"; a name ending in "/" is a folder.
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<QString>("expected");
        QTest::newRow("empty folder") << QStringList{} << "";
        QTest::newRow("npm scripts in their order")
            << QStringList{"package.json:{\"scripts\":{\"test\":\"jest\",\"build\":\"tsc\",\"start\":\"node .\",\"dev\":\"vite\",\"lint\":\"x\"}}"}
            << "npm run dev (package.json); npm start (package.json); npm run build (package.json); npm test (package.json)";
        QTest::newRow("npm before make")
            << QStringList{"Makefile:all:\n", "package.json:{\"scripts\":{\"dev\":\"vite\"}}"}
            << "npm run dev (package.json); make (Makefile); make build (Makefile); make test (Makefile)";
        QTest::newRow("empty scripts give nothing") << QStringList{"package.json:{\"scripts\":{}}"} << "";
        QTest::newRow("no scripts give nothing") << QStringList{"package.json:{\"name\":\"x\"}"} << "";
        QTest::newRow("unreadable package.json, detection goes on")
            << QStringList{"package.json:{not json", "Cargo.toml:[package]\n"}
            << "cargo run (Cargo.toml); cargo build (Cargo.toml); cargo test (Cargo.toml)";
        QTest::newRow("package.json that is a folder") << QStringList{"package.json/", "go.mod:module x\n"}
            << "go run . (go.mod); go build (go.mod); go test=go test ./... (go.mod)";
        QTest::newRow("swift") << QStringList{"Package.swift:// swift"}
            << "swift run (Package.swift); swift build (Package.swift); swift test (Package.swift)";
        QTest::newRow("requirements without main.py") << QStringList{"requirements.txt:flask\n"} << "pytest (requirements.txt)";
        QTest::newRow("requirements with main.py") << QStringList{"requirements.txt:flask\n", "main.py:print(1)\n"}
            << "python main.py (requirements.txt); pytest (requirements.txt)";
        QTest::newRow("pyproject wins over requirements")
            << QStringList{"requirements.txt:x\n", "pyproject.toml:[project]\n"} << "pytest (pyproject.toml)";
        QTest::newRow("files in a subfolder don't count") << QStringList{"sub/Makefile:all:\n"} << "";
        QTest::newRow("an xcode project gives nothing here") << QStringList{"App.xcodeproj/"} << "";
    }
    void presets()
    {
        QFETCH(QStringList, files);
        QFETCH(QString, expected);
        QTemporaryDir dir;
        for (const QString &file : files) {
            const QString name = file.section(':', 0, 0);
            if (name.endsWith('/'))
                QVERIFY(QDir(dir.path()).mkpath(name));
            else
                write(dir.filePath(name), file.section(':', 1).toUtf8());
        }
        QCOMPARE(describe(detectPresets(dir.path())), expected);
    }

    void unreadablePackageJsonIsSkipped()
    {
        QTemporaryDir dir;
        write(dir.filePath("package.json"), "{\"scripts\":{\"dev\":\"vite\"}}");
        write(dir.filePath("Makefile"), "all:\n");
        QFile::setPermissions(dir.filePath("package.json"), QFileDevice::Permissions());
        QFile probe(dir.filePath("package.json"));
        if (probe.open(QIODevice::ReadOnly))
            QSKIP("running as a user who reads any file (root)");
        QCOMPARE(describe(detectPresets(dir.path())), QStringLiteral("make (Makefile); make build (Makefile); make test (Makefile)"));
    }

    void missingFolderGivesNothing()
    {
        QVERIFY(detectPresets(m_env.path("not-there")).isEmpty());
    }

    void detectsEditorsOnThePathAndInDesktopEntries()
    {
        const QString bin = m_env.path("bin"), local = m_env.path("home-bin"), data = m_env.path("data");
        write(bin + "/code", "#!/bin/sh\n", true);
        write(local + "/zeditor", "#!/bin/sh\n", true);
        write(bin + "/subl", "not executable\n");
        write(data + "/applications/jetbrains-pycharm-ce.desktop",
              "[Desktop Entry]\nName=PyCharm\nExec=/opt/pycharm/bin/pycharm.sh %f\n");
        write(data + "/applications/org.kde.kate.desktop", "[Desktop Entry]\nName=Kate\nHidden=true\nExec=kate %U\n");
        write(data + "/applications/code.desktop", "[Desktop Entry]\nExec=/usr/share/code/code --unity-launch %F\n");

        const QList<IDE> found = editors::detect({{bin, local}, {data}});
        QStringList names;
        for (const IDE &ide : found)
            names.append(ide.name);
        QCOMPARE(names, QStringList({"Visual Studio Code", "Zed", "PyCharm"}));
        QCOMPARE(found[0].id, QStringLiteral("code"));
        QCOMPARE(found[0].cliPaths, QStringList{bin + "/code"});
        QCOMPARE(found[0].desktopEntry, std::optional<QString>(data + "/applications/code.desktop"));
        QCOMPARE(found[1].cliPaths, QStringList{local + "/zeditor"});
        QVERIFY(found[2].cliPaths.isEmpty());
        QVERIFY(editors::detect({{m_env.path("empty")}, {m_env.path("empty")}}).isEmpty());
    }

    void desktopEntryExecLines_data()
    {
        QTest::addColumn<QString>("exec");
        QTest::addColumn<QStringList>("command");
        QTest::newRow("file list") << "/usr/share/code/code --unity-launch %F" << QStringList{"/usr/share/code/code", "--unity-launch", "/w/p"};
        QTest::newRow("url") << "zed %U" << QStringList{"zed", "/w/p"};
        QTest::newRow("icon and caption dropped") << "kate -b %i %c %u" << QStringList{"kate", "-b", "/w/p"};
        QTest::newRow("quoted program") << "\"/opt/My Editor/bin/ed\" %f" << QStringList{"/opt/My Editor/bin/ed", "/w/p"};
        QTest::newRow("escaped percent") << "ed --rate=100%% %f" << QStringList{"ed", "--rate=100%", "/w/p"};
        QTest::newRow("unterminated quote") << "\"/opt/ed %f" << QStringList{};
        QTest::newRow("empty") << "" << QStringList{};
    }
    void desktopEntryExecLines()
    {
        QFETCH(QString, exec);
        QFETCH(QStringList, command);
        QCOMPARE(editors::execCommand(exec, QStringLiteral("/w/p")), command);
    }

    // The editor really starts, detached, with the folder as its argument.
    void opensAFolderInAnEditor()
    {
        const QString bin = m_env.path("open-bin");
        const QString mark = m_env.path("opened.txt");
        write(bin + "/code", QStringLiteral("#!/bin/sh\necho \"$1\" > '%1'\n").arg(mark).toUtf8(), true);
        const QList<IDE> found = editors::detect({{bin}, {}});
        QCOMPARE(found.size(), 1);
        editors::open(found[0], m_env.root());
        QVERIFY(QTest::qWaitFor([&] { return QFileInfo(mark).size() > 0; }, 20000));
        QFile written(mark);
        QVERIFY(written.open(QIODevice::ReadOnly));
        QCOMPARE(written.readAll().trimmed(), m_env.root().toUtf8());
    }

    void terminals_data()
    {
        QTest::addColumn<QStringList>("programs");
        QTest::addColumn<QString>("desktop");
        QTest::addColumn<QString>("expected"); // program name and arguments; empty: none
        QTest::newRow("debian alternative first") << QStringList{"konsole", "x-terminal-emulator"} << "KDE" << "x-terminal-emulator";
        QTest::newRow("the desktop's own") << QStringList{"gnome-terminal", "konsole"} << "KDE" << "konsole --workdir /w/p";
        QTest::newRow("desktop list") << QStringList{"gnome-terminal", "xfce4-terminal"} << "ubuntu:GNOME"
                                      << "gnome-terminal --working-directory=/w/p";
        QTest::newRow("known order otherwise") << QStringList{"xterm", "xfce4-terminal"} << "" << "xfce4-terminal --working-directory=/w/p";
        QTest::newRow("xterm last") << QStringList{"xterm"} << "GNOME" << "xterm";
        QTest::newRow("none") << QStringList{} << "GNOME" << "";
    }
    void terminals()
    {
        QFETCH(QStringList, programs);
        QFETCH(QString, desktop);
        QFETCH(QString, expected);
        QTemporaryDir bin;
        for (const QString &program : programs)
            write(bin.filePath(program), "#!/bin/sh\n", true);
        const auto launch = terminallaunch::choose(QStringLiteral("/w/p"), {bin.path()}, desktop);
        if (expected.isEmpty()) {
            QVERIFY(!launch);
            return;
        }
        QVERIFY(launch);
        const QStringList shown = QStringList{QFileInfo(launch->program).fileName()} + launch->arguments;
        QCOMPARE(shown.join(QLatin1Char(' ')), expected);
        QCOMPARE(launch->workingDirectory, QStringLiteral("/w/p"));
    }
};

QTEST_GUILESS_MAIN(LaunchTest)
#include "tst_launch.moc"
