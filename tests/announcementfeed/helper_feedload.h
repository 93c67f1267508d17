#pragma once

// Runs AnnouncementService loads for the tests and keeps what the completion handler reported.

#include "announcementfeed/announcementservice.h"

#include <QTest>
#include <atomic>
#include <memory>
#include <mutex>

namespace iconfoundry::test {

struct LoadOutcome
{
    std::atomic<bool> done{false};
    std::atomic<int> calls{0};
    std::mutex mutex;
    qint64 count = -1;
    std::optional<Error> error;
};

// Starts a load; the handler fills the returned outcome (from the pool thread).
inline std::shared_ptr<LoadOutcome> startLoad(AnnouncementService& service)
{
    auto outcome = std::make_shared<LoadOutcome>();
    service.loadDataWithCompletionHandler([outcome](qint64 count, const std::optional<Error>& error) {
        {
            std::lock_guard lock(outcome->mutex);
            outcome->count = count;
            outcome->error = error;
        }
        ++outcome->calls;
        outcome->done = true;
    });
    return outcome;
}

inline QVariantMap environmentWithURL(const QString& url)
{
    return {{QString::fromLatin1(AnnouncementService::AnnouncementsURLKey), url}};
}

} // namespace iconfoundry::test
