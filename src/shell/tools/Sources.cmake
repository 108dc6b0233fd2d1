# The tool pages: Flows, Agents and Skills (definition files beside their editors), the Planner and
# the Ports and Terminal overviews.
target_sources(corvane_shell PRIVATE
    tools/ToolForm.h tools/ToolForm.cpp
    tools/DefinitionToolPage.h tools/DefinitionToolPage.cpp
    tools/FlowsToolPage.h tools/FlowsToolPage.cpp
    tools/AgentsToolPage.h tools/AgentsToolPage.cpp
    tools/SkillsToolPage.h tools/SkillsToolPage.cpp
    tools/PlannerToolPage.h tools/PlannerToolPage.cpp
    tools/IssueDetailView.h tools/IssueDetailView.cpp
    tools/PortsToolPage.h tools/PortsToolPage.cpp
    tools/TerminalsToolPage.h tools/TerminalsToolPage.cpp
    tools/PulseToolPage.h tools/PulseToolPage.cpp
    tools/ToolPages.h tools/ToolPages.cpp)
target_link_libraries(corvane_shell PUBLIC corvane_automation corvane_planning corvane_presentation Qt6::DBus)
target_link_libraries(corvane_shell PUBLIC corvane_tools)
