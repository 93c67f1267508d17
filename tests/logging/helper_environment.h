#pragma once

#include <QByteArray>
#include <QtGlobal>
#include <ctime>
#include <string>
#include <vector>

// Changes environment variables for a scope and puts back what was there when it ends: the old
// value, or no variable at all. TZ takes effect at once and again on the way out.
class ScopedEnvironment
{
public:
    ScopedEnvironment() = default;
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;
    ~ScopedEnvironment()
    {
        for (auto it = saved_.rbegin(); it != saved_.rend(); ++it) {
            if (it->wasSet)
                qputenv(it->name.c_str(), it->value);
            else
                qunsetenv(it->name.c_str());
        }
        ::tzset();
    }

    void set(const char* name, const QByteArray& value)
    {
        remember(name);
        qputenv(name, value);
        ::tzset();
    }
    void unset(const char* name)
    {
        remember(name);
        qunsetenv(name);
        ::tzset();
    }

private:
    struct Saved
    {
        std::string name;
        bool wasSet;
        QByteArray value;
    };
    void remember(const char* name)
    {
        for (const Saved& saved : saved_) {
            if (saved.name == name)
                return; // the first value is the one to restore
        }
        saved_.push_back({name, qEnvironmentVariableIsSet(name), qgetenv(name)});
    }
    std::vector<Saved> saved_;
};
