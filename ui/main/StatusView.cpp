#include "ui/main/StatusView.h"

#include <QEvent>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

#include "engine/Tavro.h"
#include "ui/main/BufferView.h"
#include "ui/widgets/FlickerFreeStringView.h"

namespace {

constexpr int kCounterFontSize = 10;
constexpr int kBarGap = 3;
constexpr const char* kWidestCounter = "88888888 buffers (8888)";
constexpr const char* kNotKeepingUp = "encoder not keeping up";

FlickerFreeStringView* counterLine(QWidget* parent) {
    auto* line = new FlickerFreeStringView("-", parent);
    QFont font = line->font();
    font.setPointSize(kCounterFontSize);
    line->setFont(font);
    line->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    // Whole up to eight digits written and four dropped, however narrow the window is made.
    line->setMinimumWidth(QFontMetrics(font).horizontalAdvance(kWidestCounter) + 4);
    return line;
}

// One column: a bold label with the counter beside it, the second line under the counter,
// the fill bar under both.
QGridLayout* column(QWidget* parent, const char* label, FlickerFreeStringView* counter,
                    FlickerFreeStringView* secondLine, BufferView* bar) {
    auto* grid = new QGridLayout;
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(10);
    grid->setVerticalSpacing(0);
    auto* title = new QLabel(label, parent);
    QFont bold = title->font();
    bold.setBold(true);
    title->setFont(bold);
    grid->addWidget(title, 0, 0);
    grid->addWidget(counter, 0, 1);
    grid->addWidget(secondLine, 1, 1);
    grid->setRowMinimumHeight(2, kBarGap);
    grid->addWidget(bar, 3, 0, 1, 2);
    grid->setColumnStretch(1, 1);
    return grid;
}

}  // namespace

StatusView::StatusView(Tavro* engine, QWidget* parent)
    : QWidget(parent),
      fEngine(engine),
      fAudioCounter(counterLine(this)),
      fVideoCounter(counterLine(this)),
      fAudioSecondLine(counterLine(this)),
      fVideoSecondLine(counterLine(this)),
      fElapsed(new FlickerFreeStringView("00:00:00", this)),
      fFileText(new QLabel(this)),
      fVideoBuffer(new BufferView(this)),
      fAudioBuffer(new BufferView(this)) {
    fVideoCounter->setObjectName("videoCounter");
    fAudioCounter->setObjectName("audioCounter");
    fElapsed->setObjectName("elapsed");
    fVideoBuffer->setObjectName("videoBuffer");
    fAudioBuffer->setObjectName("audioBuffer");

    auto* columns = new QHBoxLayout;
    columns->setSpacing(8);
    columns->addLayout(column(this, "Video:", fVideoCounter, fVideoSecondLine, fVideoBuffer), 1);
    columns->addLayout(column(this, "Audio:", fAudioCounter, fAudioSecondLine, fAudioBuffer), 1);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 2, 4, 4);
    layout->setSpacing(2);
    auto* top = new QHBoxLayout;
    top->setSpacing(10);
    top->addWidget(fElapsed);
    // Any width will do: the path is elided to what the window leaves it.
    fFileText->setObjectName("fileName");
    fFileText->setMinimumWidth(1);
    fFileText->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    fFileText->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    fFileText->setTextInteractionFlags(Qt::TextSelectableByMouse);
    top->addWidget(fFileText, 1);
    fFileText->installEventFilter(this);
    layout->addLayout(top);
    layout->addLayout(columns);

    if (fEngine != nullptr)
        fEngine->SetStatusView(this);
    Stop();
}

StatusView::~StatusView() {
    if (fEngine != nullptr)
        fEngine->SetStatusView(nullptr);
}

void StatusView::Start(time_t now) {
    fStartTime = now;
    fRunning = true;
}

void StatusView::Stop() {
    fRunning = false;
}

QString StatusView::Elapsed() const {
    return fElapsed->text();
}

void StatusView::SetFileName(const QString& path) {
    fFileText->setToolTip(path);
    ElideFileName();
}

bool StatusView::eventFilter(QObject* watched, QEvent* event) {
    if (watched == fFileText && event->type() == QEvent::Resize)
        ElideFileName();
    return QWidget::eventFilter(watched, event);
}

void StatusView::ElideFileName() {
    const QString path = fFileText->toolTip();
    fFileText->setText(
        fFileText->fontMetrics().elidedText(path, Qt::ElideMiddle, fFileText->width()));
}

QString StatusView::ElapsedText(time_t elapsed) {
    // The count goes through a calendar conversion in a zone one hour ahead of UTC, and the
    // hour is taken back by one. The zone is fixed here rather than the user's, so the clock
    // reads 00:00:00 at the start of a recording wherever the user lives.
    constexpr time_t kZoneOffset = 3600;
    time_t shifted = elapsed + kZoneOffset;
    struct tm local = {};
    gmtime_r(&shifted, &local);
    return QString::asprintf("%02i:%02i:%02i", local.tm_hour - 1, local.tm_min, local.tm_sec);
}

void StatusView::Pulse(time_t now) {
    if (!fRunning)
        return;
    fElapsed->setText(ElapsedText(now - fStartTime));
    if (fEngine == nullptr)
        return;
    fVideoCounter->setText(QString::asprintf("%lld frames (%lld)",
                                             (long long)fEngine->VideoFramesCounter(),
                                             (long long)fEngine->DroppedVideoFrames()));
    fAudioCounter->setText(QString::asprintf("%lld buffers (%lld)",
                                             (long long)fEngine->AudioFramesCounter(),
                                             (long long)fEngine->DroppedAudioFrames()));
    // A ring that refused frames: its writer cannot keep up with the input.
    fVideoSecondLine->setText(fEngine->VideoRingFullDrops() > 0 ? kNotKeepingUp : "-");
    fAudioSecondLine->setText(fEngine->AudioRingFullDrops() > 0 ? kNotKeepingUp : "-");
}

void StatusView::WindowPulse() {
    Pulse();
    fVideoBuffer->Pulse();
    fAudioBuffer->Pulse();
}

void StatusView::SetVideoBuffer(RingBuffer* ring) {
    fVideoBuffer->SetBuffer(ring);
}

void StatusView::SetAudioBuffer(RingBuffer* ring) {
    fAudioBuffer->SetBuffer(ring);
}
