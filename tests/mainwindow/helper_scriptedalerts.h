#pragma once

#include "platform/alerts.h"
#include "platform/panels.h"

#include <QList>
#include <QUrl>
#include <memory>

// An alert presenter that answers from a script and records every alert it was shown. When the
// script runs out it answers with the last button (the refusal), so an unexpected question can
// never let an image through by accident; the test sees it in alerts().
class ScriptedAlertPresenter : public AlertPresenter
{
public:
    QList<int> answers;
    QList<Alert> alerts;

    int runModal(Alert& alert) override
    {
        alerts.append(alert);
        if (!answers.isEmpty())
            return answers.takeFirst();
        return Alert::FirstButtonReturn + int(qMax<qsizetype>(alert.buttonTitles.size(), 1) - 1);
    }

    QStringList messageTexts() const
    {
        QStringList texts;
        for (const Alert& alert : alerts)
            texts.append(alert.messageText);
        return texts;
    }
};

// Installs a scripted alert presenter for the life of the object.
class ScopedAlertPresenter
{
public:
    ScopedAlertPresenter() : presenter_(new ScriptedAlertPresenter)
    {
        AlertPresenter::install(std::unique_ptr<AlertPresenter>(presenter_));
    }
    ~ScopedAlertPresenter() { AlertPresenter::install(nullptr); }
    ScriptedAlertPresenter* operator->() const { return presenter_; }
    ScriptedAlertPresenter& operator*() const { return *presenter_; }

private:
    ScriptedAlertPresenter* presenter_; // owned by the installed slot
};

// An open panel that completes at once with a scripted response and URLs, recording the
// options it was begun with.
class ScriptedPanelPresenter : public PanelPresenter
{
public:
    int response = OpenPanelOptions::CancelResponse;
    QList<QUrl> urls;
    QList<OpenPanelOptions> begun;

    void beginOpenPanel(const OpenPanelOptions& options, Completion completion) override
    {
        begun.append(options);
        completion(response, urls);
    }
};

class ScopedPanelPresenter
{
public:
    ScopedPanelPresenter() : presenter_(new ScriptedPanelPresenter)
    {
        PanelPresenter::install(std::unique_ptr<PanelPresenter>(presenter_));
    }
    ~ScopedPanelPresenter() { PanelPresenter::install(nullptr); }
    ScriptedPanelPresenter* operator->() const { return presenter_; }

private:
    ScriptedPanelPresenter* presenter_;
};
