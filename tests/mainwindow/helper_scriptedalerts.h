#pragma once

#include "iconset/image.h"
#include "ui/alerts.h"
#include "ui/panels.h"

#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <memory>
#include <utility>

using namespace iconfoundry;

// Scripted user input for driving the window headless: alerts, the open panel, and the image
// files a user would pick.

// An alert presenter that answers from a script and records every alert it was shown. When the
// script runs out it answers with the last button (the refusal), so an unexpected question can
// never let an image through by accident; the test sees it in alerts. With holdAnswers set, the
// alerts stay open until the test answers them with answer(), as a user who takes their time.
class ScriptedAlertPresenter : public AlertPresenter
{
public:
    QList<int> answers;
    QList<Alert> alerts;
    bool holdAnswers = false;
    QList<std::pair<Alert, Completion>> open;

    void beginAlert(const Alert& alert, Completion completion) override
    {
        alerts.append(alert);
        if (holdAnswers) {
            open.append({alert, std::move(completion)});
            return;
        }
        completion(nextAnswer(alert), alert);
    }

    // Answers the open alert at index with response.
    void answer(qsizetype index, int response)
    {
        auto [alert, completion] = open.takeAt(index);
        completion(response, alert);
    }

private:
    int nextAnswer(const Alert& alert)
    {
        if (!answers.isEmpty())
            return answers.takeFirst();
        return Alert::FirstButtonReturn + int(qMax<qsizetype>(alert.buttonTitles.size(), 1) - 1);
    }
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

// A colour panel that completes at once with a scripted answer, recording the options.
class ScriptedColourPanelPresenter : public ColourPanelPresenter
{
public:
    bool chosen = false;
    QColor colour;
    QList<ColourPanelOptions> begun;

    void beginColourPanel(const ColourPanelOptions& options, Completion completion) override
    {
        begun.append(options);
        completion(chosen, colour);
    }
};

// Installs a scripted presenter into its seam for the life of the object.
template <typename Scripted, typename Seam> class ScopedPresenter
{
public:
    ScopedPresenter() : presenter_(new Scripted) { Seam::install(std::unique_ptr<Seam>(presenter_)); }
    ~ScopedPresenter() { Seam::install(nullptr); }
    Scripted* operator->() const { return presenter_; }

private:
    Scripted* presenter_; // owned by the seam
};

using ScopedAlertPresenter = ScopedPresenter<ScriptedAlertPresenter, AlertPresenter>;
using ScopedPanelPresenter = ScopedPresenter<ScriptedPanelPresenter, PanelPresenter>;
using ScopedColourPanelPresenter = ScopedPresenter<ScriptedColourPanelPresenter, ColourPanelPresenter>;

// Writes a one-colour PNG at 72 dpi, so its point size equals its pixel size. Returns path, or
// an empty string when it could not be written.
inline QString writeImage(const QString& path, int width, int height, QColor color = Qt::red)
{
    QImage image(width, height, QImage::Format_ARGB32);
    image.fill(color);
    image.setDotsPerMeterX(2835);
    image.setDotsPerMeterY(2835);
    QDir().mkpath(QFileInfo(path).absolutePath());
    return image.save(path, "PNG") ? path : QString();
}

// The message texts of alerts, in order.
inline QStringList messages(const QList<Alert>& alerts)
{
    QStringList texts;
    for (const Alert& alert : alerts)
        texts.append(alert.messageText);
    return texts;
}

inline QColor colorOf(const ImagePtr& image)
{
    return image ? image->bitmap().pixelColor(0, 0) : QColor();
}
