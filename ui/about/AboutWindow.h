#pragma once
// The About box: the program's "about" picture with a small text view over it that shows the
// version the build defines, the credits, and two lines that act as links (the web page opens
// in the browser, the address in the mail program). A click anywhere else closes the box.
// It is modal, has no title bar, and sits in the middle of the primary screen.

#include <QImage>
#include <QString>
#include <QWidget>

#include <string>

#include "support/Status.h"

class AboutTextView;

// The text's first line, "Version %ld.%ld.%ld %s"; the variety names the release stage,
// counted modulo 6 from "Development".
std::string versionText(long major, long middle, long minor, long variety);

class AboutWindow : public QWidget {
    Q_OBJECT

public:
    // The picture in the program's resources.
    static constexpr const char* kPicture = ":/about/about.png";

    // Loads `picture`; when it cannot, the error alert says "Could not get background bitmap"
    // and InitCheck fails: the caller deletes the window without showing it.
    explicit AboutWindow(const QString& picture = kPicture);

    status_t InitCheck() const { return fInitStatus; }
    AboutTextView* TextView() const { return fText; }

    // Where the text view lies on the picture.
    static QRect TextFrame();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    status_t fInitStatus = B_NO_INIT;
    QImage fPicture;
    AboutTextView* fText = nullptr;
};

// The text over the picture, in the view colour (162, 199, 227), neither editable nor
// selectable. Its last two lines are the links, underlined.
class AboutTextView : public QWidget {
    Q_OBJECT

public:
    explicit AboutTextView(QWidget* parent);

    const QString& Text() const { return fText; }
    // The areas of the web and e-mail lines, in the view's coordinates.
    QRect WebRegion() const { return fWebRegion; }
    QRect MailRegion() const { return fMailRegion; }

    static constexpr const char* kWebAddress = "https://tavro.example.org/";
    static constexpr const char* kMailAddress = "tavro@example.org";

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    QString fText;
    QRect fWebRegion;
    QRect fMailRegion;
};
