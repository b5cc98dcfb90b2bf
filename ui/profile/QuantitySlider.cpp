#include "ui/profile/QuantitySlider.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QSlider>

#include "media/ParameterWeb.h"
#include "support/Clock.h"

QuantitySlider::QuantitySlider(const char* name, const char* label, MediaParameter* parameter,
                               QWidget* parent)
    : QWidget(parent), fParameter(parameter) {
    setObjectName(name);
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    auto* text = new QLabel(label);
    row->addWidget(text);
    fSlider = new QSlider(Qt::Horizontal);
    fSlider->setObjectName(QString(name) + "Slider");
    fSlider->setRange(kMinimum, kMaximum);
    fSlider->setTickPosition(QSlider::TicksBelow);
    fSlider->setTickInterval((kMaximum - kMinimum) / (kTickCount - 1));
    fSlider->setAccessibleName(label);
    row->addWidget(fSlider, 1);
    fValueLabel = new QLabel;
    fValueLabel->setMinimumWidth(fValueLabel->fontMetrics().horizontalAdvance("-100") + 4);
    fValueLabel->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    row->addWidget(fValueLabel);

    if (fParameter != nullptr) {
        float value = 0;
        size_t size = sizeof(value);
        if (fParameter->GetValue(&value, &size, nullptr) == B_OK && size == sizeof(value))
            fSlider->setValue(int(value));  // the fraction is cut off
    }
    fValueLabel->setText(UpdateText());
    connect(fSlider, &QSlider::valueChanged, this, &QuantitySlider::ValueChanged);
}

int QuantitySlider::Value() const {
    return fSlider->value();
}

QString QuantitySlider::UpdateText() const {
    return QString::asprintf("%ld", long(fSlider->value()));
}

void QuantitySlider::ValueChanged(int value) {
    fValueLabel->setText(UpdateText());
    if (fParameter == nullptr)
        return;
    const float written = float(value);
    fParameter->SetValue(&written, sizeof(written), system_time());
}
