#include "presentation/pulse/PulseModel.h"

#include "core/Broadcasts.h"
#include "core/MainThread.h"
#include "core/records/Chat.h"
#include "core/records/ChatActivityDay.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"

namespace corvane {

namespace {

PulseEntry entryFor(StoreContext &context, const Chat &chat, const QDate &date)
{
    const auto workspace = chat.workspaceId ? context.get<Workspace>(*chat.workspaceId) : nullptr;
    const auto project = chat.projectId ? context.get<Project>(*chat.projectId) : nullptr;
    const auto profile = project && project->profileId ? context.get<Profile>(*project->profileId) : nullptr;
    PulseEntry entry;
    entry.chatId = chat.id;
    entry.chatName = chat.name;
    entry.workspaceName = workspace ? workspace->name : project ? project->name : QStringLiteral("Unknown");
    entry.date = date;
    entry.isArchived = chat.isArchived();
    if (profile)
        entry.profileColorHex = profile->colorHex;
    return entry;
}

} // namespace

PulseModel::PulseModel(std::shared_ptr<Store> store, NotificationCenter &center, QObject *parent)
    : QObject(parent), m_store(std::move(store)), m_center(center)
{
}

void PulseModel::setClock(std::function<QDate()> today, Qt::DayOfWeek firstDayOfWeek)
{
    m_today = std::move(today);
    m_firstDay = firstDayOfWeek;
}

void PulseModel::reload()
{
    ++m_generation; // a page on its way is dropped
    m_loadedRows = 0;
    m_allLoaded = false;
    m_loadingMore = false;
    m_items.clear();
    m_lastTitle.reset();
    emit reset();
    loadNextPage();
}

PulseModel::Page PulseModel::fetchPage(Store &store, int offset)
{
    Page page;
    auto context = store.newContext();
    const auto days = context->fetchOrEmpty<ChatActivityDay>(
        Query().orderBy(QStringLiteral("day"), false).skip(offset).limitTo(pageSize));
    page.fetched = int(days.size());
    for (const auto &day : days) {
        const auto chat = day->chatId ? context->get<Chat>(*day->chatId) : nullptr;
        if (chat)
            page.entries.append(entryFor(*context, *chat, day->day.toLocalTime().date()));
    }
    return page;
}

void PulseModel::loadNextPage()
{
    if (m_loadingMore || m_allLoaded)
        return;
    m_loadingMore = true;
    const quint64 generation = ++m_generation;
    runInBackground(this, [store = m_store, offset = m_loadedRows] { return fetchPage(*store, offset); },
                    [this, generation](const Page &page) {
        if (generation != m_generation)
            return;
        m_loadingMore = false;
        m_loadedRows += page.fetched;
        m_allLoaded = page.fetched < pageSize;
        QList<PulseEntry> entries = page.entries;
        if (m_isRunning)
            for (PulseEntry &entry : entries)
                entry.isRunning = m_isRunning(entry.chatId);
        const QList<PulseItem> added = pulse::appendPage(entries, m_lastTitle, m_today(), m_firstDay, QLocale());
        const int first = int(m_items.size());
        m_items.append(added);
        emit rowsAppended(first, int(added.size()));
    });
}

void PulseModel::setActive(bool active)
{
    m_observers.clear();
    if (!active) {
        ++m_generation;
        m_loadingMore = false;
        return;
    }
    using namespace broadcast;
    m_observers.push_back(observe<ChatRenamed>(m_center, this, [this](const ChatRenamed &c) { refreshChat(c.chatId); }));
    m_observers.push_back(observe<ChatActivityChanged>(m_center, this, [this](const ChatActivityChanged &c) { refreshChat(c.chatId); }));
    m_observers.push_back(observe<ChatSessionChanged>(m_center, this, [this](const ChatSessionChanged &c) { refreshChat(c.chatId); }));
    for (const QString &name : {chatArchiveStateDidChange, chatActivityDaysDidBackfill})
        m_observers.push_back(ObserverGuard(m_center, m_center.addObserver(name, [this](const Notification &) { reload(); }, nullptr, this)));
}

void PulseModel::refreshChat(const QUuid &chatId)
{
    const auto chat = m_store->mainContext().get<Chat>(chatId);
    if (!chat)
        return;
    QList<int> rows;
    for (int i = 0; i < m_items.size(); ++i) {
        std::optional<PulseEntry> &entry = m_items[i].entry;
        if (!entry || entry->chatId != chatId)
            continue;
        PulseEntry updated = entryFor(m_store->mainContext(), *chat, entry->date);
        updated.isRunning = m_isRunning && m_isRunning(chatId);
        if (updated != *entry) {
            entry = updated;
            rows << i;
        }
    }
    if (!rows.isEmpty())
        emit rowsChanged(rows);
}

} // namespace corvane
