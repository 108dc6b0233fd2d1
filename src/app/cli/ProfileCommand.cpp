#include "app/cli/ProfilesCommand.h"
#include "app/cli/CliOutput.h"

#include "accounts/ProfileColor.h"
#include "accounts/ProfileService.h"
#include "core/NotificationCenter.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"

#include <QCommandLineParser>
#include <QEventLoop>

namespace corvane::cli {

namespace {

QString upperId(const Profile &profile)
{
    return profile.id.toString(QUuid::WithoutBraces).toUpper();
}

// The parser of one verb, with its usage errors said the same way ("corvane-cli profile new: ...").
struct VerbParser
{
    QCommandLineParser parser;
    QString verb;

    bool parse(const QStringList &args, int positionals)
    {
        if (!parser.parse(args)) {
            printErr(QStringLiteral("corvane-cli profile %1: %2").arg(verb, parser.errorText()));
            return false;
        }
        if (parser.positionalArguments().size() != positionals) {
            printErr(QStringLiteral("corvane-cli profile %1: expected %2 (try corvane-cli help)")
                         .arg(verb, parser.positionalArguments().size() < positionals ? QStringLiteral("more arguments")
                                                                                      : QStringLiteral("fewer arguments")));
            return false;
        }
        return true;
    }
    QString positional(int index) const { return parser.positionalArguments().value(index); }
};

// The profile a script names, by name (ignoring case) or id; says why when there is none.
std::shared_ptr<Profile> findProfile(ProfileService &service, const QString &verb, const QString &wanted)
{
    if (auto profile = service.profileNamed(wanted))
        return profile;
    int sameName = 0;
    for (const auto &profile : service.fetchProfiles())
        sameName += profile->name.trimmed().compare(wanted.trimmed(), Qt::CaseInsensitive) == 0;
    printErr(sameName > 1 ? QStringLiteral("corvane-cli profile %1: %2 profiles are named \"%3\"; give its id (see corvane-cli profiles)")
                                .arg(verb).arg(sameName).arg(wanted)
                          : QStringLiteral("corvane-cli profile %1: no profile named \"%2\" (see corvane-cli profiles)").arg(verb, wanted));
    return nullptr;
}

int failed(const QString &verb, const Error &error)
{
    printErr(QStringLiteral("corvane-cli profile %1: %2").arg(verb, error.message));
    return 1;
}

int newProfile(ProfileService &service, const QStringList &args)
{
    VerbParser verb{{}, QStringLiteral("new")};
    verb.parser.addOption({"color", "blue, purple, pink, red, orange, yellow, green, teal, indigo, gray or a hex value.", "COLOR"});
    verb.parser.addOption({"icon", "An icon name.", "NAME"});
    verb.parser.addOption({"config-dir", "Use this claude configuration folder instead of a fresh one.", "DIR"});
    if (!verb.parse(args, 1))
        return 2;
    ProfileColor color = ProfileColor::blue;
    if (verb.parser.isSet("color")) {
        const auto chosen = profileColorFromText(verb.parser.value("color"));
        if (!chosen) {
            printErr(QStringLiteral("corvane-cli profile new: unknown colour \"%1\"").arg(verb.parser.value("color")));
            return 2;
        }
        color = *chosen;
    }
    const auto icon = verb.parser.isSet("icon") ? std::optional(verb.parser.value("icon")) : std::nullopt;
    const auto dir = verb.parser.isSet("config-dir") ? std::optional(verb.parser.value("config-dir")) : std::nullopt;
    auto created = service.createProfile(verb.positional(0), color, icon, dir);
    if (!created)
        return failed(verb.verb, created.error());
    const Profile &profile = **created;
    printOut(QStringList{upperId(profile), profile.name, profile.configDirPath, profile.codexHomeDir.value_or(QString())}
                 .join(QLatin1Char('\t')));
    return 0;
}

int renameProfile(ProfileService &service, const QStringList &args)
{
    VerbParser verb{{}, QStringLiteral("rename")};
    if (!verb.parse(args, 2))
        return 2;
    if (verb.positional(1).trimmed().isEmpty()) {
        printErr(QStringLiteral("corvane-cli profile rename: the new name is blank"));
        return 2;
    }
    const auto profile = findProfile(service, verb.verb, verb.positional(0));
    if (!profile)
        return 1;
    if (Status renamed = service.renameProfile(profile, verb.positional(1)); !renamed)
        return failed(verb.verb, renamed.error());
    printOut(QStringList{upperId(*profile), profile->name}.join(QLatin1Char('\t')));
    return 0;
}

int makeDefault(ProfileService &service, const QStringList &args)
{
    VerbParser verb{{}, QStringLiteral("default")};
    if (!verb.parse(args, 1))
        return 2;
    const auto profile = findProfile(service, verb.verb, verb.positional(0));
    if (!profile)
        return 1;
    if (Status made = service.setDefaultProfile(profile); !made)
        return failed(verb.verb, made.error());
    printOut(QStringList{upperId(*profile), profile->name + QStringLiteral(" (default)")}.join(QLatin1Char('\t')));
    return 0;
}

int deleteProfile(ProfileService &service, StoreContext &context, const QStringList &args)
{
    VerbParser verb{{}, QStringLiteral("delete")};
    verb.parser.addOption({"delete-files", "Also remove the profile's claude configuration folder and codex home."});
    verb.parser.addOption({"yes", "Delete without asking for confirmation."});
    if (!verb.parse(args, 1))
        return 2;
    const auto profile = findProfile(service, verb.verb, verb.positional(0));
    if (!profile)
        return 1;
    if (profile->isDefault) {
        printErr(QStringLiteral("corvane-cli profile delete: \"%1\" is the default profile, which can't be deleted; "
                                "make another profile the default first").arg(profile->name));
        return 1;
    }
    const qsizetype projects = context.fetchOrEmpty<Project>(Query(where::eq("profileId", profile->id))).size();
    const auto fallback = service.defaultProfile();
    QString what = projects == 0 ? QStringLiteral("No projects are linked to this profile.")
                   : projects == 1 ? QStringLiteral("1 project will be moved to the default profile.")
                                   : QStringLiteral("%1 projects will be moved to the default profile.").arg(projects);
    if (verb.parser.isSet("delete-files"))
        what += QStringLiteral(" Its config directory %1 will be removed.").arg(profile->configDirPath);
    if (!verb.parser.isSet("yes")) {
        printErr(QStringLiteral("corvane-cli profile delete: %1 Give --yes to delete \"%2\".").arg(what, profile->name));
        return 1;
    }
    Status filesRemoved;
    QEventLoop loop;
    bool waiting = verb.parser.isSet("delete-files");
    const Status deleted = service.deleteProfile(profile, waiting, [&](Status removed) {
        filesRemoved = std::move(removed);
        waiting = false;
        loop.quit();
    });
    if (!deleted)
        return failed(verb.verb, deleted.error());
    if (waiting)
        loop.exec();
    printOut(QStringList{QStringLiteral("deleted"), upperId(*profile), profile->name}.join(QLatin1Char('\t')));
    if (projects > 0 && fallback)
        printErr(QStringLiteral("moved %1 project(s) to \"%2\"").arg(projects).arg(fallback->name));
    if (!filesRemoved)
        return failed(verb.verb, filesRemoved.error());
    return 0;
}

} // namespace

int profileCommand(const QStringList &arguments)
{
    const QString action = arguments.value(1);
    const QStringList rest = withoutVerb(arguments);
    const QStringList verbs{QStringLiteral("new"), QStringLiteral("rename"), QStringLiteral("delete"), QStringLiteral("default")};
    if (!verbs.contains(action)) {
        printErr(QStringLiteral("corvane-cli profile: give new, rename, delete or default (try corvane-cli help)"));
        return 2;
    }
    const std::shared_ptr<Store> store = openStoreOrSay();
    if (!store)
        return 1;
    // A window showing the same store hears of the change through the store itself.
    NotificationCenter center;
    ProfileService service(store->mainContext(), center);
    if (action == verbs.at(0))
        return newProfile(service, rest);
    if (action == verbs.at(1))
        return renameProfile(service, rest);
    if (action == verbs.at(2))
        return deleteProfile(service, store->mainContext(), rest);
    return makeDefault(service, rest);
}

} // namespace corvane::cli
