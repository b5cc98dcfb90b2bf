// The format editor's construction, its lists of file formats and encoders, and showing a
// format. The message table is in FormatWindowMessages.cpp.

#include "ui/format/FormatWindow.h"

#include <QCloseEvent>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

#include <cstdio>
#include <cstring>

#include "app/records/FormatSetting.h"
#include "app/records/MessageCodes.h"
#include "app/records/TavroSettings.h"
#include "engine/Tavro.h"
#include "engine/TavroFile.h"
#include "ui/Frames.h"
#include "ui/widgets/MenuField.h"
#include "ui/widgets/QualitySlider.h"
#include "ui/widgets/StatusMenuItem.h"

namespace {

constexpr const char* kSizes[] = {
    "160 x 120", "320 x 240", "352 x 240", "352 x 288", "384 x 288",
    "640 x 480", "704 x 480", "720 x 480", "720 x 576", "768 x 576",
};

struct ColorSpaceChoice {
    const char* label;
    color_space space;
};

constexpr ColorSpaceChoice kColorSpaces[] = {
    {"Gray 8-bit", B_GRAY8},        {"High-Color 15-bit", B_RGB15}, {"High-Color 16-bit", B_RGB16},
    {"True-Color 24-bit", B_RGB24}, {"True-Color 32-bit", B_RGB32}, {"YCbCr-411", B_YCbCr411},
    {"YCbCr-422", B_YCbCr422},
};

QString utf8(const char* text) {
    return QString::fromUtf8(text);
}

QString number(int32 value) {
    char text[32];
    std::snprintf(text, sizeof(text), "%ld", long(value));
    return text;
}

}  // namespace

// #pragma mark - The lists

bool fileFormatCanWriteVideo(const media_file_format& format) {
    return (format.capabilities & media_file_format::B_WRITABLE) != 0 &&
           (format.capabilities &
            (media_file_format::B_KNOWS_RAW_VIDEO | media_file_format::B_KNOWS_ENCODED_VIDEO)) != 0;
}

void addEncoderToList(EncoderList* list, const media_format* input, const media_format* output) {
    media_codec_info info;
    media_format acceptedInput;
    media_format acceptedOutput;
    int32 cookie = 0;
    while (get_next_encoder(&cookie, input, output, &info, &acceptedInput, &acceptedOutput) ==
           B_OK) {
        auto entry = std::make_unique<EncoderEntry>();
        entry->info = info;
        list->push_back(std::move(entry));
    }
}

void enableEncoder(EncoderList* list, const media_codec_info* info) {
    for (const auto& entry : *list) {
        if (entry->item != nullptr && entry->info.short_name == info->short_name)
            entry->item->setEnabled(true);
    }
}

void FormatWindow::MakeFileFormatList() {
    media_file_format format;
    int32 cookie = 0;
    while (get_next_file_format(&cookie, &format) == B_OK) {
        if (fileFormatCanWriteVideo(format))
            fFileFormats.push_back(std::make_unique<media_file_format>(format));
    }
}

void FormatWindow::MakeVideoEncoderList() {
    media_format input;
    input.type = B_MEDIA_RAW_VIDEO;
    media_format output;
    output.type = B_MEDIA_ENCODED_VIDEO;
    addEncoderToList(&fVideoEncoders, &input, &output);
    output.type = B_MEDIA_RAW_VIDEO;
    addEncoderToList(&fVideoEncoders, &input, &output);
}

void FormatWindow::MakeAudioEncoderList() {
    auto none = std::make_unique<EncoderEntry>();
    none->info.pretty_name = "<no audio>";
    fAudioEncoders.push_back(std::move(none));
    media_format input;
    input.type = B_MEDIA_RAW_AUDIO;
    media_format output;
    output.type = B_MEDIA_ENCODED_AUDIO;
    addEncoderToList(&fAudioEncoders, &input, &output);
    output.type = B_MEDIA_RAW_AUDIO;
    addEncoderToList(&fAudioEncoders, &input, &output);
}

// #pragma mark - Construction

FormatWindow::FormatWindow(const Rect& frame, const char* title, Tavro* engine,
                           FormatSetting* format)
    : QWidget(nullptr, Qt::Window), Looper(this), fEngine(engine) {
    setObjectName("formatWindow");
    setWindowTitle(utf8(title));
    setAttribute(Qt::WA_DeleteOnClose);
    if (format == nullptr)
        format = gSettings.FormatAt(0);

    MakeFileFormatList();
    MakeVideoEncoderList();
    MakeAudioEncoderList();
    BuildLayout(format);

    // Only the place is the user's; the size fits the controls.
    setFixedSize(sizeHint());
    setGeometry(QRect(toQRect(frame).topLeft(), size()));
    SetFormat(format);
}

