# Text written by a model outside any chat: one agent process per prompt, and the prompts and
# clean-up of commit titles and pull-request texts.
target_sources(corvane_agent PRIVATE
    inline/InlineAgentRunner.h inline/InlineAgentRunner.cpp
    inline/TextGenerators.h inline/TextGenerators.cpp)
