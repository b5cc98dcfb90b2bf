#include "ui/profile/QuantitySlider.h"

#include <QGridLayout>
#include <QLabel>
#include <QSlider>

#include "media/ParameterWeb.h"
#include "support/Clock.h"

QuantitySlider::QuantitySlider(const char* name, const char* label, MediaParameter* parameter,
                               QWidget* parent)
    : QWidget(parent), fParameter(parameter) {
    setObjectName(name);
    // The label and the value above the bar, the bar as wide as the slider.
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setVerticalSpacing(2);
    grid->addWidget(new QLabel(label), 0, 0, Qt::AlignLeft);
    fValueLabel = new QLabel;
    fValueLabel->setMinimumWidth(fValueLabel->fontMetrics().horizontalAdvance("-100") + 4);
    fValueLabel->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    grid->addWidget(fValueLabel, 0, 1, Qt::AlignRight);
    fSlider = new QSlider(Qt::Horizontal);
    fSlider->setObjectName(QString(name) + "Slider");
    fSlider->setRange(kMinimum, kMaximum);
    fSlider->setTickPosition(QSlider::TicksBelow);
    fSlider->setTickInterval((kMaximum - kMinimum) / (kTickCount - 1));
    fSlider->setAccessibleName(label);
    grid->addWidget(fSlider, 1, 0, 1, 2);

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
