#pragma once
// Runs a test in a named time zone: local time is the timer list's whole user-facing clock.

#include <cstdlib>
#include <ctime>
#include <string>

class ZoneForTest {
public:
    explicit ZoneForTest(const char* zone) {
        const char* old = std::getenv("TZ");
        fHadZone = old != nullptr;
        if (fHadZone)
            fOldZone = old;
        setenv("TZ", zone, 1);
        tzset();
    }
    ~ZoneForTest() {
        if (fHadZone)
            setenv("TZ", fOldZone.c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }
    ZoneForTest(const ZoneForTest&) = delete;
    ZoneForTest& operator=(const ZoneForTest&) = delete;

    // Calendar seconds of a local date and time in the current zone.
    static time_t Local(int year, int month, int day, int hour, int minute, int second = 0) {
        struct tm local {};
        local.tm_year = year - 1900;
        local.tm_mon = month - 1;
        local.tm_mday = day;
        local.tm_hour = hour;
        local.tm_min = minute;
        local.tm_sec = second;
        local.tm_isdst = -1;
        return mktime(&local);
    }

private:
    bool fHadZone = false;
    std::string fOldZone;
};
