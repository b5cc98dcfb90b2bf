#include "ui/widgets/QualitySlider.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QSlider>
#include <QVBoxLayout>

#include <algorithm>
#include <cstdio>

#include "support/MessageTarget.h"

QualitySlider::QualitySlider(const char* label, const Message& message, int32 min, int32 max,
                             QWidget* parent)
    : QWidget(parent), fMessage(message) {
    fLabel = new QLabel(QString::fromUtf8(label));
    fValueText = new QLabel;
    fValueText->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    fBar = new QSlider(Qt::Horizontal);
    fBar->setRange(min, max);
    // Five hash marks: both ends and three between.
    fBar->setTickInterval(std::max(1, (max - min) / 4));
    fBar->setTickPosition(QSlider::TicksBelow);
    fBar->setObjectName("qualityBar");

    auto* top = new QHBoxLayout;
    top->setContentsMargins(0, 0, 0, 0);
    top->addWidget(fLabel);
    top->addStretch(1);
    top->addWidget(fValueText);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    layout->addLayout(top);
    layout->addWidget(fBar);

    fValueText->setText(UpdateText());
    connect(fBar, &QSlider::valueChanged, this, &QualitySlider::ValueChanged);
}

int32 QualitySlider::Value() const {
    return fBar->value();
}

void QualitySlider::SetValue(int32 value) {
    fSetting = true;
    fBar->setValue(value);
    fSetting = false;
    fValueText->setText(UpdateText());
}

const char* QualitySlider::UpdateText() const {
    long value = fBar->value();
    if (value < 1)
        std::snprintf(fText, sizeof(fText), "Not specified");
    else
        std::snprintf(fText, sizeof(fText), "%ld%%", value);
    return fText;
}

void QualitySlider::ValueChanged(int value) {
    fValueText->setText(UpdateText());
    if (fSetting || fTarget == nullptr)
        return;
    Message message(fMessage);
    message.AddInt32("be:value", value);
    fTarget->PostMessage(message);
}
