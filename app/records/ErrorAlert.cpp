#include "app/records/ErrorAlert.h"

#include <atomic>
#include <cstdio>
#include <mutex>

#include "support/Log.h"

namespace {

// True until the first error with a non-zero status has been seen; set back only by tests.
std::atomic<bool> gAlertArmed{true};

std::mutex gPresenterLock;  // guards gPresenter
ErrorAlertPresenter gPresenter;

}  // namespace

std::string errorAlertText(const char* text, status_t status) {
    std::string alertText = "An error has occured:\n\n";
    alertText += text != nullptr ? text : "";
    alertText += "\n[";
    alertText += status == B_ERROR ? std::string("-") : statusText(status);
    alertText += "]";
    return alertText;
}

void SetErrorAlertPresenter(ErrorAlertPresenter presenter) {
    std::lock_guard<std::mutex> lock(gPresenterLock);
    gPresenter = std::move(presenter);
}

void resetErrorAlertForTesting() {
    gAlertArmed.store(true);
}

status_t ErrorAlert(const char* text, status_t status, bool async) {
    if (status == B_OK)
        return B_OK;
    // Only the first error of the process is shown: later ones are usually its consequences,
    // and a cascade of alerts would hide the cause. Several threads may fail at once; the
    // exchange lets exactly one of them through.
    if (!gAlertArmed.exchange(false))
        return status;

    std::string alertText = errorAlertText(text, status);
    ErrorAlertPresenter presenter;
    {
        std::lock_guard<std::mutex> lock(gPresenterLock);
        presenter = gPresenter;
    }
    // Shown outside the lock: a synchronous presenter waits for the user.
    if (presenter)
        presenter(alertText, async);
    else
        logError("%s", alertText.c_str());
    return status;
}
