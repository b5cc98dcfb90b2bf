#pragma once
// The format editor: the settings' list of recording formats on the left, the chosen one's
// fields on the right. Every edit is written into the FormatSetting at once, handed to the
// engine (so the preview follows) and reported to the quit target (the main window) with
// kMsgFormatChanged. Adding, removing and choosing formats belong to the main window: the
// editor forwards those requests, and the main window tells it of the result through
// AddFormat, RemoveFormat and kMsgFormatSelected.
//
// The encoders' own parameters are edited in windows on a scratch output file's tracks; their
// values go into the format when such a window closes or the editor turns to another format.
//
// GUI thread only; other windows reach it by posting.

#include <QPointer>
#include <QWidget>

#include <memory>
#include <vector>

#include "media/file/FileFormats.h"
#include "support/Geometry.h"
#include "ui/Looper.h"
#include "ui/format/NodeSettingsWindow.h"
#include "ui/preview/QuitTarget.h"

class FormatSetting;
class MenuField;
class QAction;
class QLineEdit;
class QListWidget;
class QPushButton;
class QToolButton;
class QualitySlider;
class Tavro;
class TavroFile;

// Codes of the editor's own controls.
constexpr uint32 kMsgFormatName = fourcc("fnam");
constexpr uint32 kMsgFileFormat = fourcc("ffmt");
constexpr uint32 kMsgVideoEncoder = fourcc("venc");
constexpr uint32 kMsgAudioEncoder = fourcc("aenc");
constexpr uint32 kMsgVideoQuality = fourcc("vqua");
constexpr uint32 kMsgVideoWidth = fourcc("vwid");
constexpr uint32 kMsgVideoHeight = fourcc("vhei");
constexpr uint32 kMsgVideoSize = fourcc("size");
constexpr uint32 kMsgColorSpace = fourcc("cols");
constexpr uint32 kMsgFrameRate = fourcc("frmr");
constexpr uint32 kMsgFrequency = fourcc("freq");
constexpr uint32 kMsgChannelCount = fourcc("ccnt");
constexpr uint32 kMsgVideoEncoderSettings = fourcc("vest");
constexpr uint32 kMsgAudioEncoderSettings = fourcc("aest");
constexpr uint32 kMsgVideoEncoderWindowClosed = fourcc("vwcl");
constexpr uint32 kMsgAudioEncoderWindowClosed = fourcc("awcl");

// One encoder the editor offers, and the menu item that shows it (null until the menu is built).
struct EncoderEntry {
    media_codec_info info;
    QAction* item = nullptr;
};
using EncoderList = std::vector<std::unique_ptr<EncoderEntry>>;

// Writable, and takes raw or encoded video.
bool fileFormatCanWriteVideo(const media_file_format& format);
// Appends an entry for every encoder from `input`'s kind to `output`'s type.
void addEncoderToList(EncoderList* list, const media_format* input, const media_format* output);
// Enables the menu item of every entry with `info`'s short name.
void enableEncoder(EncoderList* list, const media_codec_info* info);

class FormatWindow : public QWidget, public Looper {
    Q_OBJECT

public:
    // Shows `format`, or the settings' first format when it is null. `engine` is not owned and
    // must outlive the window.
    FormatWindow(const Rect& frame, const char* title, Tavro* engine, FormatSetting* format);
    // Stores the frame in the settings and posts the quit code to the quit target.
    ~FormatWindow() override;

    void MessageReceived(Message* message) override;

    // Shows `format` (an element of the settings' list); nothing when it is null or already
    // shown. Settles open encoder parameter windows into the format shown before.
    void SetFormat(FormatSetting* format);
    FormatSetting* Format() const { return fFormat; }
    // Enables the encoders the chosen file format can hold; both menus are disabled without one.
    void UpdateEncoderMenus();

    // The open encoder parameter windows; null when closed.
    NodeSettingsWindow* VideoEncoderWindow() const { return fVideoWindow; }
    NodeSettingsWindow* AudioEncoderWindow() const { return fAudioWindow; }

