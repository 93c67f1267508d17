#include "ui/alerts.h"

#include "platform/seam.h"

#include <QApplication>
#include <QCheckBox>
#include <QMessageBox>
#include <QPushButton>
#include <QTextDocument>
#include <QTextEdit>

namespace iconfoundry {

namespace {

QMessageBox::Icon iconForStyle(Alert::Style style)
{
    switch (style) {
    case Alert::Style::Warning:
        return QMessageBox::Warning;
    case Alert::Style::Informational:
        return QMessageBox::Information;
    case Alert::Style::Critical:
        return QMessageBox::Critical;
    }
    return QMessageBox::NoIcon;
}

} // namespace

AlertPresenter& AlertPresenter::shared()
{
    static MessageBoxAlertPresenter messageBoxes;
    return Seam<AlertPresenter>::shared(messageBoxes);
}

std::unique_ptr<AlertPresenter> AlertPresenter::install(std::unique_ptr<AlertPresenter> presenter)
{
    return Seam<AlertPresenter>::install(std::move(presenter));
}

void MessageBoxAlertPresenter::beginAlert(const Alert& alert, Completion completion)
{
    auto* box = new QMessageBox(QApplication::activeWindow());
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::ApplicationModal);
    box->setIcon(iconForStyle(alert.style));
    // The message is the alert's headline; both texts are escaped, never read as markup, and the
    // informative text keeps its line breaks (the replace questions list one file a line).
    box->setTextFormat(Qt::RichText);
    box->setText(QStringLiteral("<b>%1</b>").arg(alert.messageText.toHtmlEscaped()));
    box->setInformativeText(Qt::convertFromPlainText(alert.informativeText, Qt::WhiteSpaceNormal));
    if (!alert.detailedText.isEmpty()) {
        box->setDetailedText(alert.detailedText);
        // Qt's details box shows a handful of lines; a report (a backtrace, log lines) needs room.
        if (auto* details = box->findChild<QTextEdit*>())
            details->setFixedSize(560, 280);
    }

    const QStringList titles = alert.buttonTitles.isEmpty()
                                   ? QStringList{QApplication::translate("QPlatformTheme", "OK")}
                                   : alert.buttonTitles;
    QList<QAbstractButton*> buttons;
    for (qsizetype i = 0; i < titles.size(); ++i) {
        // The first button accepts; the others answer "no" in the order given, the last of them
        // also being what Escape and closing the box choose.
        const auto role = i == 0 ? QMessageBox::AcceptRole : QMessageBox::RejectRole;
        buttons.append(box->addButton(titles.at(i), role));
    }
    box->setDefaultButton(qobject_cast<QPushButton*>(buttons.first()));
    box->setEscapeButton(buttons.last());

    QCheckBox* suppression = nullptr;
    if (alert.showsSuppressionButton) {
        suppression = new QCheckBox(alert.suppressionButtonTitle, box);
        suppression->setChecked(alert.suppressionButtonChecked);
        box->setCheckBox(suppression);
    }

    // finished comes once, however the box was closed; the box deletes itself afterwards.
    QObject::connect(box, &QMessageBox::finished, box,
                     [box, buttons, suppression, alert, completion = std::move(completion)](int) {
                         Alert answered = alert;
                         if (suppression)
                             answered.suppressionButtonChecked = suppression->isChecked();
                         const qsizetype index = buttons.indexOf(box->clickedButton());
                         const int response =
                             Alert::FirstButtonReturn + int(index < 0 ? buttons.size() - 1 : index);
                         if (completion)
                             completion(response, answered);
                     });
    box->show();
}

void beginAlert(const Alert& alert, AlertPresenter::Completion completion)
{
    AlertPresenter::shared().beginAlert(alert, std::move(completion));
}

} // namespace iconfoundry
