#include "platform/NotificationCenter.h"

#include <algorithm>

namespace lanterna
{

NotificationCenter::Observation &NotificationCenter::Observation::operator=(Observation &&other) noexcept
{
    if (this != &other) {
        stop();
        m_observer = std::move(other.m_observer);
    }
    return *this;
}

NotificationCenter::Observation::~Observation()
{
    stop();
}

void NotificationCenter::Observation::stop()
{
    const std::shared_ptr<Observer> observer = std::exchange(m_observer, nullptr);
    if (!observer)
        return;
    Handler dying; // what the handler holds is released after the lock
    const std::lock_guard lock(observer->mutex);
    dying.swap(observer->handler);
}

NotificationCenter::Observation NotificationCenter::observe(const QString &name, Handler handler)
{
    auto observer = std::make_shared<Observer>();
    observer->handler = std::move(handler);
    const std::lock_guard lock(m_mutex);
    auto &observers = m_observers[name];
    std::erase_if(observers, [](const auto &known) { return known.expired(); });
    observers.push_back(observer);
    return Observation(observer);
}

void NotificationCenter::post(const QString &name, const QVariant &object, const QVariantMap &userInfo)
{
    std::vector<std::shared_ptr<Observer>> observers;
    {
        const std::lock_guard lock(m_mutex);
        const auto found = m_observers.find(name);
        if (found == m_observers.end())
            return;
        for (const auto &known : found->second) {
            if (auto observer = known.lock())
                observers.push_back(std::move(observer));
        }
    }
    const Notification notification{name, object, userInfo};
    for (const auto &observer : observers) {
        const std::lock_guard lock(observer->mutex);
        if (const Handler handler = observer->handler) // a copy: the handler may end its own observation
            handler(notification);
    }
}

} // namespace lanterna
