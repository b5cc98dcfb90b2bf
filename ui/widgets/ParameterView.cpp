#include "ui/widgets/ParameterView.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QSignalBlocker>
#include <QSlider>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "media/ParameterWeb.h"
#include "support/Clock.h"

namespace {

// A slider moves in whole positions: one per step of the parameter, at most this many.
constexpr int kMaxSliderPositions = 1000;

// Positions of the range alone, without the default's.
int rangePositions(const MediaParameter* parameter) {
    const float range = parameter->MaxValue() - parameter->MinValue();
    if (range <= 0)
        return 1;
    if (parameter->ValueStep() > 0 && range / parameter->ValueStep() <= kMaxSliderPositions)
        return std::max(1, int(std::lround(range / parameter->ValueStep())));
    return kMaxSliderPositions;
}

// A parameter with a default value has one more position, the leftmost, for it.
int firstRangePosition(const MediaParameter* parameter) {
    return parameter->HasDefaultValue() ? 1 : 0;
}

int sliderPositions(const MediaParameter* parameter) {
    return rangePositions(parameter) + firstRangePosition(parameter);
}

bool isDefault(const MediaParameter* parameter, float value) {
    return parameter->HasDefaultValue() &&
           (value == parameter->DefaultValue() || value < parameter->MinValue());
}

float valueAt(const MediaParameter* parameter, int position) {
    if (position < firstRangePosition(parameter))
        return parameter->DefaultValue();
    const float range = parameter->MaxValue() - parameter->MinValue();
    return parameter->MinValue() + range * float(position - firstRangePosition(parameter)) /
                                       float(rangePositions(parameter));
}

int positionOf(const MediaParameter* parameter, float value) {
    if (isDefault(parameter, value))
        return 0;
    const float range = parameter->MaxValue() - parameter->MinValue();
    if (range <= 0)
        return firstRangePosition(parameter);
    const int positions = rangePositions(parameter);
    return firstRangePosition(parameter) +
           std::clamp(int(std::lround((value - parameter->MinValue()) / range * float(positions))),
                      0, positions);
}

QString valueText(const MediaParameter* parameter, float value) {
    if (isDefault(parameter, value))
        return "default";
    QString text = QString::number(double(value), 'g', 4);
    if (!parameter->Unit().empty())
        text += ' ' + QString::fromStdString(parameter->Unit());
    return text;
}

// An on/off switch: two items, "off" and "on" by kind or by name.
bool isSwitch(const MediaParameter* parameter) {
    if (parameter->CountItems() != 2)
        return false;
    if (parameter->Kind() == B_MUTE || parameter->Kind() == B_ENABLE)
        return true;
    return QString::fromStdString(parameter->ItemNameAt(0)).compare("off", Qt::CaseInsensitive) ==
               0 &&
           QString::fromStdString(parameter->ItemNameAt(1)).compare("on", Qt::CaseInsensitive) == 0;
}

QString label(const MediaParameter* parameter) {
    return QString::fromStdString(parameter->Name());
}

}  // namespace

ParameterView::ParameterView(std::unique_ptr<ParameterWeb> web, QWidget* parent)
    : QWidget(parent), fWeb(std::move(web)) {
    fLayout = new QVBoxLayout(this);
    fContent = new QWidget;
    auto* content = new QVBoxLayout(fContent);
    content->setContentsMargins(0, 0, 0, 0);
    for (int32 i = 0; i < fWeb->CountGroups(); i++) {
        ParameterGroup* group = fWeb->GroupAt(i);
        auto* box = new QGroupBox(QString::fromStdString(group->Name()));
        auto* form = new QFormLayout(box);
        AddGroup(group, form);
        content->addWidget(box);
    }
    if (fWeb->CountParameters() == 0)
        content->addWidget(new QLabel("No controls."));
    fLayout->addWidget(fContent);

    fGoneLabel = new QLabel(kGoneText);
    fGoneLabel->setObjectName("goneLabel");
    fGoneLabel->setWordWrap(true);
    fGoneLabel->hide();
    fLayout->addWidget(fGoneLabel);

    fRefresh = new QTimer(this);
    connect(fRefresh, &QTimer::timeout, this, &ParameterView::Refresh);
    fRefresh->start(kRefreshMilliseconds);
    Refresh();
}

ParameterView::~ParameterView() = default;

void ParameterView::SetGoneText(const QString& text) {
    fGoneLabel->setText(text);
}

void ParameterView::AddGroup(ParameterGroup* group, QFormLayout* form) {
    for (int32 i = 0; i < group->CountParameters(); i++)
        AddParameter(group->ParameterAt(i), form);
    for (int32 i = 0; i < group->CountGroups(); i++) {
        ParameterGroup* inner = group->GroupAt(i);
        auto* box = new QGroupBox(QString::fromStdString(inner->Name()));
        AddGroup(inner, new QFormLayout(box));
        form->addRow(box);
    }
}

