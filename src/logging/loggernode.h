#pragma once

#include <memory>

namespace iconfoundry {

class DispatchQueue;
class Logger;

// One registration with the dispatcher: the logger, the serial queue its calls run on (kept alive
// by the node) and the level that admits messages to it. Nodes live only on the logging queue.
struct LoggerNode
{
    std::shared_ptr<Logger> logger;
    std::shared_ptr<DispatchQueue> loggerQueue;
    unsigned level = 0;

    static LoggerNode nodeWithLogger(std::shared_ptr<Logger> logger,
                                     std::shared_ptr<DispatchQueue> loggerQueue, unsigned level)
    {
        return LoggerNode{std::move(logger), std::move(loggerQueue), level};
    }
};

} // namespace iconfoundry
