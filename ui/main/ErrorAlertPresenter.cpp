#include "ui/main/ErrorAlertPresenter.h"

#include <QApplication>
#include <QMessageBox>
#include <QThread>

#include "app/ErrorAlert.h"

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
            box->setAttribute(Qt::WA_DeleteOnClose);
            box->show();
        },
        Qt::QueuedConnection);
}

void presentAlert(const std::string& text, bool async) {
    QCoreApplication* application = QCoreApplication::instance();
    if (application == nullptr || QThread::currentThread() != application->thread()) {
        showLater(QMessageBox::Critical, "Tavro", text, "Ok");
        return;
    }
    QMessageBox* box = newBox(QMessageBox::Critical, "Tavro", text, "Ok");
    if (async) {
        box->setAttribute(Qt::WA_DeleteOnClose);
        box->show();
        return;
    }
    box->exec();
    delete box;
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
