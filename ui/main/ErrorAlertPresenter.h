#pragma once
// The GUI's side of ErrorAlert and of the engine's requests: message boxes.

#include <string>

// Makes ErrorAlert show its text in a message box with a stop icon and one "Ok" button
// (object name "errorAlert"). No caller ever waits for it, synchronous or not: alerts are
// raised inside message handlers, and a modal loop there would deliver the next message into
// the unfinished handler; on the GUI thread the box is opened at once (it blocks input to
// the windows until "Ok"), from another thread it is queued to the GUI thread. Needs the
// QApplication.
void installErrorAlertPresenter();
// Removes it again (before the QApplication goes).
void removeErrorAlertPresenter();

// A non-modal message box with `title`, `text` and one button labelled `button`, shown on the
// GUI thread whichever thread asks.
void showRequest(const std::string& title, const std::string& text, const std::string& button);
