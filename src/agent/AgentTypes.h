#pragma once

// All value types of the agent contract, for code that uses most of them.
#include "agent/AgentError.h"
#include "agent/AgentPermissionRequest.h"
#include "agent/AgentQuestion.h"
#include "agent/AgentResult.h"
#include "agent/AgentSessionInfo.h"
#include "core/records/Enums.h"
