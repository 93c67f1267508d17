#pragma once

#include <QString>
#include <QStringList>
#include <functional>
#include <memory>

namespace iconfoundry {

// The alert seam. Everything in the program that asks the user something builds an Alert and
// begins it on the process-wide AlertPresenter, so that a test can install a scripted presenter
// and drive every flow without a display.
//
// Alerts are begun, not run: beginAlert() returns at once and the completion is called later, on
// the main thread, with the answer. No nested event loop ever runs while a question is open, so
// timers, file watches and network replies that fire meanwhile cannot re-enter the code that
// asked.

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

    // Answers handed to the completion: the first added button answers 1000, the second 1001,
    // and so on.
    static constexpr int FirstButtonReturn = 1000;
    static constexpr int SecondButtonReturn = 1001;
    static constexpr int ThirdButtonReturn = 1002;

    Style style = Style::Warning;
    QString messageText;
    QString informativeText;
    // Long text (a report, a log) the user can unfold; empty for none.
    QString detailedText;
    // Empty means one default button ("OK"), which answers FirstButtonReturn.
    QStringList buttonTitles;
    // A "do not show this again" checkbox. The presenter reports its state back in
    // suppressionButtonChecked.
    bool showsSuppressionButton = false;
    QString suppressionButtonTitle;
    bool suppressionButtonChecked = false;
};

// Shows alerts, application-modal. Main thread only.
class AlertPresenter
{
public:
    // response is Alert::FirstButtonReturn + the index of the chosen button; alert is the one
    // begun, with the final state of its suppression checkbox.
    using Completion = std::function<void(int response, const Alert& alert)>;

    virtual ~AlertPresenter() = default;
    // Shows alert and returns at once; completion runs once, when the user answered.
    virtual void beginAlert(const Alert& alert, Completion completion) = 0;

    // The presenter in use: the installed one, else the one that shows application-modal
    // message boxes.
    static AlertPresenter& shared();
    // Installs a presenter and returns the previous one (nullptr when none was installed).
    // Passing nullptr goes back to message boxes.
    static std::unique_ptr<AlertPresenter> install(std::unique_ptr<AlertPresenter> presenter);
};

// The presenter of the running application: an application-modal QMessageBox centred on the
// active window, shown without blocking.
class MessageBoxAlertPresenter : public AlertPresenter
{
public:
    void beginAlert(const Alert& alert, Completion completion) override;
};

// Begins alert on the shared presenter.
void beginAlert(const Alert& alert, AlertPresenter::Completion completion);

} // namespace iconfoundry
