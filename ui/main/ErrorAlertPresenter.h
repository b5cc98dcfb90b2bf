#pragma once
// The GUI's side of ErrorAlert and of the engine's requests: message boxes.

#include <string>

// Makes ErrorAlert show its text in a message box with a stop icon and one "Ok" button; a
// synchronous alert waits for the user. Only the GUI thread ever waits: an alert raised on
// another thread is shown without waiting, because the GUI thread may be waiting for that
// thread (a recording that stops joins its writers). Needs the QApplication.
void installErrorAlertPresenter();
// Removes it again (before the QApplication goes).
void removeErrorAlertPresenter();

// A non-modal message box with `title`, `text` and one button labelled `button`, shown on the
// GUI thread whichever thread asks.
void showRequest(const std::string& title, const std::string& text, const std::string& button);
