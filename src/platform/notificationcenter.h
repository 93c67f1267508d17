#pragma once

#include <QString>
#include <any>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace iconfoundry {

// A notification as handed to observers: its name, an optional object (any copyable value, for
// example an ImagePtr) and the sender that posted it (may be null).
struct Notification
{
    QString name;
    std::any object;
    const void* sender = nullptr;
};

// Process-wide notification centre.
//
// 1. Observers register a handler under an owner key (any pointer, usually `this`) for one
//    notification name, or for every name when the name is empty.
// 2. post() calls the matching handlers synchronously, on the posting thread, in the order in
//    which they were registered.
// 3. Registration is thread-safe. Handlers are called without the centre's lock held, so a
//    handler may post, add or remove observers; an observer removed during a post is not called
//    after its removal returns, unless that post already started calling it.
// 4. The centre never owns the owner: remove your registrations (removeObserver(this)) before
//    the owner goes away.
class NotificationCenter
{
public:
    using Handler = std::function<void(const Notification&)>;

    static NotificationCenter& defaultCenter();

    void addObserver(const void* owner, const QString& name, Handler handler);
    // Removes every registration of owner.
    void removeObserver(const void* owner);
    // Removes owner's registrations for name only.
    void removeObserver(const void* owner, const QString& name);

    void post(const QString& name, std::any object = {}, const void* sender = nullptr);

    int observerCount() const;

private:
    struct Registration
    {
        quint64 id;
        const void* owner;
        QString name;
        std::shared_ptr<Handler> handler;
    };

    bool isRegistered(quint64 id) const;

    mutable std::mutex mutex_;
    std::vector<Registration> registrations_;
    quint64 nextId_ = 1;
};

} // namespace iconfoundry