FormatWindow::~FormatWindow() {
    // The encoder windows show the scratch file's tracks: they go first.
    SettleEncoderWindows();
    QRect place = geometry();
    gSettings.formatFrame = toRect(place);
    if (fHasQuitTarget)
        fQuitTarget.Post(fQuitCode);
}

void FormatWindow::SetQuitTarget(MessageTarget* target, uint32 what) {
    fQuitTarget.Set(target);
    fQuitCode = what;
    fHasQuitTarget = target != nullptr;
}

void FormatWindow::closeEvent(QCloseEvent* event) {
    // The window always lets itself be closed.
    event->accept();
}

void FormatWindow::BuildLayout(FormatSetting* format) {
    auto* layout = new QHBoxLayout(this);
    layout->addWidget(BuildFormatList());

    auto* right = new QVBoxLayout;
    auto* descriptionBox = new QGroupBox("Format Description");
    auto* description = new QFormLayout(descriptionBox);
    fName = new QLineEdit;
    fName->setObjectName("formatName");
    connect(fName, &QLineEdit::editingFinished, this, [this] { PostMessage(kMsgFormatName); });
    description->addRow("Format Name:", fName);
    right->addWidget(descriptionBox);
    right->addWidget(BuildVideoBox(format));
    right->addWidget(BuildAudioBox(format));
    right->addStretch(1);
    layout->addLayout(right, 1);
}

QWidget* FormatWindow::BuildFormatList() {
    auto* column = new QWidget;
    auto* layout = new QVBoxLayout(column);
    layout->setContentsMargins(0, 0, 0, 0);
    fList = new QListWidget;
    fList->setObjectName("formatList");
    fList->setSelectionMode(QAbstractItemView::SingleSelection);
    fList->setMinimumWidth(fList->fontMetrics().horizontalAdvance("Standard Format ") * 1 + 40);
    for (const std::unique_ptr<FormatSetting>& format : gSettings.formats) {
        auto* item = new QListWidgetItem(utf8(format->Text()), fList);
        item->setData(Qt::UserRole, QVariant::fromValue(static_cast<void*>(format.get())));
    }
    // Only the user's choices are reported; the window's own selecting is not.
    connect(fList, &QListWidget::itemClicked, this, [this](QListWidgetItem* item) {
        Message selected(kMsgFormatSelected);
        selected.AddInt32("index", fList->row(item));
        PostMessage(selected);
    });
    layout->addWidget(fList, 1);

    auto* buttons = new QHBoxLayout;
    auto* add = new QPushButton("Add");
    add->setObjectName("addButton");
    connect(add, &QPushButton::clicked, this, [this] { PostMessage(kMsgAddFormat); });
    fRemoveButton = new QPushButton("Remove");
    fRemoveButton->setObjectName("removeButton");
    connect(fRemoveButton, &QPushButton::clicked, this, [this] { PostMessage(kMsgRemoveFormat); });
    buttons->addWidget(add);
    buttons->addWidget(fRemoveButton);
    layout->addLayout(buttons);
    return column;
}

