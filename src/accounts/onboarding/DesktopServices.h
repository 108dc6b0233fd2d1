#pragma once

#include "accounts/onboarding/OnboardingChecklistItem.h"
#include "core/Result.h"

#include <QString>

namespace corvane::onboarding {

// The freedesktop notification service on a session bus, reached by its address (our
// DBUS_SESSION_BUS_ADDRESS; empty: there is no bus). These wait for the bus, with short
// timeouts: call them off the window's thread.

// ok when org.freedesktop.Notifications has an owner or can be started by the bus. Without a
// bus, or with none that can show a notification, the row is missing and cannot be put right
// from here, which the check says in plain words.
OnboardingCheck checkNotificationService(const QString &busAddress);

// Sends a notification that says notifications work; the text says what happened.
Result<QString> sendTestNotification(const QString &busAddress);

// Whether the audio system lists a microphone. Call on the main thread.
bool hasAudioInput();

} // namespace corvane::onboarding
