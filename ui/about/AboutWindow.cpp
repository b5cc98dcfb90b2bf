#include "ui/about/AboutWindow.h"

#include <QDesktopServices>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QUrl>

#include <cstdio>

#include "app/records/ErrorAlert.h"
#include "support/Geometry.h"
#include "ui/Frames.h"

#ifndef TAVRO_VERSION_MAJOR
#error "the build defines the version (TAVRO_VERSION_MAJOR, _MIDDLE, _MINOR, _VARIETY)"
#endif

namespace {

constexpr const char* kVarieties[] = {"Development", "Alpha",         "Beta",
                                      "Gamma",       "Golden master", "Final"};

constexpr const char* kCredits[] = {
    "Tavro: television and live video",
    "recorded with its sound.",
    "Written by the Tavro team.",
    "Built on Qt and FFmpeg.",
};

const QColor kViewColor(162, 199, 227, 255);

constexpr int kFontPixels = 11;

}  // namespace

// Registers the picture's resource, which lives in a static library. Outside the anonymous
// namespace: the macro declares the resource's own initialiser where it stands.
static void registerPicture() {
    static const bool registered = [] {
        Q_INIT_RESOURCE(about);
        return true;
    }();
    (void)registered;
}

std::string versionText(long major, long middle, long minor, long variety) {
    // A negative variety still names one of the six.
    long index = ((variety % 6) + 6) % 6;
    char text[96];
    std::snprintf(text, sizeof(text), "Version %ld.%ld.%ld %s", major, middle, minor,
                  kVarieties[index]);
    return text;
}

// #pragma mark - AboutWindow

QRect AboutWindow::TextFrame() {
    return toQRect(Rect{180, 115, 375, 280});
}

AboutWindow::AboutWindow(const QString& picture)
    : QWidget(nullptr, Qt::Dialog | Qt::FramelessWindowHint) {
    setObjectName("aboutWindow");
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowModality(Qt::ApplicationModal);
    setGeometry(10, 10, 31, 31);
    registerPicture();
    if (!fPicture.load(picture)) {
        ErrorAlert("Could not get background bitmap", B_NAME_NOT_FOUND, false);
        fInitStatus = B_NAME_NOT_FOUND;
        return;
    }
    setFixedSize(fPicture.size());
    if (QScreen* screen = QGuiApplication::primaryScreen()) {
        QRect area = screen->geometry();
        move(area.left() + (area.width() - fPicture.width()) / 2,
             area.top() + (area.height() - fPicture.height()) / 2);
    }
    fText = new AboutTextView(this);
    fText->setGeometry(TextFrame());
    fInitStatus = B_OK;
}

void AboutWindow::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    painter.drawImage(event->rect(), fPicture, event->rect());
}

void AboutWindow::mousePressEvent(QMouseEvent*) {
    close();
}

// #pragma mark - AboutTextView

AboutTextView::AboutTextView(QWidget* parent) : QWidget(parent) {
    setObjectName("aboutText");
    QFont small = font();
    small.setPixelSize(kFontPixels);
    setFont(small);
    setAutoFillBackground(true);
    QPalette colours = palette();
    colours.setColor(QPalette::Window, kViewColor);
    colours.setColor(QPalette::WindowText, Qt::black);
    setPalette(colours);

    QStringList lines;
    lines << QString::fromStdString(versionText(TAVRO_VERSION_MAJOR, TAVRO_VERSION_MIDDLE,
                                                TAVRO_VERSION_MINOR, TAVRO_VERSION_VARIETY));
    for (const char* credit : kCredits)
        lines << QString::fromUtf8(credit);
    lines << QString() << QString() << kWebAddress << kMailAddress;
    fText = lines.join('\n');

    // Each line's area, without its line break; the last two are the links.
    QFontMetrics metrics(small);
    const int inset = 4;
    const int count = int(lines.size());
    auto lineArea = [&](int index) {
        return QRect(inset, inset + index * metrics.lineSpacing(),
                     metrics.horizontalAdvance(lines[index]), metrics.height());
    };
    fWebRegion = lineArea(count - 2);
    fMailRegion = lineArea(count - 1);
}

void AboutTextView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setPen(palette().color(QPalette::WindowText));
    QFontMetrics metrics(font());
    const QStringList lines = fText.split('\n');
    for (int i = 0; i < lines.size(); i++)
        painter.drawText(QPoint(4, 4 + i * metrics.lineSpacing() + metrics.ascent()), lines[i]);
    // The links are underlined 2 pixels above their area's bottom.
    for (const QRect& link : {fWebRegion, fMailRegion})
        painter.drawLine(link.left(), link.bottom() - 2, link.right(), link.bottom() - 2);
}

void AboutTextView::mousePressEvent(QMouseEvent* event) {
    const QPoint point = event->position().toPoint();
    // A browser or mail program that does not start is not reported.
    if (fMailRegion.contains(point))
        QDesktopServices::openUrl(QUrl(QString("mailto:") + kMailAddress));
    else if (fWebRegion.contains(point))
        QDesktopServices::openUrl(QUrl(kWebAddress));
    else
        window()->close();
}