QWidget* FormatWindow::BuildVideoBox(FormatSetting* format) {
    auto* box = new QGroupBox("Video Format");
    auto* form = new QFormLayout(box);

    fFileFormatField = new MenuField("<choose file format>", this);
    fFileFormatField->setObjectName("fileFormatField");
    for (const auto& entry : fFileFormats) {
        Message message(kMsgFileFormat);
        message.AddPointer("format", entry.get());
        fFileFormatField->AddItem(utf8(entry->pretty_name.c_str()), message);
    }
    form->addRow("File Format:", fFileFormatField);

    fVideoEncoderField = new MenuField("<choose encoder>", this);
    fVideoEncoderField->setObjectName("videoEncoderField");
    for (const auto& entry : fVideoEncoders) {
        Message message(kMsgVideoEncoder);
        message.AddPointer("videoEncoder", &entry->info);
        entry->item = fVideoEncoderField->AddItem(utf8(entry->info.pretty_name.c_str()), message);
    }
    form->addRow("Encoder:", fVideoEncoderField);

    fQuality = new QualitySlider("Encoding Quality:", Message(kMsgVideoQuality), 0, 100);
    fQuality->setObjectName("qualitySlider");
    fQuality->SetTarget(this);
    form->addRow(fQuality);

    // Width x height, and the menu of usual sizes beside them.
    auto* sizeRow = new QHBoxLayout;
    fWidth = new QLineEdit;
    fWidth->setObjectName("videoWidth");
    fHeight = new QLineEdit;
    fHeight->setObjectName("videoHeight");
    for (QLineEdit* field : {fWidth, fHeight})
        field->setMaximumWidth(field->fontMetrics().horizontalAdvance("000000") + 12);
    connect(fWidth, &QLineEdit::editingFinished, this, [this] { PostMessage(kMsgVideoWidth); });
    connect(fHeight, &QLineEdit::editingFinished, this, [this] { PostMessage(kMsgVideoHeight); });
    fSizeButton = new QToolButton;
    fSizeButton->setObjectName("sizeButton");
    fSizeButton->setPopupMode(QToolButton::InstantPopup);
    fSizeButton->setArrowType(Qt::DownArrow);
    auto* sizes = new QMenu(fSizeButton);
    sizes->setObjectName("sizeMenu");
    for (const char* label : kSizes) {
        Message message(kMsgVideoSize);
        long width;
        long height;
        if (std::sscanf(label, "%ld x %ld", &width, &height) == 2) {
            message.AddInt32("width", int32(width));
            message.AddInt32("height", int32(height));
        }
        connect(sizes->addAction(label), &QAction::triggered, this,
                [this, message] { PostMessage(message); });
    }
    sizes->addSeparator();
    for (auto [label, factor] : {std::pair{"halve", 0.5f}, std::pair{"double", 2.0f}}) {
        Message message(kMsgVideoSize);
        message.AddFloat("factor", factor);
        connect(sizes->addAction(label), &QAction::triggered, this,
                [this, message] { PostMessage(message); });
    }
    fSizeButton->setMenu(sizes);
    sizeRow->addWidget(fWidth);
    sizeRow->addWidget(new QLabel("x"));
    sizeRow->addWidget(fHeight);
    sizeRow->addWidget(fSizeButton);
    sizeRow->addStretch(1);
    form->addRow("Video Size:", sizeRow);

    fColorSpaceField = new MenuField("", this);
    fColorSpaceField->setObjectName("colorSpaceField");
    StatusMenuItem::Reserve(fColorSpaceField->Menu());
    int index = 0;
    for (const ColorSpaceChoice& choice : kColorSpaces) {
        auto* item = new StatusMenuItem(utf8(choice.label));
        // 1, 2, 3, 1, 2, 3, 1 down the list.
        item->SetStatus(index++ % 3 + 1);
        Message message(kMsgColorSpace);
        message.AddInt32("space", choice.space);
        message.AddPointer("source", item);
        fColorSpaceField->AddItem(item, message);
    }
    form->addRow("Color Space:", fColorSpaceField);

    fFrameRateField = new MenuField("", this);
    fFrameRateField->setObjectName("frameRateField");
    BuildFrameRateMenu(format != nullptr ? format->frameDivisor : 1);
    form->addRow("Frame Rate:", fFrameRateField);

    fVideoSettingsButton = new QPushButton("Video Encoder Parameters...");
    fVideoSettingsButton->setObjectName("videoEncoderParameters");
    connect(fVideoSettingsButton, &QPushButton::clicked, this,
            [this] { PostMessage(kMsgVideoEncoderSettings); });
    form->addRow(fVideoSettingsButton);
    return box;
}

QWidget* FormatWindow::BuildAudioBox(FormatSetting* format) {
    auto* box = new QGroupBox("Audio Format");
    auto* form = new QFormLayout(box);

    fAudioEncoderField = new MenuField("<choose encoder>", this);
    fAudioEncoderField->setObjectName("audioEncoderField");
    for (const auto& entry : fAudioEncoders) {
        Message message(kMsgAudioEncoder);
        message.AddPointer("audioEncoder", &entry->info);
        entry->item = fAudioEncoderField->AddItem(utf8(entry->info.pretty_name.c_str()), message);
    }
    form->addRow("Encoder:", fAudioEncoderField);

    fFrequencyField = new MenuField("", this);
    fFrequencyField->setObjectName("frequencyField");
    BuildFrequencyMenu();
    if (format != nullptr) {
        for (QAction* item : fFrequencyField->Items()) {
            if (item->data().toInt() == format->audioFrameRate)
                fFrequencyField->Mark(item);
        }
    }
    form->addRow("Frequency:", fFrequencyField);

    fChannelsField = new MenuField("", this);
    fChannelsField->setObjectName("channelsField");
    for (auto [label, channels] : {std::pair{"stereo / Dolby Surround", 2}, std::pair{"mono", 1}}) {
        Message message(kMsgChannelCount);
        message.AddInt8("channels", int8(channels));
        QAction* item = fChannelsField->AddItem(utf8(label), message);
        item->setData(channels);
    }
    form->addRow("Channels:", fChannelsField);

    fAudioSettingsButton = new QPushButton("Audio Encoder Parameters...");
    fAudioSettingsButton->setObjectName("audioEncoderParameters");
    connect(fAudioSettingsButton, &QPushButton::clicked, this,
            [this] { PostMessage(kMsgAudioEncoderSettings); });
    form->addRow(fAudioSettingsButton);
    return box;
}