    // The main window added `format` to the settings' list / removed it (not yet deleted).
    void AddFormat(FormatSetting* format);
    void RemoveFormat(FormatSetting* format);

    void SetQuitTarget(MessageTarget* target, uint32 what);

    // The chosen entries; null when none.
    const media_file_format* FileFormat() const { return fFileFormat; }
    const media_codec_info* VideoEncoder() const { return fVideoEncoder; }
    const media_codec_info* AudioEncoder() const { return fAudioEncoder; }
    // The status mark shown with the colour space field's label.
    int32 ShownColorSpaceStatus() const { return fShownColorStatus; }

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void MakeFileFormatList();
    void MakeVideoEncoderList();
    void MakeAudioEncoderList();

    void BuildLayout(FormatSetting* format);
    QWidget* BuildFormatList();
    QWidget* BuildVideoBox(FormatSetting* format);
    QWidget* BuildAudioBox(FormatSetting* format);
    void BuildFrameRateMenu(int32 divisor);
    void BuildFrequencyMenu();

    void MarkFrameRate(int32 divisor);
    void MarkEncoder(const EncoderList& list, MenuField* field, const char* name,
                     const media_codec_info** chosen);
    void ShowSize();
    void SelectListItem(const FormatSetting* format);
    void SortList();

    // The message handlers; each returns whether the format changed.
    bool FormatSelected(const Message* message);
    bool NameChanged();
    bool SizeChosen(const Message* message);
    bool SizeTyped(bool width);
    void OpenEncoderWindow(bool video);
    void EncoderWindowClosed(bool video);
    // Stores the open encoder windows' values into the format shown and closes them.
    void SettleEncoderWindows();
    // Stores the scratch track's values into the format shown.
    void StoreEncoderParameters(bool video);
    void UpdateEncoderButtons();

    void PostToQuitTarget(const Message& message);

    Tavro* const fEngine;
    FormatSetting* fFormat = nullptr;  // an element of the settings' list, not owned
    QuitTarget fQuitTarget;
    uint32 fQuitCode = 0;
    bool fHasQuitTarget = false;

    std::vector<std::unique_ptr<media_file_format>> fFileFormats;
    EncoderList fVideoEncoders;
    EncoderList fAudioEncoders;
    const media_file_format* fFileFormat = nullptr;
    const media_codec_info* fVideoEncoder = nullptr;
    const media_codec_info* fAudioEncoder = nullptr;

    // The divisors behind the frame-rate items, in menu order.
    std::vector<int32> fFrameDivisors;
    int32 fShownColorStatus = 0;

    QListWidget* fList = nullptr;
    QPushButton* fRemoveButton = nullptr;
    QLineEdit* fName = nullptr;
    MenuField* fFileFormatField = nullptr;
    MenuField* fVideoEncoderField = nullptr;
    QualitySlider* fQuality = nullptr;
    QLineEdit* fWidth = nullptr;
    QLineEdit* fHeight = nullptr;
    QToolButton* fSizeButton = nullptr;
    MenuField* fColorSpaceField = nullptr;
    MenuField* fFrameRateField = nullptr;
    QPushButton* fVideoSettingsButton = nullptr;
    MenuField* fAudioEncoderField = nullptr;
    MenuField* fFrequencyField = nullptr;
    MenuField* fChannelsField = nullptr;
    QPushButton* fAudioSettingsButton = nullptr;

    // The encoder parameter windows while open, and the file whose tracks they show. The
    // file is made when the first window opens and goes once none is open; `fScratchLife`
    // lives exactly as long, so that a view never reaches a track that has gone.
    QPointer<NodeSettingsWindow> fVideoWindow;
    QPointer<NodeSettingsWindow> fAudioWindow;
    std::unique_ptr<TavroFile> fScratchFile;
    std::shared_ptr<int> fScratchLife;
};
