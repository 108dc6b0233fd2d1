#pragma once

// The services the Preferences pages work on, over a temporary HOME: a real settings file, a
// real store and the lifecycle service, plus helpers to answer the pages' sheets.
#include "core/NotificationCenter.h"
#include "core/settings/AppSettings.h"
#include "core/settings/PreferencesStore.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "shell/preferences/PreferencesWindow.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"
#include "support/TestEnvironment.h"

#include <QAbstractButton>
#include <QMessageBox>
#include <QTest>

#include <memory>

namespace corvane::test {

struct PreferencesFixture
{
    TestEnvironment env;
    std::shared_ptr<Store> store = Store::open(env.path("Corvane.store")).value();
    PreferencesStore preferences{env.path("settings.json")};
    NotificationCenter center;
    AppSettings settings{preferences, center, [] { return SystemUserNames{"Ada Lovelace", "ada"}; }};
    WorkspaceLifecycleService lifecycle{store->mainContext(), center};

    StoreContext &ctx() { return store->mainContext(); }
    PreferencesServices services() { return {settings, &ctx(), &center, &lifecycle}; }
    // The settings as a fresh start of the application reads them from the file.
    std::unique_ptr<AppSettings> reread()
    {
        auto file = std::make_unique<PreferencesStore>(env.path("settings.json"));
        m_rereadStores.push_back(std::move(file));
        return std::make_unique<AppSettings>(*m_rereadStores.back(), center);
    }
    // How many times `name` was posted from now on.
    std::shared_ptr<int> countPosts(const QString &name)
    {
        auto count = std::make_shared<int>(0);
        m_observers.emplace_back(center, center.addObserver(name, [count](const Notification &) { ++*count; }));
        return count;
    }

private:
    std::vector<std::unique_ptr<PreferencesStore>> m_rereadStores;
    std::vector<ObserverGuard> m_observers;
};

// The visible message box under `parent`, waiting for it to appear.
inline QMessageBox *shownMessageBox(const QWidget &parent, int timeoutMs = 5000)
{
    QMessageBox *found = nullptr;
    (void)QTest::qWaitFor([&] {
        for (QMessageBox *box : parent.findChildren<QMessageBox *>())
            if (box->isVisible())
                found = box;
        return found != nullptr;
    }, timeoutMs);
    return found;
}

// Presses the box's button with that text; false when there is none.
inline bool pressButton(QMessageBox &box, const QString &text)
{
    for (QAbstractButton *button : box.buttons())
        if (button->text() == text) {
            button->click();
            return true;
        }
    return false;
}

} // namespace corvane::test
