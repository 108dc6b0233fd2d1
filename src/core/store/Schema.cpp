#include "core/store/Schema.h"

#include "core/records/AgentDefinition.h"
#include "core/records/AutomationFlow.h"
#include "core/records/AutomationIteration.h"
#include "core/records/AutomationRun.h"
#include "core/records/Chat.h"
#include "core/records/ChatActivityDay.h"
#include "core/records/ChecklistItem.h"
#include "core/records/GateResult.h"
#include "core/records/Issue.h"
#include "core/records/IssueLabel.h"
#include "core/records/Message.h"
#include "core/records/Milestone.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/records/ProjectAction.h"
#include "core/records/QualityGate.h"
#include "core/records/Skill.h"
#include "core/records/SkillVersion.h"
#include "core/records/Workspace.h"

namespace corvane::store {

const QList<const RecordOps *> &allRecordTypes()
{
    static const QList<const RecordOps *> types{
        &recordOps<Profile>(), &recordOps<Project>(), &recordOps<Workspace>(), &recordOps<Chat>(),
        &recordOps<Message>(), &recordOps<ChatActivityDay>(), &recordOps<ProjectAction>(),
        &recordOps<Skill>(), &recordOps<SkillVersion>(), &recordOps<Milestone>(), &recordOps<Issue>(),
        &recordOps<IssueLabel>(), &recordOps<ChecklistItem>(), &recordOps<AgentDefinition>(),
        &recordOps<AutomationFlow>(), &recordOps<QualityGate>(), &recordOps<AutomationRun>(),
        &recordOps<AutomationIteration>(), &recordOps<GateResult>()};
    return types;
}

} // namespace corvane::store
