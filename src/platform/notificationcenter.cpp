#include "platform/notificationcenter.h"

#include <algorithm>

namespace iconfoundry {

NotificationCenter& NotificationCenter::defaultCenter()
{
    static NotificationCenter center;
    return center;
}

void NotificationCenter::addObserver(const void* owner, const QString& name, Handler handler)
{
    if (!handler)
        return;
    std::lock_guard lock(mutex_);
    registrations_.push_back(
        Registration{nextId_++, owner, name, std::make_shared<Handler>(std::move(handler))});
}

void NotificationCenter::removeObserver(const void* owner)
{
    std::lock_guard lock(mutex_);
    std::erase_if(registrations_, [owner](const Registration& r) { return r.owner == owner; });
}

void NotificationCenter::removeObserver(const void* owner, const QString& name)
{
    std::lock_guard lock(mutex_);
    std::erase_if(registrations_, [&](const Registration& r) { return r.owner == owner && r.name == name; });
}

bool NotificationCenter::isRegistered(quint64 id) const
{
    std::lock_guard lock(mutex_);
    return std::any_of(registrations_.begin(), registrations_.end(),
                       [id](const Registration& r) { return r.id == id; });
}

void NotificationCenter::post(const QString& name, std::any object, const void* sender)
{
    std::vector<std::pair<quint64, std::shared_ptr<Handler>>> matching;
    {
        std::lock_guard lock(mutex_);
        for (const Registration& r : registrations_) {
            if (r.name.isEmpty() || r.name == name)
                matching.emplace_back(r.id, r.handler);
        }
    }
    const Notification notification{name, std::move(object), sender};
    for (const auto& [id, handler] : matching) {
        // A handler called earlier in this post may have removed a later observer.
        if (isRegistered(id))
            (*handler)(notification);
    }
}

int NotificationCenter::observerCount() const
{
    std::lock_guard lock(mutex_);
    return int(registrations_.size());
}

} // namespace iconfoundry
