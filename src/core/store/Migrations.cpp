#include "core/store/Migrations.h"

#include "core/store/MessageSearchIndex.h"

namespace corvane::store {

namespace {

// Version 1. Relationships are foreign keys with the delete rules of the records: owned lists
// cascade, references that may outlive their target are set to NULL. Every foreign key has an
// index, so a cascade never scans a whole table.
const char *const kVersion1 = R"sql(
CREATE TABLE Profile (
    id TEXT PRIMARY KEY NOT NULL,
    name TEXT NOT NULL,
    configDirPath TEXT NOT NULL,
    iconName TEXT,
    colorHex TEXT,
    sortOrder INTEGER NOT NULL,
    createdAt INTEGER NOT NULL,
    lastLoginAt INTEGER,
    accountEmail TEXT,
    codexHomeDir TEXT,
    codexAccountEmail TEXT,
    codexLastLoginAt INTEGER,
    defaultModelId TEXT,
    commitMessageModelId TEXT,
    isDefault INTEGER NOT NULL,
    lastActiveWorkspaceId TEXT
);

CREATE TABLE Project (
    id TEXT PRIMARY KEY NOT NULL,
    name TEXT NOT NULL,
    path TEXT NOT NULL,
    createdAt INTEGER NOT NULL,
    sortOrder INTEGER NOT NULL,
    isExpanded INTEGER NOT NULL,
    runCommand TEXT,
    currentBranch TEXT,
    branchCheckedAt INTEGER,
    githubUsername TEXT,
    defaultNewBranch TEXT,
    iconName TEXT,
    colorHex TEXT,
    profileId TEXT REFERENCES Profile(id) ON DELETE SET NULL,
    hygieneDiskUsage TEXT,
    hygieneStashCount INTEGER,
    hygieneUncommittedCount INTEGER,
    hygieneStaleBranchCount INTEGER,
    hygieneZombieCount INTEGER,
    hygieneOutdatedDepsCount INTEGER,
    hygieneCheckedAt INTEGER
);
CREATE INDEX Project_profileId ON Project(profileId);

CREATE TABLE Workspace (
    id TEXT PRIMARY KEY NOT NULL,
    name TEXT NOT NULL,
    createdAt INTEGER NOT NULL,
    updatedAtStorage INTEGER,
    sortOrder INTEGER NOT NULL,
    planStatusRaw TEXT,
    statusRaw TEXT,
    archivedAt INTEGER,
    gitBranch TEXT,
    usesWorktree INTEGER NOT NULL,
    worktreePath TEXT,
    worktreeBaseBranch TEXT,
    activeChatId TEXT,
    inspectorTabRaw INTEGER,
    isTerminalVisible INTEGER NOT NULL,
    terminalHeightStorage REAL,
    prURL TEXT,
    prNumber INTEGER,
    prTitle TEXT,
    prStateRaw TEXT,
    prHeadBranch TEXT,
    prBaseBranch TEXT,
    prAuthorLogin TEXT,
    prUpdatedAt INTEGER,
    prLinkedAt INTEGER,
    automationStatusRaw TEXT,
    projectId TEXT REFERENCES Project(id) ON DELETE CASCADE
);
CREATE INDEX Workspace_statusRaw ON Workspace(statusRaw);
CREATE INDEX Workspace_projectId ON Workspace(projectId);

CREATE TABLE Chat (
    id TEXT PRIMARY KEY NOT NULL,
    name TEXT NOT NULL,
    createdAt INTEGER NOT NULL,
    updatedAtStorage INTEGER,
    sortOrder INTEGER NOT NULL,
    gitBranch TEXT,
    claudeSessionId TEXT,
    modelId TEXT,
    previousClaudeSessionId TEXT,
    migratedFromProfileId TEXT,
    pendingProfileMigration INTEGER NOT NULL,
    statusRaw TEXT,
    archivedAt INTEGER,
    agentTypeRaw TEXT,
    agentRoleRaw TEXT,
    usesWorktree INTEGER NOT NULL,
    worktreePath TEXT,
    worktreeBaseBranch TEXT,
    projectId TEXT REFERENCES Project(id) ON DELETE CASCADE,
    workspaceId TEXT REFERENCES Workspace(id) ON DELETE CASCADE
);
CREATE INDEX Chat_statusRaw_createdAt ON Chat(statusRaw, createdAt);
CREATE INDEX Chat_projectId ON Chat(projectId);
CREATE INDEX Chat_workspaceId ON Chat(workspaceId);

CREATE TABLE Message (
    id TEXT PRIMARY KEY NOT NULL,
    role TEXT NOT NULL,
    content TEXT NOT NULL,
    contentType TEXT NOT NULL,
    toolName TEXT,
    timestamp INTEGER NOT NULL,
    metadata BLOB,
    isComplete INTEGER NOT NULL,
    chatId TEXT REFERENCES Chat(id) ON DELETE CASCADE
);
CREATE INDEX Message_timestamp ON Message(timestamp);
CREATE INDEX Message_chatId_timestamp ON Message(chatId, timestamp);

CREATE TABLE ChatActivityDay (
    id TEXT PRIMARY KEY NOT NULL,
    day INTEGER NOT NULL,
    chatId TEXT REFERENCES Chat(id) ON DELETE CASCADE
);
CREATE INDEX ChatActivityDay_day ON ChatActivityDay(day);
CREATE INDEX ChatActivityDay_chatId ON ChatActivityDay(chatId);

CREATE TABLE ProjectAction (
    id TEXT PRIMARY KEY NOT NULL,
    name TEXT NOT NULL,
    symbolName TEXT NOT NULL,
    script TEXT NOT NULL,
    sortOrder INTEGER NOT NULL,
    projectId TEXT REFERENCES Project(id) ON DELETE CASCADE
);
CREATE INDEX ProjectAction_projectId ON ProjectAction(projectId);

CREATE TABLE Skill (
    id TEXT PRIMARY KEY NOT NULL,
    name TEXT NOT NULL,
    skillDescription TEXT,
    version TEXT,
    argumentHint TEXT,
    allowedTools TEXT NOT NULL,
    typeRaw TEXT NOT NULL,
    filePath TEXT NOT NULL,
    sourceKindRaw TEXT NOT NULL,
    projectPath TEXT,
    lastSyncedAt INTEGER NOT NULL,
    currentVersionNumber INTEGER NOT NULL DEFAULT 0,
    projectId TEXT REFERENCES Project(id) ON DELETE CASCADE
);
CREATE INDEX Skill_projectId ON Skill(projectId);

CREATE TABLE SkillVersion (
    id TEXT PRIMARY KEY NOT NULL,
    versionNumber INTEGER NOT NULL,
    files TEXT NOT NULL,
    createdAt INTEGER NOT NULL,
    label TEXT,
    skillId TEXT REFERENCES Skill(id) ON DELETE CASCADE
);
CREATE INDEX SkillVersion_skillId ON SkillVersion(skillId);

CREATE TABLE Milestone (
    id TEXT PRIMARY KEY NOT NULL,
    title TEXT NOT NULL,
    descriptionText TEXT,
    dueDate INTEGER,
    createdAt INTEGER NOT NULL,
    projectId TEXT REFERENCES Project(id) ON DELETE CASCADE
);
CREATE INDEX Milestone_projectId ON Milestone(projectId);

CREATE TABLE Issue (
    id TEXT PRIMARY KEY NOT NULL,
    title TEXT NOT NULL,
    descriptionText TEXT,
    statusRaw TEXT NOT NULL,
    typeRaw TEXT NOT NULL,
    priorityRaw TEXT NOT NULL,
    sortOrder INTEGER NOT NULL,
    dueDate INTEGER,
    createdAt INTEGER NOT NULL,
    updatedAtStorage INTEGER,
    planFilePath TEXT,
    projectId TEXT REFERENCES Project(id) ON DELETE CASCADE,
    milestoneId TEXT REFERENCES Milestone(id) ON DELETE SET NULL,
    workspaceId TEXT REFERENCES Workspace(id) ON DELETE SET NULL
);
CREATE INDEX Issue_status_type_priority ON Issue(statusRaw, typeRaw, priorityRaw);
CREATE INDEX Issue_projectId ON Issue(projectId);
CREATE INDEX Issue_milestoneId ON Issue(milestoneId);
CREATE INDEX Issue_workspaceId ON Issue(workspaceId);

CREATE TABLE IssueLabel (
    id TEXT PRIMARY KEY NOT NULL,
    name TEXT NOT NULL,
    colorHex TEXT NOT NULL,
    projectId TEXT REFERENCES Project(id) ON DELETE CASCADE,
    issueId TEXT REFERENCES Issue(id) ON DELETE CASCADE
);
CREATE INDEX IssueLabel_projectId ON IssueLabel(projectId);
CREATE INDEX IssueLabel_issueId ON IssueLabel(issueId);

CREATE TABLE ChecklistItem (
    id TEXT PRIMARY KEY NOT NULL,
    title TEXT NOT NULL,
    isCompleted INTEGER NOT NULL,
    sortOrder INTEGER NOT NULL,
    createdAt INTEGER NOT NULL,
    issueId TEXT REFERENCES Issue(id) ON DELETE CASCADE
);
CREATE INDEX ChecklistItem_issueId ON ChecklistItem(issueId);

CREATE TABLE AgentDefinition (
    id TEXT PRIMARY KEY NOT NULL,
    name TEXT NOT NULL,
    displayName TEXT NOT NULL,
    descriptionText TEXT NOT NULL,
    systemPrompt TEXT NOT NULL,
    allowedTools TEXT,
    model TEXT,
    icon TEXT NOT NULL,
    colorHex TEXT NOT NULL,
    scopeRaw TEXT NOT NULL,
    projectId TEXT REFERENCES Project(id) ON DELETE SET NULL,
    filePath TEXT NOT NULL,
    isBuiltin INTEGER NOT NULL,
    createdAt INTEGER NOT NULL,
    updatedAt INTEGER NOT NULL
);
CREATE INDEX AgentDefinition_projectId ON AgentDefinition(projectId);

CREATE TABLE AutomationFlow (
    id TEXT PRIMARY KEY NOT NULL,
    name TEXT NOT NULL,
    descriptionText TEXT NOT NULL,
    icon TEXT NOT NULL,
    colorHex TEXT NOT NULL,
    coordinatorPrompt TEXT NOT NULL,
    availableAgentNames TEXT NOT NULL,
    enabledGateNames TEXT,
    skipImplementationPhase INTEGER NOT NULL,
    skipReviewPhase INTEGER NOT NULL,
    requiresExistingDiff INTEGER NOT NULL,
    permissionModeRaw TEXT NOT NULL,
    scopeRaw TEXT NOT NULL,
    projectId TEXT REFERENCES Project(id) ON DELETE SET NULL,
    filePath TEXT NOT NULL UNIQUE,
    defaultOpenWorkspace INTEGER NOT NULL,
    isBuiltin INTEGER NOT NULL,
    createdAt INTEGER NOT NULL,
    updatedAt INTEGER NOT NULL
);
CREATE INDEX AutomationFlow_projectId ON AutomationFlow(projectId);

CREATE TABLE QualityGate (
    id TEXT PRIMARY KEY NOT NULL,
    projectId TEXT REFERENCES Project(id) ON DELETE SET NULL,
    name TEXT NOT NULL,
    command TEXT NOT NULL,
    workingDirOverride TEXT,
    successExitCode INTEGER NOT NULL,
    timeoutSeconds INTEGER NOT NULL,
    isRequired INTEGER NOT NULL,
    "order" INTEGER NOT NULL,
    feedbackTemplate TEXT NOT NULL,
    isEnabled INTEGER NOT NULL,
    createdAt INTEGER NOT NULL,
    updatedAt INTEGER NOT NULL
);
CREATE INDEX QualityGate_projectId ON QualityGate(projectId);

CREATE TABLE AutomationRun (
    id TEXT PRIMARY KEY NOT NULL,
    workspaceId TEXT REFERENCES Workspace(id) ON DELETE CASCADE,
    issueId TEXT,
    coordinatorChatId TEXT NOT NULL,
    flowName TEXT NOT NULL,
    coordinatorPromptSnapshot TEXT NOT NULL,
    creationModeRaw INTEGER NOT NULL,
    statusRaw TEXT NOT NULL,
    currentPhaseRaw TEXT NOT NULL,
    iterationCount INTEGER NOT NULL,
    cumulativeTokens INTEGER NOT NULL,
    cumulativeCostUSD REAL NOT NULL,
    startedAt INTEGER NOT NULL,
    finishedAt INTEGER,
    reviewVerdictRaw TEXT,
    failureReason TEXT
);
CREATE INDEX AutomationRun_workspaceId ON AutomationRun(workspaceId);

CREATE TABLE AutomationIteration (
    id TEXT PRIMARY KEY NOT NULL,
    runId TEXT REFERENCES AutomationRun(id) ON DELETE CASCADE,
    number INTEGER NOT NULL,
    triggerReasonRaw TEXT NOT NULL,
    triggerNote TEXT,
    summary TEXT,
    startedAt INTEGER NOT NULL,
    finishedAt INTEGER
);
CREATE INDEX AutomationIteration_runId ON AutomationIteration(runId);

CREATE TABLE GateResult (
    id TEXT PRIMARY KEY NOT NULL,
    runId TEXT REFERENCES AutomationRun(id) ON DELETE CASCADE,
    gateName TEXT NOT NULL,
    iterationNumber INTEGER NOT NULL,
    passed INTEGER NOT NULL,
    exitCode INTEGER NOT NULL,
    durationSeconds REAL NOT NULL,
    outputTail TEXT NOT NULL,
    ranAt INTEGER NOT NULL
);
CREATE INDEX GateResult_runId ON GateResult(runId);
)sql";

// Version 3: one activity row per chat and day. Two saves that each saw no row for today (a
// session and the start-up backfill, say) could both add one; the duplicates say nothing more
// than one row does, so the oldest of each chat's day stays. Rows of no chat are left alone.
const char *const kVersion3 = R"sql(
DELETE FROM ChatActivityDay
WHERE chatId IS NOT NULL
  AND rowid NOT IN (SELECT min(rowid) FROM ChatActivityDay WHERE chatId IS NOT NULL GROUP BY chatId, day);
DROP INDEX IF EXISTS ChatActivityDay_chatId;
CREATE UNIQUE INDEX ChatActivityDay_chatId_day ON ChatActivityDay(chatId, day);
)sql";

} // namespace

const QList<Migration> &migrations()
{
    static const QList<Migration> steps{
        {1, kVersion1},
        // Version 2: the full-text index of chat messages for quick search.
        {2, nullptr, &addMessageSearchIndex},
        {3, kVersion3},
        // Version 4: deleting messages leaves their text in the search index until it is rebuilt.
        {4, nullptr, &deferMessageSearchDeletes},
    };
    return steps;
}

int currentSchemaVersion()
{
    return migrations().constLast().version;
}

} // namespace corvane::store
