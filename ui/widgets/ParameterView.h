#pragma once
// The one view of a parameter web: every group becomes a box, a discrete parameter a combo box
// (a check box for an on/off switch such as B_MUTE), a continuous one a slider with its value
// and unit beside it, a text parameter a line edit, a null parameter its name. It serves the
// inputs' settings windows and the encoders' parameter windows alike.
//
// Values: read when the view is built, written the moment a control changes (stamped with
// system_time()), and read again every kRefreshMilliseconds, so a value changed elsewhere (a
// channel chosen in the TV pane, another program) shows up; a control the user is holding
// (a slider being dragged, a field being edited) is not overwritten.
//
// The view owns its web. When the web's owner goes (the input was replaced or torn down;
// ParameterWeb::OwnerGone), the controls are removed and the view says so: nothing is read or
// written through a web whose owner is gone.
//
// GUI thread only.

#include <QWidget>

#include <memory>
#include <vector>

class MediaParameter;
class ParameterGroup;
class ParameterWeb;
class QFormLayout;
class QLabel;
class QTimer;
class QVBoxLayout;

class ParameterView : public QWidget {
    Q_OBJECT

public:
    static constexpr int kRefreshMilliseconds = 250;
    static constexpr const char* kGoneText =
        "This input is gone: it was closed or replaced. Open its settings again.";

    // `web` may be empty (a view that says there are no controls); it must not be null.
    explicit ParameterView(std::unique_ptr<ParameterWeb> web, QWidget* parent = nullptr);
    ~ParameterView() override;

    // The text shown once the owner is gone (an encoder's window says something else).
    void SetGoneText(const QString& text);
    // Reads every value again now; when the owner is gone, shows that instead.
    void Refresh();
    bool IsGone() const { return fGone; }
    // The control of the parameter with `id` (its object name is "parameter<id>"), or null.
    QWidget* ControlFor(int32_t id) const;

signals:
    // The owner has gone and the controls have been removed.
    void gone();

private:
    struct Control {
        MediaParameter* parameter;
        QWidget* widget;
        QLabel* valueLabel;  // continuous parameters only
    };

    void AddGroup(ParameterGroup* group, QFormLayout* form);
    void AddParameter(MediaParameter* parameter, QFormLayout* form);
    void Show(const Control& control);
    // Writes `size` bytes; false (and the view shows that the owner is gone) when it is.
    bool Write(MediaParameter* parameter, const void* value, size_t size);
    void ShowGone();

    std::unique_ptr<ParameterWeb> fWeb;
    std::vector<Control> fControls;
    QVBoxLayout* fLayout = nullptr;
    QWidget* fContent = nullptr;  // the boxes and controls; deleted once the owner is gone
    QLabel* fGoneLabel = nullptr;
    QTimer* fRefresh = nullptr;
    bool fGone = false;
};
