#include "ui/profile/ProfileWindow.h"

#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include "engine/Tavro.h"
#include "media/ParameterWeb.h"
#include "ui/Frames.h"
#include "ui/profile/QuantitySlider.h"

namespace {

// The continuous parameter `id` of `web`, or null.
MediaParameter* continuous(ParameterWeb* web, int32 id) {
    MediaParameter* parameter = GetNodeParameter(web, id);
    return parameter != nullptr && parameter->Type() == ParameterType::Continuous ? parameter
                                                                                  : nullptr;
}

}  // namespace

ProfileWindow::ProfileWindow(const Rect& frame, const char* title, Tavro* engine)
    : QWidget(nullptr, Qt::Window), Looper(this), fWeb(engine->GetVideoInputParameters()) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QString::fromUtf8(title));
    auto* columns = new QHBoxLayout(this);

    // The profile list, which stays empty, with its two buttons.
    auto* left = new QVBoxLayout;
    fProfiles = new QListWidget;
    fProfiles->setObjectName("profileList");
    left->addWidget(fProfiles, 1);
    auto* buttons = new QHBoxLayout;
    auto* add = new QPushButton("Add");
    add->setObjectName("addProfile");
    connect(add, &QPushButton::clicked, this, [this] { PostMessage(kMsgAddProfile); });
    auto* remove = new QPushButton("Remove");
    remove->setObjectName("removeProfile");
    connect(remove, &QPushButton::clicked, this, [this] { PostMessage(kMsgRemoveProfile); });
    buttons->addWidget(add);
    buttons->addWidget(remove);
    left->addLayout(buttons);
    columns->addLayout(left, 2);

    auto* right = new QVBoxLayout;
    auto* description = new QGroupBox("Profile Description");
    auto* nameRow = new QHBoxLayout(description);
    nameRow->addWidget(new QLabel("Profile Name:"));
    fProfileName = new QLineEdit("--");
    fProfileName->setObjectName("profileName");
    connect(fProfileName, &QLineEdit::editingFinished, this,
            [this] { PostMessage(kMsgProfileName); });
    nameRow->addWidget(fProfileName, 1);
    right->addWidget(description);

    auto* settings = new QGroupBox("Video Settings");
    auto* sliders = new QVBoxLayout(settings);
    fBrightness =
        new QuantitySlider("brightness", "Brightness:", continuous(fWeb.get(), kBt848Brightness));
    fContrast = new QuantitySlider("contrast", "Contrast:", continuous(fWeb.get(), kBt848Contrast));
    fSaturation =
        new QuantitySlider("saturation", "Saturation:", continuous(fWeb.get(), kBt848Saturation));
    for (QuantitySlider* slider : {fBrightness, fContrast, fSaturation})
        sliders->addWidget(slider);
    right->addWidget(settings);
    right->addStretch(1);
    columns->addLayout(right, 3);

    // The frame's width and place, on a screen there is; the height fits the boxes.
    const QRect place = toQRect(frame);
    setFixedHeight(sizeHint().height());
    setGeometry(keptOnScreen(QRect(place.topLeft(), QSize(place.width(), height()))));
}

ProfileWindow::~ProfileWindow() {
    fQuitTarget.Post(fQuitWhat);
}

void ProfileWindow::SetQuitTarget(MessageTarget* target, uint32 what) {
    fQuitTarget.Set(target);
    fQuitWhat = what;
}

void ProfileWindow::MessageReceived(Message*) {}
