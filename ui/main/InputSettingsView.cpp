#include "ui/main/InputSettingsView.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

#include "app/records/TavroSettings.h"
#include "engine/Tavro.h"
#include "media/ParameterWeb.h"
#include "media/roster/MediaRoster.h"
#include "ui/widgets/ParameterView.h"

namespace {

// Whether the engine has an input of `kind` in use.
bool hasInput(const Tavro* engine, DeviceKind kind) {
    return (kind == DeviceKind::VideoInput ? engine->VideoInputNode() : engine->AudioInputNode()) !=
           nullptr;
}

// "Name - id", or "Name (built in)".
QString labelOf(const MediaDevice& device) {
    QString label = QString::fromStdString(device.name);
    if (device.builtIn)
        label += " (built in)";
    else if (device.name != device.id)
        label += " - " + QString::fromStdString(device.id);
    return label;
}

}  // namespace

InputSettingsView::InputSettingsView(Tavro* engine, DeviceKind kind, QWidget* parent)
    : QWidget(parent), fEngine(engine), fKind(kind) {
    fLayout = new QVBoxLayout(this);
    auto* row = new QHBoxLayout;
    row->addWidget(new QLabel("Device:"));
    fDevices = new QComboBox;
    fDevices->setObjectName("deviceMenu");
    fDevices->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    connect(fDevices, &QComboBox::activated, this, &InputSettingsView::DeviceChosen);
    row->addWidget(fDevices, 1);
    fLayout->addLayout(row);
    fStatus = new QLabel;
    fStatus->setObjectName("deviceStatus");
    fStatus->setWordWrap(true);
    fStatus->hide();
    fLayout->addWidget(fStatus);
    fNoControls = new QLabel("This device has no controls.");
    fNoControls->setObjectName("noControls");
    fNoControls->hide();
    fLayout->addWidget(fNoControls);
    UpdateDevices();
    UpdateParameters();
}

void InputSettingsView::UpdateDevices() {
    fDevices->clear();
    MediaRoster* roster = fEngine->Roster();
    if (roster == nullptr) {
        fDevices->setEnabled(false);
        return;
    }
    roster->Rescan();
    const MediaDevice* current =
        fKind == DeviceKind::VideoInput ? roster->DefaultVideoInput() : roster->DefaultAudioInput();
    const std::string& missing =
        fKind == DeviceKind::VideoInput ? roster->MissingVideoInput() : roster->MissingAudioInput();
    for (const MediaDevice& device : roster->Devices()) {
        if (device.kind != fKind)
            continue;
        fDevices->addItem(labelOf(device), QString::fromStdString(device.id));
        if (current != nullptr && device.id == current->id)
            fDevices->setCurrentIndex(fDevices->count() - 1);
    }
    if (!missing.empty()) {
        fDevices->addItem(QString::fromStdString(missing) + " (not there)",
                          QString::fromStdString(missing));
        fDevices->setCurrentIndex(fDevices->count() - 1);
        fStatus->setText(QString("The chosen device \"%1\" is not there: choose another.")
                             .arg(QString::fromStdString(missing)));
        fStatus->show();
    }
}

void InputSettingsView::DeviceChosen(int index) {
    MediaRoster* roster = fEngine->Roster();
    if (roster == nullptr || index < 0)
        return;
    const std::string id = fDevices->itemData(index).toString().toStdString();
    if (fEngine->IsRecording()) {
        fStatus->setText("The devices cannot change while recording: stop the recording first.");
        fStatus->show();
        UpdateDevices();
        return;
    }
    const bool video = fKind == DeviceKind::VideoInput;
    std::string videoInput = roster->Options().videoInput;
    std::string audioInput = roster->Options().audioInput;
    (video ? videoInput : audioInput) = id;
    (video ? gSettings.videoInput : gSettings.audioInput) = id;
    fEngine->SelectInputs(videoInput, audioInput);
    fStatus->hide();
    UpdateDevices();
    const bool connected = video ? fEngine->VideoConnected() : fEngine->AudioConnected();
    if (!connected && fStatus->isHidden()) {
        fStatus->setText(
            QString("\"%1\" could not be opened or connected.").arg(QString::fromStdString(id)));
        fStatus->show();
    }
    // The old node is gone: take the new one's controls now rather than at the next refresh.
    UpdateParameters();
}

void InputSettingsView::UpdateParameters() {
    if (fParameters != nullptr) {
        fParameters->hide();
        fParameters->deleteLater();
        fParameters = nullptr;
    }
    std::unique_ptr<ParameterWeb> web = fKind == DeviceKind::VideoInput
                                            ? fEngine->GetVideoInputParameters()
                                            : fEngine->GetAudioInputParameters();
    const bool hasControls = web != nullptr && web->CountParameters() > 0;
    // Without a device in use (a chosen one missing) there is nothing to say about controls.
    fNoControls->setVisible(hasInput(fEngine, fKind) && !hasControls);
    if (!hasControls)
        return;
    fParameters = new ParameterView(std::move(web));
    connect(fParameters, &ParameterView::gone, this, &InputSettingsView::ParametersGone);
    fLayout->addWidget(fParameters);
}

void InputSettingsView::ParametersGone() {
    // Rebuilt elsewhere (the other input's window): the new node's view, if there is one.
    if (!hasInput(fEngine, fKind))
        return;  // the old view says the input is gone
    UpdateParameters();
    UpdateDevices();
}
