#pragma once

#include "core/NotificationCenter.h"
#include "presentation/pulse/PulseSections.h"

#include <QObject>

#include <functional>
#include <memory>
#include <vector>

namespace corvane {

class Store;

// The Pulse timeline: one row per chat per day it was active, newest day first, read by pages
// of 100 on a worker with a store context of its own. Pages are appended without moving the
// rows shown. While active it follows renames, activity and archiving.
class PulseModel : public QObject
{
    Q_OBJECT

public:
    static constexpr int pageSize = 100;

    PulseModel(std::shared_ptr<Store> store, NotificationCenter &center, QObject *parent = nullptr);

    const QList<PulseItem> &items() const { return m_items; }
    bool isLoadingMore() const { return m_loadingMore; }
    bool allRowsLoaded() const { return m_allLoaded; }
    // The first page is on its way: the view shows a spinner only then.
    bool isLoadingFirstPage() const { return m_loadingMore && m_loadedRows == 0; }

    void reload();
    void loadNextPage();
    // Follows the broadcasts while the page shows; stops, and drops a page on its way, when not.
    void setActive(bool active);

    // Whether a chat's live session has its agent running; read on the main thread.
    void setRunningProbe(std::function<bool(const QUuid &chatId)> probe) { m_isRunning = std::move(probe); }

    // For tests: the day that counts as today, and the calendar's first day of the week.
    void setClock(std::function<QDate()> today, Qt::DayOfWeek firstDayOfWeek);

signals:
    void reset();
    void rowsAppended(int first, int count);
    void rowsChanged(const QList<int> &rows);

private:
    struct Page
    {
        QList<PulseEntry> entries;
        int fetched = 0;
    };
    static Page fetchPage(Store &store, int offset);
    void refreshChat(const QUuid &chatId);

    std::shared_ptr<Store> m_store;
    NotificationCenter &m_center;
    QList<PulseItem> m_items;
    std::optional<QString> m_lastTitle;
    int m_loadedRows = 0;
    bool m_allLoaded = false;
    bool m_loadingMore = false;
    quint64 m_generation = 0;
    std::vector<ObserverGuard> m_observers;
    std::function<bool(const QUuid &)> m_isRunning;
    std::function<QDate()> m_today = [] { return QDate::currentDate(); };
    Qt::DayOfWeek m_firstDay = QLocale().firstDayOfWeek();
};

} // namespace corvane
