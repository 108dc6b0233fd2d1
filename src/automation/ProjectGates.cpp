#include "automation/ProjectGates.h"

#include "core/store/StoreContext.h"

#include <QSet>

namespace corvane::projectgates {

QString defaultFeedback()
{
    return QStringLiteral("The quality gate \"{name}\" failed with exit code {exitCode}. "
                          "Fix the cause and signal readiness again.\n\n{output}");
}

QList<std::shared_ptr<QualityGate>> of(StoreContext &context, const QUuid &projectId)
{
    return context.fetchOrEmpty<QualityGate>(Query(where::eq("projectId", projectId)).orderBy("order"));
}

Status check(const QList<QualityGate> &gates)
{
    QSet<QString> names;
    for (int i = 0; i < gates.size(); ++i) {
        const QualityGate &gate = gates[i];
        const QString name = gate.name.trimmed();
        if (name.isEmpty())
            return Error(QStringLiteral("Gate %1 has no name").arg(i + 1));
        if (gate.command.trimmed().isEmpty())
            return Error(QStringLiteral("The gate \"%1\" has no command").arg(name));
        if (gate.timeoutSeconds < 0)
            return Error(QStringLiteral("The time-out of \"%1\" cannot be negative").arg(name));
        if (names.contains(name))
            return Error(QStringLiteral("Two gates are named \"%1\"").arg(name));
        names.insert(name);
    }
    return {};
}

Status save(StoreContext &context, const QUuid &projectId, QList<QualityGate> gates)
{
    if (Status checked = check(gates); !checked)
        return checked;
    QSet<QUuid> kept;
    for (const QualityGate &gate : gates)
        kept.insert(gate.id);
    for (const auto &stored : of(context, projectId))
        if (!kept.contains(stored->id))
            context.remove(stored);
    const QDateTime now = QDateTime::currentDateTime();
    for (int i = 0; i < gates.size(); ++i) {
        QualityGate gate = gates[i];
        gate.projectId = projectId;
        gate.name = gate.name.trimmed();
        gate.order = i;
        if (gate.workingDirOverride && gate.workingDirOverride->trimmed().isEmpty())
            gate.workingDirOverride.reset();
        if (auto stored = context.get<QualityGate>(gate.id)) {
            gate.createdAt = stored->createdAt;
            gate.updatedAt = now;
            *stored = gate;
        } else {
            context.insert(gate);
        }
    }
    Status saved = context.save();
    if (!saved)
        context.rollback(); // the dialog keeps the user's list; the context holds what is stored
    return saved;
}

} // namespace corvane::projectgates
