#include "app/feedbackcontroller.h"

#include "app/environment.h"
#include "app/multipartupload.h"
#include "app/tararchive.h"
#include "logging/log.h"
#include "platform/atomicfile.h"
#include "platform/bundle.h"
#include "platform/texts.h"
#include "ui/panels.h"
#include "ui/workspace.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace iconfoundry {

namespace {

constexpr int kUrlRole = Qt::UserRole + 1;

QString versionLine()
{
    return QStringLiteral("IconFoundry %1 (%2)").arg(Bundle::shortVersion(), Bundle::buildNumber());
}

} // namespace

FeedbackController& FeedbackController::sharedController()
{
    static FeedbackController controller;
    return controller;
}

FeedbackController::FeedbackController() = default;
FeedbackController::~FeedbackController() = default;

QUrl FeedbackController::endpoint() const
{
    return endpoint_ ? *endpoint_ : Environment::url(Environment::FeedbackURLKey);
}

void FeedbackController::build()
{
    window_ = std::make_unique<QDialog>();
    window_->setObjectName(QStringLiteral("feedbackWindow"));
    window_->setWindowTitle(Texts::text("Feedback.Title"));
    window_->resize(520, 460);
    auto* layout = new QVBoxLayout(window_.get());

    auto* intro = new QLabel(Texts::text("Feedback.Intro"), window_.get());
    intro->setWordWrap(true);
    layout->addWidget(intro);

    message_ = new QPlainTextEdit(window_.get());
    message_->setObjectName(QStringLiteral("feedbackMessage"));
    message_->setPlaceholderText(Texts::text("Feedback.Message.Placeholder"));
    layout->addWidget(message_, 1);

    auto* form = new QFormLayout;
    email_ = new QLineEdit(window_.get());
    email_->setObjectName(QStringLiteral("feedbackEmail"));
    email_->setPlaceholderText(Texts::text("Feedback.Email.Placeholder"));
    form->addRow(Texts::text("Feedback.Email.Label"), email_);
    layout->addLayout(form);

    layout->addWidget(new QLabel(Texts::text("Feedback.Attachments.Label"), window_.get()));
    attachments_ = new QListWidget(window_.get());
    attachments_->setObjectName(QStringLiteral("feedbackAttachments"));
    attachments_->setMaximumHeight(110);
    layout->addWidget(attachments_);
    remove_ = new QPushButton(Texts::text("Feedback.Attachments.Remove"), window_.get());
    remove_->setEnabled(false);
    QObject::connect(attachments_, &QListWidget::currentRowChanged, remove_,
                     [this](int row) { remove_->setEnabled(row >= 0); });
    QObject::connect(remove_, &QPushButton::clicked, window_.get(), [this] {
        delete attachments_->takeItem(attachments_->currentRow());
        remove_->setEnabled(attachments_->currentRow() >= 0);
    });
    layout->addWidget(remove_, 0, Qt::AlignLeft);

    status_ = new QLabel(window_.get());
    status_->setWordWrap(true);
    layout->addWidget(status_);

    auto* buttons = new QDialogButtonBox(window_.get());
    send_ = buttons->addButton(Texts::text("Button.Send"), QDialogButtonBox::AcceptRole);
    save_ = buttons->addButton(Texts::text("Button.SaveArchive"), QDialogButtonBox::ActionRole);
    mail_ = buttons->addButton(Texts::text("Button.EmailDraft"), QDialogButtonBox::ActionRole);
    buttons->addButton(QDialogButtonBox::Cancel);
    QObject::connect(send_, &QPushButton::clicked, window_.get(), [this] { sendNow(); });
    QObject::connect(save_, &QPushButton::clicked, window_.get(), [this] { saveArchive(); });
    QObject::connect(mail_, &QPushButton::clicked, window_.get(), [this] { openMailDraft(); });
    QObject::connect(buttons, &QDialogButtonBox::rejected, window_.get(), &QDialog::reject);
    layout->addWidget(buttons);
}

void FeedbackController::showFeedbackWindowInMode(int, CompletionHandler completionHandler)
{
    if (!window_)
        build();
    completion_ = std::move(completionHandler);
    // Each showing starts from the current logs; what the user typed earlier stays.
    attachments_->clear();
    for (const QUrl& url : logURLs_.value_or(QList<QUrl>())) {
        auto* item = new QListWidgetItem(QFileInfo(url.toLocalFile()).fileName(), attachments_);
        item->setData(kUrlRole, url);
        item->setToolTip(url.toLocalFile());
    }
    const bool canSend = !endpoint().isEmpty();
    send_->setVisible(canSend);
    save_->setVisible(!canSend);
    mail_->setVisible(!canSend);
    send_->setEnabled(true);
    status_->setText(canSend ? QString() : Texts::text("Feedback.NoEndpoint"));
    window_->show();
    window_->raise();
    window_->activateWindow();
}

