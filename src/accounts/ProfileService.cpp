#include "accounts/ProfileService.h"

#include "accounts/ProfileRepairs.h"
#include "agent/runtime/AgentEnvironment.h"
#include "agent/runtime/ToolLocator.h"
#include "core/Broadcasts.h"
#include "core/Log.h"
#include "core/MainThread.h"
#include "core/NotificationCenter.h"
#include "core/process/ChildProcess.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/store/StoreContext.h"

#include <QDir>
#include <QFileInfo>
#include <QTimer>

namespace corvane {

namespace {

QString expandHome(const QString &path)
{
    if (path == QLatin1String("~"))
        return QDir::homePath();
    if (path.startsWith(QLatin1String("~/")))
        return QDir::homePath() + path.mid(1);
    return path;
}

QDateTime notEarlierThan(const std::optional<QDateTime> &previous, const QDateTime &now)
{
    return previous && *previous > now ? *previous : now;
}

// Folders a profile may point at that are never ours to delete, whatever the record says.
bool isProtectedFolder(const QString &path)
{
    const QString clean = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    const QString home = QDir::cleanPath(QDir::homePath());
    return path.trimmed().isEmpty() || clean == QLatin1String("/") || clean == home
        || clean == home + QStringLiteral("/.claude") || clean == home + QStringLiteral("/.codex")
        || clean == QDir::cleanPath(ProfileService::profilesRootPath());
}

Status removeFolder(const QString &path)
{
    if (!QFileInfo::exists(path))
        return {};
    if (isProtectedFolder(path))
        return Error(QStringLiteral("Refusing to remove %1").arg(path));
    if (!QDir(path).removeRecursively())
        return Error(QStringLiteral("Could not remove %1").arg(path));
    return {};
}

} // namespace

ProfileService::ProfileService(StoreContext &context, QObject *parent)
    : ProfileService(context, NotificationCenter::instance(), parent)
{
}

ProfileService::ProfileService(StoreContext &context, NotificationCenter &center, QObject *parent)
    : QObject(parent), m_context(context), m_center(center)
{
}

ProfileService::~ProfileService() = default;

QString ProfileService::profilesRootPath()
{
    return profiles::profilesRoot();
}

Result<QString> ProfileService::allocateConfigDirectory(const QUuid &id)
{
    return profiles::allocateConfigDirectory(id);
}

Result<QString> ProfileService::allocateCodexDirectory(const QUuid &id)
{
    return profiles::allocateCodexDirectory(id);
}

QList<std::shared_ptr<Profile>> ProfileService::fetchProfiles()
{
    return m_context.fetchOrEmpty<Profile>(Query().orderBy("sortOrder").orderBy("createdAt"));
}

std::shared_ptr<Profile> ProfileService::defaultProfile()
{
    for (const auto &profile : fetchProfiles())
        if (profile->isDefault)
            return profile;
    return nullptr;
}

std::shared_ptr<Profile> ProfileService::profileNamed(const QString &nameOrId)
{
    const QString wanted = nameOrId.trimmed();
    if (wanted.isEmpty())
        return nullptr;
    const QUuid asId = QUuid::fromString(wanted);
    std::shared_ptr<Profile> found;
    for (const auto &profile : fetchProfiles()) {
        if (!asId.isNull() && profile->id == asId)
            return profile;
        if (profile->name.trimmed().compare(wanted, Qt::CaseInsensitive) != 0)
            continue;
        if (found)
            return nullptr; // two profiles of that name: the caller must use the id
        found = profile;
    }
    return found;
}

Result<std::shared_ptr<Profile>> ProfileService::createProfile(const QString &name, ProfileColor color,
                                                                const std::optional<QString> &iconName,
                                                                const std::optional<QString> &configDirOverride)
{
    const QString trimmedName = name.trimmed();
    if (trimmedName.isEmpty())
        return Error(QStringLiteral("A profile needs a name."));

    Profile profile;
    profile.name = trimmedName;
    // Folders this call made, removed again if the profile does not come into being.
    QStringList made;
    auto undo = [&made] {
        for (auto it = made.crbegin(); it != made.crend(); ++it)
            QDir(*it).removeRecursively();
    };

    const QString chosenDir = configDirOverride ? configDirOverride->trimmed() : QString();
    if (!chosenDir.isEmpty()) {
        profile.configDirPath = QDir::cleanPath(expandHome(chosenDir));
        // claude makes its folder itself on first run, so a folder we can't make now is no reason
        // to refuse the profile; the user pointed at it on purpose.
        if (!QDir().mkpath(profile.configDirPath))
            logLine("Profiles", QStringLiteral("Could not create %1; claude will try on first run").arg(profile.configDirPath));
    } else {
        auto folder = allocateConfigDirectory(profile.id);
        if (!folder)
            return folder.error().prefixed(QStringLiteral("Couldn't create the profile's folder: "));
        profile.configDirPath = *folder;
        made << *folder;
    }

    const QString ownRoot = profilesRootPath() + QLatin1Char('/') + profile.id.toString(QUuid::WithoutBraces).toUpper();
    const bool ownRootExisted = QFileInfo::exists(ownRoot);
    auto codex = allocateCodexDirectory(profile.id);
    if (!codex) {
        undo();
        return codex.error().prefixed(QStringLiteral("Couldn't create the profile's folder: "));
    }
    made << (ownRootExisted ? *codex : ownRoot);
    profile.codexHomeDir = *codex;

    qint64 highest = -1;
    for (const auto &other : fetchProfiles())
        highest = std::max(highest, other->sortOrder);
    profile.sortOrder = highest + 1;
    profile.colorHex = profileColorHex(color);
    if (iconName && !iconName->trimmed().isEmpty())
        profile.iconName = iconName->trimmed();
    profile.isDefault = false;
    profile.createdAt = QDateTime::currentDateTime();

    auto inserted = m_context.insert(profile);
    if (Status saved = m_context.save(); !saved) {
        m_context.remove(inserted);
        undo();
        return saved.error().prefixed(QStringLiteral("Couldn't save the profile: "));
    }
    m_center.post(broadcast::profilesDidChange);
    return inserted;
}

Status ProfileService::renameProfile(const std::shared_ptr<Profile> &profile, const QString &name)
{
    const QString trimmed = name.trimmed();
    if (!profile || trimmed.isEmpty() || trimmed == profile->name)
        return {};
    profile->name = trimmed;
    return saveAndPost("Renaming a profile");
}

Status ProfileService::updateAppearance(const std::shared_ptr<Profile> &profile, std::optional<ProfileColor> color,
                                        std::optional<std::optional<QString>> iconName)
{
    if (!profile)
        return {};
    if (color)
        profile->colorHex = profileColorHex(*color);
    if (iconName) {
        const std::optional<QString> &inner = *iconName;
        if (inner && !inner->trimmed().isEmpty())
            profile->iconName = inner->trimmed();
        else
            profile->iconName.reset();
    }
    return saveAndPost("Changing a profile's appearance");
}

Status ProfileService::setDefaultProfile(const std::shared_ptr<Profile> &profile)
{
    if (!profile || profile->isDefault)
        return {};
    for (const auto &other : fetchProfiles())
        other->isDefault = false;
    profile->isDefault = true;
    return saveAndPost("Changing the default profile");
}

Status ProfileService::deleteProfile(const std::shared_ptr<Profile> &profile, bool deleteFiles,
                                     std::function<void(Status)> filesRemoved)
{
    if (!profile || profile->isDefault)
        return {};
    const auto fallback = defaultProfile();
    for (const auto &project : m_context.fetchOrEmpty<Project>(Query(where::eq("profileId", profile->id))))
        project->profileId = fallback ? std::optional<QUuid>(fallback->id) : std::nullopt;
    const QString configDir = profile->configDirPath;
    const std::optional<QString> codexHome = profile->codexHomeDir;
    m_context.remove(profile);
    if (Status saved = saveAndPost("Deleting a profile"); !saved)
        return saved;
    if (!deleteFiles)
        return {};

    // A profile on a folder of the user's choosing still has its codex home under the profiles
    // root: that folder is ours alone and goes too.
    const QString ownRoot = profilesRootPath() + QLatin1Char('/') + profile->id.toString(QUuid::WithoutBraces).toUpper();
    const bool removeOwnRoot = codexHome && QDir::cleanPath(*codexHome).startsWith(ownRoot + QLatin1Char('/'));
    // A signed-in claude folder holds its whole history: removing it can take seconds.
    runInBackground(this, [configDir, ownRoot, removeOwnRoot] {
        Status removed = removeFolder(configDir);
        if (removed && removeOwnRoot)
            removed = removeFolder(ownRoot);
        return removed;
    }, [filesRemoved = std::move(filesRemoved)](Status removed) {
        if (!removed)
            removed = removed.error().prefixed(QStringLiteral("The profile was deleted, but its files were not: "));
        if (filesRemoved)
            filesRemoved(removed);
    });
    return {};
}

Status ProfileService::reorderProfiles(const QList<std::shared_ptr<Profile>> &profiles)
{
    qint64 order = 0;
    for (const auto &profile : profiles)
        profile->sortOrder = order++;
    return saveAndPost("Reordering profiles");
}

std::optional<QString> ProfileService::resolveClaudeBinary() const
{
    return locateTool(AgentTool::claude, m_claudePath).path;
}

void ProfileService::fetchAuthStatus(const std::optional<QString> &configDirPath, QObject *receiver,
                                     AuthStatusHandler done)
{
    QPointer<QObject> guard(receiver ? receiver : this);
    auto answer = [guard, done = std::move(done)](std::optional<AuthStatus> status) {
        if (guard && done)
            done(std::move(status));
    };
    const auto claude = resolveClaudeBinary();
    if (!claude) {
        QTimer::singleShot(0, this, [answer] { answer(std::nullopt); });
        return;
    }

    ProcessCommand command;
    command.program = *claude;
    command.arguments = {QStringLiteral("auth"), QStringLiteral("status"), QStringLiteral("--json")};
    command.workingDirectory = QDir::homePath();
    if (configDirPath && !configDirPath->trimmed().isEmpty()) {
        Profile asked;
        asked.configDirPath = *configDirPath;
        command.environment = claudeEnvironment(QProcessEnvironment::systemEnvironment(), &asked);
    } else {
        command.environment = claudeEnvironment(QProcessEnvironment::systemEnvironment(), nullptr);
    }

    auto *child = new ChildProcess(ChildProcess::OutputMode::Raw, this);
    auto *timer = new QTimer(child);
    auto output = std::make_shared<QByteArray>();
    auto finish = [child, answer](std::optional<AuthStatus> status) {
        if (child->property("answered").toBool())
            return;
        child->setProperty("answered", true);
        answer(std::move(status));
        child->deleteLater();
    };
    connect(child, &ChildProcess::outputReady, child, [output](const QByteArray &data) { output->append(data); });
    connect(child, &ChildProcess::finished, child, [output, finish] { finish(auth::parseClaudeAuthStatus(*output)); });
    connect(child, &ChildProcess::failedToStart, child, [finish](const Error &error) {
        logLine("Profiles", QStringLiteral("claude auth status: ") + error.message);
        finish(std::nullopt);
    });
    timer->setSingleShot(true);
    connect(timer, &QTimer::timeout, child, [child, finish] {
        logLine("Profiles", QStringLiteral("claude auth status did not answer in time"));
        child->kill();
        finish(std::nullopt);
    });
    timer->start(m_authTimeoutMs);
    child->start(command);
}

CodexAuthStatus ProfileService::fetchCodexAuthStatus(const std::optional<QString> &codexHomeDir)
{
    return auth::readCodexAuth(codexHomeDir);
}

void ProfileService::refreshAccountInfo(const std::shared_ptr<Profile> &profile, AuthStatusHandler done)
{
    if (!profile)
        return;
    if (!resolveClaudeBinary()) {
        if (done)
            done(std::nullopt);
        return;
    }
    const std::optional<QString> dir = profile->isDefault ? std::nullopt : std::optional<QString>(profile->configDirPath);
    fetchAuthStatus(dir, this, [this, profile, done = std::move(done)](std::optional<AuthStatus> status) {
        if (status && status->loggedIn) {
            profile->accountEmail = status->email;
            profile->lastLoginAt = notEarlierThan(profile->lastLoginAt, QDateTime::currentDateTime());
            if (Status saved = m_context.save(); !saved)
                logLine("Profiles", QStringLiteral("Saving the sign-in: ") + saved.error().message);
        }
        if (done)
            done(status);
    });
}

Status ProfileService::saveCodexApiKey(const std::shared_ptr<Profile> &profile, const QString &key)
{
    if (!profile)
        return Error(QStringLiteral("No profile."));
    if (key.trimmed().isEmpty())
        return Error(QStringLiteral("Couldn't write auth.json: the API key is empty."));
    const QString dir = profile->codexHomeDir && !profile->codexHomeDir->trimmed().isEmpty()
        ? *profile->codexHomeDir : QDir::homePath() + QStringLiteral("/.codex");
    auto written = auth::writeApiKeyAuth(dir, key);
    if (!written)
        return written.error().prefixed(QStringLiteral("Couldn't write auth.json: "));
    profile->codexAccountEmail.reset();
    profile->codexLastLoginAt = notEarlierThan(profile->codexLastLoginAt, QDateTime::currentDateTime());
    return saveAndPost("Saving the API key sign-in");
}

Status ProfileService::saveAndPost(const char *what)
{
    if (Status saved = m_context.save(); !saved) {
        logLine("Profiles", QStringLiteral("%1: %2").arg(QLatin1String(what), saved.error().message));
        return saved;
    }
    m_center.post(broadcast::profilesDidChange);
    return {};
}

} // namespace corvane