void ParameterView::AddParameter(MediaParameter* parameter, QFormLayout* form) {
    Control control{parameter, nullptr, nullptr};
    switch (parameter->Type()) {
        case ParameterType::Null:
            control.widget = new QLabel(label(parameter));
            form->addRow(control.widget);
            break;
        case ParameterType::Discrete:
            if (isSwitch(parameter)) {
                auto* box = new QCheckBox(label(parameter));
                connect(box, &QCheckBox::toggled, this, [this, parameter](bool checked) {
                    const int32 value = parameter->ItemValueAt(checked ? 1 : 0);
                    Write(parameter, &value, sizeof(value));
                });
                control.widget = box;
                form->addRow(box);
            } else {
                auto* combo = new QComboBox;
                for (int32 i = 0; i < parameter->CountItems(); i++)
                    combo->addItem(QString::fromStdString(parameter->ItemNameAt(i)));
                connect(combo, &QComboBox::activated, this, [this, parameter](int index) {
                    if (index < 0 || index >= parameter->CountItems())
                        return;
                    const int32 value = parameter->ItemValueAt(index);
                    Write(parameter, &value, sizeof(value));
                });
                control.widget = combo;
                form->addRow(label(parameter), combo);
            }
            break;
        case ParameterType::Continuous: {
            auto* row = new QHBoxLayout;
            auto* slider = new QSlider(Qt::Horizontal);
            slider->setRange(0, sliderPositions(parameter));
            slider->setMinimumWidth(160);
            control.valueLabel = new QLabel(valueText(parameter, parameter->MaxValue()));
            control.valueLabel->setMinimumWidth(control.valueLabel->sizeHint().width());
            control.valueLabel->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
            QLabel* valueLabel = control.valueLabel;
            connect(slider, &QSlider::valueChanged, this,
                    [this, parameter, valueLabel](int position) {
                        const float value = valueAt(parameter, position);
                        valueLabel->setText(valueText(parameter, value));
                        // Every channel gets the same value.
                        std::vector<float> values(size_t(std::max(1, parameter->CountChannels())),
                                                  value);
                        Write(parameter, values.data(), values.size() * sizeof(float));
                    });
            control.widget = slider;
            row->addWidget(slider, 1);
            row->addWidget(control.valueLabel);
            form->addRow(label(parameter), row);
            break;
        }
        case ParameterType::Text: {
            auto* field = new QLineEdit;
            if (parameter->MaxBytes() > 0)
                field->setMaxLength(int(std::min<size_t>(parameter->MaxBytes(), 32767)));
            connect(field, &QLineEdit::editingFinished, this, [this, parameter, field] {
                const QByteArray text = field->text().toUtf8();
                Write(parameter, text.constData(), size_t(text.size()));
            });
            control.widget = field;
            form->addRow(label(parameter), field);
            break;
        }
    }
    control.widget->setObjectName(QString("parameter%1").arg(parameter->ID()));
    if (control.valueLabel != nullptr)
        control.valueLabel->setObjectName(QString("parameter%1Value").arg(parameter->ID()));
    control.widget->setAccessibleName(label(parameter));
    fControls.push_back(control);
}

QWidget* ParameterView::ControlFor(int32_t id) const {
    for (const Control& control : fControls) {
        if (control.parameter->ID() == id)
            return control.widget;
    }
    return nullptr;
}

void ParameterView::Refresh() {
    if (fGone)
        return;
    if (fWeb->OwnerGone()) {
        ShowGone();
        return;
    }
    for (const Control& control : fControls)
        Show(control);
}

void ParameterView::Show(const Control& control) {
    MediaParameter* parameter = control.parameter;
    // Big enough for every channel of a continuous value and the longest text.
    std::vector<char> buffer(std::max<size_t>({64, parameter->MaxBytes() + 1,
                                               size_t(parameter->CountChannels()) * sizeof(float)}),
                             0);
    size_t size = buffer.size();
    if (parameter->GetValue(buffer.data(), &size, nullptr) != B_OK)
        return;
    const QSignalBlocker blocker(control.widget);
    switch (parameter->Type()) {
        case ParameterType::Null:
            break;
        case ParameterType::Discrete: {
            if (size < sizeof(int32))
                return;
            int32 value;
            std::memcpy(&value, buffer.data(), sizeof(value));
            if (auto* box = qobject_cast<QCheckBox*>(control.widget)) {
                box->setChecked(value == parameter->ItemValueAt(1));
            } else if (auto* combo = qobject_cast<QComboBox*>(control.widget)) {
                for (int32 i = 0; i < parameter->CountItems(); i++) {
                    if (parameter->ItemValueAt(i) == value)
                        combo->setCurrentIndex(i);
                }
            }
            break;
        }
        case ParameterType::Continuous: {
            auto* slider = static_cast<QSlider*>(control.widget);
            if (size < sizeof(float) || slider->isSliderDown())
                return;
            float value;
            std::memcpy(&value, buffer.data(), sizeof(value));
            slider->setValue(positionOf(parameter, value));
            control.valueLabel->setText(valueText(parameter, value));
            break;
        }
        case ParameterType::Text: {
            auto* field = static_cast<QLineEdit*>(control.widget);
            if (field->hasFocus())
                return;
            // A value may carry its terminating zero.
            field->setText(QString::fromUtf8(
                buffer.data(), int(strnlen(buffer.data(), std::min(size, buffer.size())))));
            break;
        }
    }
}

bool ParameterView::Write(MediaParameter* parameter, const void* value, size_t size) {
    if (fGone || fWeb->OwnerGone()) {
        ShowGone();
        return false;
    }
    parameter->SetValue(value, size, system_time());
    return true;
}

void ParameterView::ShowGone() {
    if (fGone)
        return;
    fGone = true;
    fRefresh->stop();
    fControls.clear();
    // A control may be the sender of the signal that found the owner gone: it goes later.
    fContent->hide();
    fContent->deleteLater();
    fContent = nullptr;
    fGoneLabel->show();
    emit gone();
}