QList<QUrl> FeedbackController::attachedFiles() const
{
    QList<QUrl> urls;
    for (int i = 0; attachments_ && i < attachments_->count(); ++i)
        urls.append(attachments_->item(i)->data(kUrlRole).toUrl());
    return urls;
}

void FeedbackController::sendNow()
{
    const QUrl url = endpoint();
    if (url.isEmpty())
        return;
    QList<MultipartUpload::Part> parts{
        MultipartUpload::textPart(QStringLiteral("message"), message_->toPlainText()),
        MultipartUpload::textPart(QStringLiteral("email"), email_->text().trimmed()),
        MultipartUpload::textPart(QStringLiteral("version"), versionLine())};
    parts += MultipartUpload::fileParts(QStringLiteral("logs"), attachedFiles());
    send_->setEnabled(false);
    status_->setText(Texts::text("Feedback.Sending"));
    QPointer<QDialog> window = window_.get();
    MultipartUpload::post(url, parts, [this, window](bool sent, const QString& error) {
        if (!window)
            return;
        send_->setEnabled(true);
        if (sent) {
            status_->clear();
            message_->clear();
            window_->accept();
        } else {
            status_->setText(Texts::text("Feedback.SendFailed").arg(error));
        }
        complete(sent);
    });
}

QByteArray FeedbackController::archive() const
{
    QString text = message_->toPlainText() + QStringLiteral("\n\n");
    if (!email_->text().trimmed().isEmpty())
        text += QStringLiteral("Reply to: %1\n").arg(email_->text().trimmed());
    text += versionLine() + QLatin1Char('\n');
    QList<TarArchive::Entry> entries{{QStringLiteral("message.txt"), text.toUtf8()}};
    for (const QUrl& url : attachedFiles()) {
        QFile file(url.toLocalFile());
        if (file.open(QIODevice::ReadOnly))
            entries.append({QStringLiteral("logs/") + QFileInfo(file).fileName(), file.readAll()});
    }
    return TarArchive::archive(entries, QDateTime::currentDateTimeUtc());
}

void FeedbackController::saveArchive()
{
    OpenPanelOptions options;
    options.canChooseFiles = false;
    options.canChooseDirectories = true;
    options.canCreateDirectories = true;
    options.title = Texts::text("Feedback.Save.Panel.Title");
    options.parent = window_.get();
    PanelPresenter::shared().beginOpenPanel(options, [this](int response, const QList<QUrl>& urls) {
        if (response != OpenPanelOptions::OKResponse || urls.size() != 1)
            return;
        const QString name =
            QStringLiteral("IconFoundry Feedback %1.tar")
                .arg(QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH-mm-ss")));
        const QString path = QDir(urls.first().toLocalFile()).filePath(name);
        Error error;
        if (!AtomicFile::write(path, archive(), &error)) {
            status_->setText(error.localizedDescription);
            complete(false);
            return;
        }
        LOG_INFO("Feedback saved to '%s'", qUtf8Printable(path));
        message_->clear();
        window_->accept();
        complete(true);
    });
}

QUrl FeedbackController::mailDraftURL() const
{
    QString body = message_->toPlainText() + QStringLiteral("\n\n") + versionLine();
    if (!attachedFiles().isEmpty())
        body += QLatin1Char('\n') + Texts::text("Feedback.Mail.LogsAt")
                                        .arg(QFileInfo(attachedFiles().first().toLocalFile()).absolutePath());
    return QUrl(QStringLiteral("mailto:?subject=") +
                    QString::fromLatin1(QUrl::toPercentEncoding(Texts::text("Feedback.Mail.Subject"))) +
                    QStringLiteral("&body=") + QString::fromLatin1(QUrl::toPercentEncoding(body)),
                QUrl::StrictMode);
}

void FeedbackController::openMailDraft()
{
    const bool opened = Workspace::shared().openURL(mailDraftURL());
    if (opened)
        window_->accept();
    else
        status_->setText(Texts::text("Feedback.MailFailed"));
    complete(opened);
}

void FeedbackController::complete(bool success)
{
    if (CompletionHandler handler = std::exchange(completion_, nullptr))
        handler(success);
}

} // namespace iconfoundry
