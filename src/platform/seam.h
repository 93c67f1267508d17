#pragma once

#include <memory>
#include <utility>

namespace iconfoundry {

// One process-wide, replaceable implementation of a platform service: tests install a scripted
// one, the application runs with the default. Used from the main thread only.
template <typename Interface>
class Seam
{
public:
    // Installs replacement (nullptr restores the default) and returns the previous one.
    static std::unique_ptr<Interface> install(std::unique_ptr<Interface> replacement)
    {
        std::swap(slot(), replacement);
        return replacement;
    }

    // The installed implementation, else fallback.
    static Interface& shared(Interface& fallback)
    {
        Interface* installed = slot().get();
        return installed ? *installed : fallback;
    }

private:
    static std::unique_ptr<Interface>& slot()
    {
        static std::unique_ptr<Interface> installed;
        return installed;
    }
};

} // namespace iconfoundry
