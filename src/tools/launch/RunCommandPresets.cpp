#include "tools/launch/RunCommandPresets.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

namespace corvane {

namespace {

void addSame(QList<RunCommandPreset> &presets, const QStringList &commands, const QString &detectedBy)
{
    for (const QString &command : commands)
        presets.append({command, command, detectedBy});
}

void addNpmScripts(QList<RunCommandPreset> &presets, const QString &packageJson)
{
    QFile file(packageJson);
    if (!file.open(QIODevice::ReadOnly))
        return;
    const QJsonValue scripts = QJsonDocument::fromJson(file.readAll()).object().value(QLatin1String("scripts"));
    if (!scripts.isObject())
        return;
    const QJsonObject present = scripts.toObject();
    static const QList<std::pair<const char *, const char *>> known{
        {"dev", "npm run dev"}, {"start", "npm start"}, {"build", "npm run build"}, {"test", "npm test"}};
    for (const auto &[script, command] : known)
        if (present.contains(QLatin1String(script)))
            presets.append({QString::fromLatin1(command), QString::fromLatin1(command), QStringLiteral("package.json")});
}

} // namespace

QList<RunCommandPreset> detectPresets(const QString &folder)
{
    const QDir dir(folder);
    const auto has = [&dir](const char *name) { return QFileInfo::exists(dir.filePath(QLatin1String(name))); };
    QList<RunCommandPreset> presets;
    if (has("package.json"))
        addNpmScripts(presets, dir.filePath(QStringLiteral("package.json")));
    if (has("Cargo.toml"))
        addSame(presets, {QStringLiteral("cargo run"), QStringLiteral("cargo build"), QStringLiteral("cargo test")},
                QStringLiteral("Cargo.toml"));
    if (has("Package.swift"))
        addSame(presets, {QStringLiteral("swift run"), QStringLiteral("swift build"), QStringLiteral("swift test")},
                QStringLiteral("Package.swift"));
    if (has("go.mod")) {
        addSame(presets, {QStringLiteral("go run ."), QStringLiteral("go build")}, QStringLiteral("go.mod"));
        presets.append({QStringLiteral("go test"), QStringLiteral("go test ./..."), QStringLiteral("go.mod")});
    }
    if (has("pyproject.toml") || has("requirements.txt")) {
        const QString detectedBy = has("pyproject.toml") ? QStringLiteral("pyproject.toml") : QStringLiteral("requirements.txt");
        if (has("main.py"))
            addSame(presets, {QStringLiteral("python main.py")}, detectedBy);
        addSame(presets, {QStringLiteral("pytest")}, detectedBy);
    }
    if (has("Makefile"))
        addSame(presets, {QStringLiteral("make"), QStringLiteral("make build"), QStringLiteral("make test")},
                QStringLiteral("Makefile"));
    return presets;
}

} // namespace corvane