void FormatWindow::BuildFrameRateMenu(int32 divisor) {
    float base = 25.0f;
    media_format input;
    if (fEngine != nullptr && fEngine->GetVideoFormat(&input) == B_OK &&
        input.raw_video.field_rate > 0)
        base = input.raw_video.field_rate;
    // The sixth item keeps about one frame a second.
    fFrameDivisors = {1, 2, 3, 4, 5, int32(base)};
    fFrameRateField->RemoveItems();
    for (int32 each : fFrameDivisors) {
        char label[32];
        std::snprintf(label, sizeof(label), "%.3g fps", base / float(each));
        Message message(kMsgFrameRate);
        message.AddInt32("skipFrames", each);
        QAction* item = fFrameRateField->AddItem(utf8(label), message);
        if (each == divisor)
            fFrameRateField->Mark(item);
    }
}

void FormatWindow::BuildFrequencyMenu() {
    int32 start = 44100;
    media_format input;
    if (fEngine != nullptr && fEngine->GetAudioFormat(&input) == B_OK &&
        input.raw_audio.frame_rate > 0)
        start = int32(input.raw_audio.frame_rate);
    fFrequencyField->RemoveItems();
    for (int32 frequency : {start, start / 2, start / 4}) {
        char label[32];
        std::snprintf(label, sizeof(label), "%ld Hz", long(frequency));
        Message message(kMsgFrequency);
        message.AddInt32("frequency", frequency);
        fFrequencyField->AddItem(utf8(label), message)->setData(frequency);
    }
}

// #pragma mark - Showing a format

void FormatWindow::MarkFrameRate(int32 divisor) {
    // By position, not by the item's divisor: a divisor past the items marks the last one.
    QList<QAction*> items = fFrameRateField->Items();
    QAction* marked = nullptr;
    for (int i = 0; i < items.size(); i++) {
        if (divisor == i + 1)
            marked = items[i];
    }
    if (divisor > items.size() && !items.isEmpty())
        marked = items.back();
    fFrameRateField->Mark(marked);
}

void FormatWindow::MarkEncoder(const EncoderList& list, MenuField* field, const char* name,
                               const media_codec_info** chosen) {
    *chosen = nullptr;
    QAction* marked = nullptr;
    for (const auto& entry : list) {
        if (name != nullptr && entry->info.short_name == name) {
            marked = entry->item;
            *chosen = &entry->info;
            break;
        }
    }
    field->Mark(marked);
}

void FormatWindow::ShowSize() {
    fWidth->setText(number(fFormat->videoWidth));
    fHeight->setText(number(fFormat->videoHeight));
}

void FormatWindow::SetFormat(FormatSetting* format) {
    if (format == nullptr || format == fFormat)
        return;
    SettleEncoderWindows();
    fFormat = format;
    fName->setText(utf8(format->Text()));
    SelectListItem(format);

    fFileFormat = nullptr;
    QAction* fileItem = nullptr;
    QList<QAction*> fileItems = fFileFormatField->Items();
    for (size_t i = 0; i < fFileFormats.size(); i++) {
        if (fFileFormats[i]->short_name == format->fileFormat) {
            fileItem = fileItems.value(int(i), nullptr);
            fFileFormat = fFileFormats[i].get();
        }
    }
    fFileFormatField->Mark(fileItem);

    MarkEncoder(fVideoEncoders, fVideoEncoderField, format->videoEncoder.c_str(), &fVideoEncoder);
    // Cut off, not rounded: 0.599 shows 59.
    fQuality->SetValue(int32(format->videoQuality * 100));
    ShowSize();

    QAction* spaceItem = nullptr;
    for (QAction* item : fColorSpaceField->Items()) {
        for (const ColorSpaceChoice& choice : kColorSpaces) {
            if (item->text() == utf8(choice.label) && choice.space == format->colorSpace)
                spaceItem = item;
        }
    }
    fColorSpaceField->Mark(spaceItem);
    if (auto* status = qobject_cast<StatusMenuItem*>(spaceItem))
        fShownColorStatus = status->Status();

    MarkFrameRate(format->frameDivisor);
    // No audio encoder name marks "<no audio>", the first entry.
    MarkEncoder(fAudioEncoders, fAudioEncoderField, format->audioEncoder.c_str(), &fAudioEncoder);
    BuildFrequencyMenu();
    QAction* frequencyItem = nullptr;
    for (QAction* item : fFrequencyField->Items()) {
        if (item->data().toInt() == format->audioFrameRate)
            frequencyItem = item;
    }
    fFrequencyField->Mark(frequencyItem);
    QAction* channelItem = nullptr;
    for (QAction* item : fChannelsField->Items()) {
        if (item->data().toInt() == format->audioChannels)
            channelItem = item;
    }
    fChannelsField->Mark(channelItem);

    if (fEngine != nullptr)
        fEngine->SetFormat(format);
    UpdateEncoderMenus();
    UpdateEncoderButtons();
}

