# What git itself keeps for the user: the GitHub account in its credential store, the author,
# the global ignore file and two global options.
target_sources(corvane_source_control PRIVATE
    accounts/GlobalIgnoreFile.h accounts/GlobalIgnoreFile.cpp
    accounts/GitGlobalConfig.h accounts/GitGlobalConfig.cpp
    accounts/GitHubLogin.h accounts/GitHubLogin.cpp
    accounts/SourceControlAccounts.h accounts/SourceControlAccounts.cpp
    accounts/GitSettingsModel.h accounts/GitSettingsModel.cpp)
