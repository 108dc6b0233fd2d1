#pragma once

#include <QUuid>

class QWidget;

namespace corvane {

class AppSettings;
class ProfileAuthMonitor;
class StoreContext;

// Opens the sign-in of the chat's agent (`claude auth login` or `codex login`) in a terminal
// sheet, under the profile of the chat's project. A missing agent tool says where it was looked
// for instead. Closing the sheet, however the login went, has the monitor check that profile again.
void openSignInSheet(StoreContext &context, AppSettings &settings, const QUuid &chatId, QWidget *parent,
                     ProfileAuthMonitor *monitor = nullptr);

} // namespace corvane
