#pragma once

#include <QString>

namespace iconfoundry {

// What an operation that failed hands back to its caller: a domain and code for programs, and a
// localized description for the user.
struct Error
{
    QString domain;
    int code = 0;
    QString localizedDescription;

    static void set(Error* out, QString domain, int code, QString description)
    {
        if (out)
            *out = Error{std::move(domain), code, std::move(description)};
    }
};

} // namespace iconfoundry
