#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>

namespace corvane {

struct PlanTask
{
    enum class Status { pending, inProgress, completed };

    QString id;
    QString subject;
    QString description;
    std::optional<QString> activeForm;
    Status status = Status::pending;
    QStringList blocks;
    QStringList blockedBy;

    bool operator==(const PlanTask &) const = default;
};

QString toRaw(PlanTask::Status status);
std::optional<PlanTask::Status> planTaskStatusFromRaw(const QString &raw);

// The live plan of a chat, built from the agent's own planning tools, which the timeline hides.
struct PlanState
{
    bool isActive = false;
    QList<PlanTask> tasks;
    bool isAwaitingApproval = false;
    std::optional<QString> planContent;
    std::optional<QString> planFilePath;
    QString accumulatedText;

    void reset() { *this = PlanState(); }
    // What the user reviews: the plan file or the agent's own plan text when there is one, else
    // what the agent said while planning.
    QString shownText() const { return planContent.value_or(accumulatedText); }
    bool operator==(const PlanState &) const = default;
};

namespace planfilter {

struct Outcome
{
    bool hidden = false;  // the tool leaves no row and its result is dropped
    bool changed = false; // the plan changed: tell whoever shows it
    QStringList logLines; // what is worth a line in the chat's log
};

// Applies one tool use of the agent to the plan. Pure apart from `plan`.
Outcome apply(PlanState &plan, const QString &toolName, const QVariantMap &input);

// A file the agent writes its plan to.
bool isPlanPath(const QString &path);

} // namespace planfilter
} // namespace corvane
