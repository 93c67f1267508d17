#include "platform/alerts.h"
#include "platform/seam.h"

#include <QApplication>
#include <QCheckBox>
#include <QMessageBox>
#include <QPushButton>

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

int MessageBoxAlertPresenter::runModal(Alert& alert)
{
    QMessageBox box(QApplication::activeWindow());
    box.setWindowModality(Qt::ApplicationModal);
    box.setIcon(iconForStyle(alert.style));
    // The message is the alert's headline; both texts are escaped, never read as markup.
    box.setTextFormat(Qt::RichText);
    box.setText(QStringLiteral("<b>%1</b>").arg(alert.messageText.toHtmlEscaped()));
    box.setInformativeText(QStringLiteral("<p>%1</p>").arg(alert.informativeText.toHtmlEscaped()));

    const QStringList titles = alert.buttonTitles.isEmpty()
                                   ? QStringList{QApplication::translate("QPlatformTheme", "OK")}
                                   : alert.buttonTitles;
    QList<QAbstractButton*> buttons;
    for (qsizetype i = 0; i < titles.size(); ++i) {
        // The first button accepts; the others answer "no" in the order given, the last of them
        // also being what Escape and closing the box choose.
        const auto role = i == 0 ? QMessageBox::AcceptRole : QMessageBox::RejectRole;
        buttons.append(box.addButton(titles.at(i), role));
    }
    box.setDefaultButton(qobject_cast<QPushButton*>(buttons.first()));
    box.setEscapeButton(buttons.last());

    QCheckBox* suppression = nullptr;
    if (alert.showsSuppressionButton) {
        suppression = new QCheckBox(alert.suppressionButtonTitle, &box);
        suppression->setChecked(alert.suppressionButtonChecked);
        box.setCheckBox(suppression);
    }

    box.exec();

    if (suppression)
        alert.suppressionButtonChecked = suppression->isChecked();
    const qsizetype index = buttons.indexOf(box.clickedButton());
    return Alert::FirstButtonReturn + int(index < 0 ? buttons.size() - 1 : index);
}

int runModalAlert(Alert& alert)
{
    return AlertPresenter::shared().runModal(alert);
}

} // namespace iconfoundry
