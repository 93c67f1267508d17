#include "logger.h"

#include <cstdlib>
#include <cxxabi.h>
#include <string_view>
#include <typeinfo>

namespace iconfoundry {

std::string Logger::loggerName() const
{
    const char* mangled = typeid(*this).name();
    int status = 0;
    char* demangled = abi::__cxa_demangle(mangled, nullptr, nullptr, &status);
    std::string name = status == 0 && demangled ? demangled : mangled;
    std::free(demangled);
    logging_detail::dropProjectNamespace(name);
    return name;
}

void logging_detail::dropProjectNamespace(std::string& name)
{
    // Every class of ours lives in the project namespace; it says nothing in a log line.
    constexpr std::string_view projectPrefix = "iconfoundry::";
    if (name.compare(0, projectPrefix.size(), projectPrefix) == 0)
        name.erase(0, projectPrefix.size());
}

} // namespace iconfoundry