void FormatWindow::UpdateEncoderButtons() {
    fVideoSettingsButton->setEnabled(fFileFormat != nullptr && fVideoEncoder != nullptr);
    fAudioSettingsButton->setEnabled(fFileFormat != nullptr && fAudioEncoder != nullptr &&
                                     !fAudioEncoder->short_name.empty());
}

void FormatWindow::UpdateEncoderMenus() {
    fVideoEncoderField->setEnabled(fFileFormat != nullptr);
    fAudioEncoderField->setEnabled(fFileFormat != nullptr);
    if (fFileFormat == nullptr)
        return;

    for (const auto& entry : fVideoEncoders)
        entry->item->setEnabled(false);
    media_format input;
    input.type = B_MEDIA_RAW_VIDEO;
    media_format output;
    output.type = B_MEDIA_ENCODED_VIDEO;
    media_codec_info info;
    int32 cookie = 0;
    while (get_next_encoder(&cookie, fFileFormat, &input, &output, &info, nullptr, nullptr) == B_OK)
        enableEncoder(&fVideoEncoders, &info);

    // "<no audio>" stays enabled: every file format can leave the sound out.
    for (size_t i = 1; i < fAudioEncoders.size(); i++)
        fAudioEncoders[i]->item->setEnabled(false);
    input.type = B_MEDIA_RAW_AUDIO;
    output.type = B_MEDIA_ENCODED_AUDIO;
    cookie = 0;
    while (get_next_encoder(&cookie, fFileFormat, &input, &output, &info, nullptr, nullptr) == B_OK)
        enableEncoder(&fAudioEncoders, &info);
}

// #pragma mark - The list

void FormatWindow::SelectListItem(const FormatSetting* format) {
    QSignalBlocker quiet(fList);
    fList->clearSelection();
    for (int row = 0; row < fList->count(); row++) {
        if (fList->item(row)->data(Qt::UserRole).value<void*>() == format) {
            fList->setCurrentRow(row);
            fList->item(row)->setSelected(true);
        }
    }
}

void FormatWindow::SortList() {
    std::vector<FormatSetting*> formats;
    for (int row = 0; row < fList->count(); row++)
        formats.push_back(
            static_cast<FormatSetting*>(fList->item(row)->data(Qt::UserRole).value<void*>()));
    std::stable_sort(formats.begin(), formats.end(), [](FormatSetting* a, FormatSetting* b) {
        return FormatSetting::CompareFunc(&a, &b) < 0;
    });
    QSignalBlocker quiet(fList);
    for (int row = 0; row < fList->count(); row++) {
        QListWidgetItem* item = fList->item(row);
        item->setText(utf8(formats[size_t(row)]->Text()));
        item->setData(Qt::UserRole, QVariant::fromValue(static_cast<void*>(formats[size_t(row)])));
    }
    SelectListItem(fFormat);
}

void FormatWindow::AddFormat(FormatSetting* format) {
    if (format == nullptr)
        return;
    auto* item = new QListWidgetItem(utf8(format->Text()), fList);
    item->setData(Qt::UserRole, QVariant::fromValue(static_cast<void*>(format)));
    SortList();
    SelectListItem(format);
}

void FormatWindow::RemoveFormat(FormatSetting* format) {
    if (format == nullptr)
        return;
    for (int row = 0; row < fList->count(); row++) {
        if (fList->item(row)->data(Qt::UserRole).value<void*>() == format) {
            QSignalBlocker quiet(fList);
            delete fList->takeItem(row);
            break;
        }
    }
    // The encoder windows are not settled into a format about to be deleted.
    if (format == fFormat) {
        fFormat = nullptr;
        delete fVideoWindow.data();
        delete fAudioWindow.data();
        fScratchFile.reset();
    }
}
