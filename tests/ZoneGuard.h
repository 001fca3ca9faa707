#pragma once

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

/// Sets TZ for one scope and puts the previous value back.
class CZoneGuard
{
public:
    explicit CZoneGuard(const char *tz)
    {
        if (const char *old = std::getenv("TZ"))
            m_old = old;
        setenv("TZ", tz, 1);
        tzset();
    }
    ~CZoneGuard()
    {
        if (m_old)
            setenv("TZ", m_old->c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }
    CZoneGuard(const CZoneGuard &) = delete;
    CZoneGuard &operator=(const CZoneGuard &) = delete;

private:
    std::optional<std::string> m_old;
};
