#pragma once
// The one way to show an error to the user. Only the first error of the process is shown;
// every later call returns its status silently. Returns `status` so callers can write
// `return ErrorAlert("...", status);`.

#include <functional>
#include <string>

#include "support/Status.h"

status_t ErrorAlert(const char* text, status_t status, bool async = false);

// Shows the finished alert text. `async` false: return only after the user closed the alert.
// With no presenter installed the text goes to standard error.
using ErrorAlertPresenter = std::function<void(const std::string& text, bool async)>;
// The GUI installs one (a message box with one "Ok" button and a stop icon); tests too.
void SetErrorAlertPresenter(ErrorAlertPresenter presenter);
// The text an alert for (text, status) shows: "An error has occured:\n\n%s\n[%s]".
std::string errorAlertText(const char* text, status_t status);
// Re-arms the one-shot flag, so a test program can check the alert of more than one failure.
void resetErrorAlertForTesting();
