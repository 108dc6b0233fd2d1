#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace corvane {

// One row of the first-run checklist: something Corvane needs, how to tell whether it is there
// and how to put it right.
struct OnboardingChecklistItem
{
    enum class Kind { dependency, claudeLogin, codexLogin, permissionNotifications, permissionMicrophone };
    enum class State { unknown, checking, ok, missing, installing, failed };

    QString id;
    QString title;
    QString subtitle;
    // A freedesktop icon name for the row.
    QString iconName;
    Kind kind = Kind::dependency;
    // For dependency rows: where the program may be (any existing path counts) and the shell
    // line that installs it.
    QStringList checkPaths;
    QString installCommand;
    // Required rows keep Continue closed until they are ok.
    bool isRequired = false;
    // The id of the row that must be ok before this one can be acted on.
    std::optional<QString> dependsOn;
    State state = State::unknown;
    // Why a failed row failed: what the action printed, or a sentence of ours.
    QString failureText;
    // Output of the last action; empty until one ran.
    QString failureLog;
    // A plain explanation from the last check (for example that this machine has no
    // notification service); shown under the subtitle.
    QString note;
    // False when the last check found that nothing can satisfy this row on this machine. Such
    // a permission row is then not counted against Continue.
    bool attainable = true;

    bool isPermission() const
    {
        return kind == Kind::permissionNotifications || kind == Kind::permissionMicrophone;
    }
};

// What a check found.
struct OnboardingCheck
{
    OnboardingChecklistItem::State state = OnboardingChecklistItem::State::missing; // ok or missing
    QString note;
    bool attainable = true;

    static OnboardingCheck ok() { return {OnboardingChecklistItem::State::ok, {}, true}; }
    static OnboardingCheck missing(const QString &note = {}, bool attainable = true)
    {
        return {OnboardingChecklistItem::State::missing, note, attainable};
    }
};

namespace onboarding {

// Where the rows look, injectable for tests: the user's home and short name, and the folders
// npm installs global programs into when known.
struct Places
{
    QString home;
    QString user;
    QStringList environment; // "NAME=value", ours
};
Places currentPlaces();

// The eight rows, in the order they are shown.
QList<OnboardingChecklistItem> defaultItems(const Places &places = currentPlaces());

// Install lines, each a script for the user's login shell.
QString gitInstallCommand();
QString nodeInstallCommand();
QString npmInstallCommand(const QString &package);

QString stateName(OnboardingChecklistItem::State state);

} // namespace onboarding
} // namespace corvane
