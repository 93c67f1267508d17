#pragma once

#include <QString>
#include <QStringList>
#include <memory>

namespace iconfoundry {

// The alert seam. Everything in the program that asks the user something builds an Alert and
// runs it on the process-wide AlertPresenter, so that a test can install a scripted presenter
// and drive every flow without a display.

// One application-modal alert, as a value: what it says and which buttons it offers, in the
// order they were added. The first button is the affirmative one.
struct Alert
{
    enum class Style
    {
        Warning,
        Informational,
        Critical
    };

    // Return codes of AlertPresenter::runModal(): the first added button answers 1000, the
    // second 1001, and so on.
    static constexpr int FirstButtonReturn = 1000;
    static constexpr int SecondButtonReturn = 1001;
    static constexpr int ThirdButtonReturn = 1002;

    Style style = Style::Warning;
    QString messageText;
    QString informativeText;
    // Empty means one default button ("OK"), which answers FirstButtonReturn.
    QStringList buttonTitles;
    // A "do not show this again" checkbox. The presenter reports its state back in
    // suppressionButtonChecked.
    bool showsSuppressionButton = false;
    QString suppressionButtonTitle;
    bool suppressionButtonChecked = false;
};

// Shows alerts. runModal() returns only when the user answered; it may be called from the main thread only.
class AlertPresenter
{
public:
    virtual ~AlertPresenter() = default;
    // Returns Alert::FirstButtonReturn + the index of the chosen button. Writes the state of the
    // suppression checkbox back into alert.
    virtual int runModal(Alert& alert) = 0;

    // The presenter in use: the installed one, else the one that shows application-modal
    // message boxes.
    static AlertPresenter& shared();
    // Installs a presenter and returns the previous one (nullptr when none was installed).
    // Passing nullptr goes back to message boxes.
    static std::unique_ptr<AlertPresenter> install(std::unique_ptr<AlertPresenter> presenter);
};

// The presenter of the running application: an application-modal QMessageBox centred on the
// active window.
class MessageBoxAlertPresenter : public AlertPresenter
{
public:
    int runModal(Alert& alert) override;
};

// Runs alert on the shared presenter.
int runModalAlert(Alert& alert);

} // namespace iconfoundry
