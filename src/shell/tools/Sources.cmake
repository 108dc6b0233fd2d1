# The Flows, Agents and Skills tools: lists of definition files beside their editors.
target_sources(corvane_shell PRIVATE
    tools/ToolForm.h tools/ToolForm.cpp
    tools/DefinitionToolPage.h tools/DefinitionToolPage.cpp
    tools/FlowsToolPage.h tools/FlowsToolPage.cpp
    tools/AgentsToolPage.h tools/AgentsToolPage.cpp
    tools/SkillsToolPage.h tools/SkillsToolPage.cpp
    tools/ToolPages.h tools/ToolPages.cpp)
target_link_libraries(corvane_shell PUBLIC corvane_automation corvane_planning Qt6::DBus)
