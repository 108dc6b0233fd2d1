#pragma once

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>
#include <optional>

class QTimer;

namespace corvane {

// The one clock of background source-control work in the application: a fetch of each shown
// repository every five minutes and a refresh of each shown pull request every two, for every
// window together. With twenty workspaces in five windows it is still one timer, and a beat
// runs each repository (or pull request) once however many views show it.
class BackgroundClock : public QObject
{
    Q_OBJECT

public:
    enum class Beat { fetch, pullRequest };
    static constexpr int tickSeconds = 60;
    static constexpr int intervalSeconds(Beat beat) { return beat == Beat::fetch ? 300 : 120; }

    // Made on first use, owned by the application object.
    static BackgroundClock &instance();

    // On each `beat`, `key` says what the subscriber would work on (a repository folder, a pull
    // request), or none to sit this beat out; the first subscriber with a given key runs `work`.
    // A subscriber that is destroyed is forgotten.
    void subscribe(QObject *subscriber, Beat beat, std::function<std::optional<QString>()> key,
                   std::function<void()> work);
    void unsubscribe(QObject *subscriber);

    // Runs one beat at once, as the timer would; for tests and benchmarks.
    void run(Beat beat);
    int timerCount() const;

private:
    explicit BackgroundClock(QObject *parent);
    void tick();

    struct Subscription
    {
        QPointer<QObject> subscriber;
        Beat beat;
        std::function<std::optional<QString>()> key;
        std::function<void()> work;
    };
    QList<Subscription> m_subscriptions;
    QTimer *m_timer;
    qint64 m_ticks = 0;
};

} // namespace corvane
