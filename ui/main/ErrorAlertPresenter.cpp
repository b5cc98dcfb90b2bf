#include "ui/main/ErrorAlertPresenter.h"

#include <QApplication>
#include <QMessageBox>
#include <QThread>

#include "app/records/ErrorAlert.h"

namespace {

QMessageBox* newBox(QMessageBox::Icon icon, const std::string& title, const std::string& text,
                    const std::string& button) {
    auto* box = new QMessageBox(icon, QString::fromStdString(title), QString::fromStdString(text),
                                QMessageBox::NoButton);
    box->addButton(QString::fromStdString(button), QMessageBox::AcceptRole);
    return box;
}

void showLater(QMessageBox::Icon icon, const std::string& title, const std::string& text,
               const std::string& button) {
    QCoreApplication* application = QCoreApplication::instance();
    if (application == nullptr)
        return;
    QMetaObject::invokeMethod(
        application,
        [icon, title, text, button] {
            QMessageBox* box = newBox(icon, title, text, button);
            box->setObjectName(icon == QMessageBox::Critical ? "errorAlert" : "request");
            box->setAttribute(Qt::WA_DeleteOnClose);
            box->show();
        },
        Qt::QueuedConnection);
}

void presentAlert(const std::string& text, bool /*async*/) {
    QCoreApplication* application = QCoreApplication::instance();
    if (application == nullptr || QThread::currentThread() != application->thread()) {
        showLater(QMessageBox::Critical, "Tavro", text, "Ok");
        return;
    }
    // Never a modal loop: an alert is most often raised inside a window's MessageReceived,
    // and a loop there would deliver the next message (a timed 'recd') into the half-finished
    // handler. The box blocks input to the windows until "Ok" (open()); the caller goes on.
    QMessageBox* box = newBox(QMessageBox::Critical, "Tavro", text, "Ok");
    box->setObjectName("errorAlert");
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}

}  // namespace

void installErrorAlertPresenter() {
    SetErrorAlertPresenter(presentAlert);
}

void removeErrorAlertPresenter() {
    SetErrorAlertPresenter(nullptr);
}

void showRequest(const std::string& title, const std::string& text, const std::string& button) {
    showLater(QMessageBox::Information, title, text, button);
}
