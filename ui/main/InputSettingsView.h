#pragma once
// What the "Video Input Settings" and "Audio Input Settings" windows show: at the top, the
// device of that kind ("Device:", every device the roster lists, the built-in test input
// last), and beneath it the device's own parameter view.
//
// Choosing another device switches the engine's inputs at once (Tavro::SelectInputs) when no
// recording runs, and keeps the choice in the settings (videoInput, audioInput) for the next
// start. While recording the choice is refused and said so. A device the settings or the
// command line name that is not there stays shown as the choice, marked as missing.
//
// When the inputs are rebuilt (a switch here or in the other input's window) the parameter
// view's node goes; this view then takes the new node's view, or says the input is gone when
// there is none. GUI thread only.

#include <QWidget>

#include "media/roster/MediaDevice.h"

class ParameterView;
class QComboBox;
class QLabel;
class QVBoxLayout;
class Tavro;

class InputSettingsView : public QWidget {
    Q_OBJECT

public:
    // `engine` is not owned and must outlive the view.
    InputSettingsView(Tavro* engine, DeviceKind kind, QWidget* parent = nullptr);

    QComboBox* DeviceMenu() const { return fDevices; }
    // The line under the menu: why a choice did not take, or empty.
    QLabel* StatusLine() const { return fStatus; }
    // The device's parameter view; null for a device without controls.
    ParameterView* Parameters() const { return fParameters; }
    // Lists the devices again and marks the one in use.
    void UpdateDevices();

private:
    void DeviceChosen(int index);
    // A new parameter view for the engine's current input of this kind.
    void UpdateParameters();
    void ParametersGone();

    Tavro* const fEngine;
    const DeviceKind fKind;
    QComboBox* fDevices = nullptr;
    QLabel* fStatus = nullptr;
    QVBoxLayout* fLayout = nullptr;
    ParameterView* fParameters = nullptr;
    QLabel* fNoControls = nullptr;
};
