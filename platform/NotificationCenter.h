#pragma once

#include <QString>
#include <QVariant>

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace lanterna
{

/// What an observer receives: the name it observed, an optional object and optional user info.
struct Notification {
    QString name;
    QVariant object;
    QVariantMap userInfo;
};

/// Delivers named notifications to everyone who observes the name.
///
/// Delivery is synchronous: `post` returns after the last observer has returned, and observers run on the poster's thread, in the order in which they
/// registered. Any thread may post, observe and stop observing, also from inside an observer. An observer that stops while a post is under way on
/// another thread is not called any more once its `Observation` has gone: dropping it waits for a call that is running elsewhere.
class NotificationCenter
{
    struct Observer;

public:
    using Handler = std::function<void(const Notification &)>;

    /// Keeps an observer registered; dropping it ends the registration. It may outlive the centre.
    class Observation
    {
    public:
        Observation() = default;
        explicit Observation(std::shared_ptr<Observer> observer) : m_observer(std::move(observer)) { }
        Observation(Observation &&) noexcept = default;
        Observation &operator=(Observation &&other) noexcept;
        Observation(const Observation &) = delete;
        Observation &operator=(const Observation &) = delete;
        ~Observation();

    private:
        void stop();
        std::shared_ptr<Observer> m_observer;
    };

    /// Calls `handler` for each later post of `name`.
    [[nodiscard]] Observation observe(const QString &name, Handler handler);
    /// Delivers to the observers that are registered when the call begins.
    void post(const QString &name, const QVariant &object = {}, const QVariantMap &userInfo = {});

private:
    struct Observer {
        std::recursive_mutex mutex; // recursive: a handler may drop its own observation, or post the same name again
        Handler handler; // empty once the observation is gone
    };

    std::mutex m_mutex;
    std::map<QString, std::vector<std::weak_ptr<Observer>>> m_observers;
};

} // namespace lanterna
