#include "accounts/ProfileRepairs.h"

#include "core/Log.h"
#include "core/Paths.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/store/StoreContext.h"

#include <QDir>

namespace corvane::profiles {

namespace {

QString idText(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

Result<QString> makeFolder(const QString &path)
{
    if (!QDir().mkpath(path))
        return Error(QStringLiteral("Could not create the folder %1").arg(path));
    return path;
}

void saveOrLog(StoreContext &context, const char *what)
{
    if (Status saved = context.save(); !saved)
        logLine("Profiles", QStringLiteral("%1: %2").arg(QLatin1String(what), saved.error().message));
}

QList<std::shared_ptr<Profile>> fetchProfiles(StoreContext &context)
{
    return context.fetchOrEmpty<Profile>(Query().orderBy("sortOrder").orderBy("createdAt"));
}

} // namespace

QString profilesRoot()
{
    return paths::profilesRoot();
}

Result<QString> allocateConfigDirectory(const QUuid &id)
{
    return makeFolder(profilesRoot() + QLatin1Char('/') + idText(id));
}

Result<QString> allocateCodexDirectory(const QUuid &id)
{
    return makeFolder(profilesRoot() + QLatin1Char('/') + idText(id) + QStringLiteral("/codex"));
}

void ensureDefaultProfile(StoreContext &context)
{
    const auto all = fetchProfiles(context);
    if (all.isEmpty()) {
        Profile profile;
        profile.name = QStringLiteral("Default");
        profile.configDirPath = QDir::homePath() + QStringLiteral("/.claude");
        profile.codexHomeDir = QDir::homePath() + QStringLiteral("/.codex");
        profile.sortOrder = 0;
        profile.isDefault = true;
        context.insert(profile);
        saveOrLog(context, "Creating the default profile");
        return;
    }
    for (const auto &profile : all)
        if (profile->isDefault)
            return;
    all.first()->isDefault = true;
    saveOrLog(context, "Marking the default profile");
}

void assignOrphanProjects(StoreContext &context)
{
    auto fallback = context.fetchFirst<Profile>(Query(where::eq("isDefault", true)).orderBy("sortOrder").orderBy("createdAt"));
    if (!fallback || !*fallback)
        return;
    const auto orphans = context.fetchOrEmpty<Project>(Query(where::isNull("profileId")));
    for (const auto &project : orphans)
        project->profileId = (*fallback)->id;
    if (!orphans.isEmpty())
        saveOrLog(context, "Assigning projects to the default profile");
}

void backfillCodexHomes(StoreContext &context)
{
    bool changed = false;
    for (const auto &profile : context.fetchOrEmpty<Profile>(Query(where::isNull("codexHomeDir")))) {
        if (profile->isDefault) {
            profile->codexHomeDir = QDir::homePath() + QStringLiteral("/.codex");
            changed = true;
            continue;
        }
        auto folder = allocateCodexDirectory(profile->id);
        if (!folder) {
            logLine("Profiles", folder.error().message);
            continue;
        }
        profile->codexHomeDir = *folder;
        changed = true;
    }
    if (changed)
        saveOrLog(context, "Filling in codex homes");
}

} // namespace corvane::profiles
