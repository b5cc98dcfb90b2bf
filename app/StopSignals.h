#pragma once

// SIGINT and SIGTERM ask a command-line loop to stop: while a StopSignals lives, both set one
// flag that the loop polls, and the handlers that were there before come back when it goes.

#include <csignal>

class StopSignals {
public:
    StopSignals() {
        sRequested = 0;
        struct sigaction action {};
        action.sa_handler = [](int) { sRequested = 1; };
        sigemptyset(&action.sa_mask);
        sigaction(SIGINT, &action, &fOldInt);
        sigaction(SIGTERM, &action, &fOldTerm);
    }
    ~StopSignals() {
        sigaction(SIGINT, &fOldInt, nullptr);
        sigaction(SIGTERM, &fOldTerm, nullptr);
    }
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    bool Requested() const { return sRequested != 0; }

private:
    static inline volatile std::sig_atomic_t sRequested = 0;
    struct sigaction fOldInt {};
    struct sigaction fOldTerm {};
};
