#pragma once

#include <QList>
#include <QPointer>
#include <QUrl>
#include <functional>
#include <memory>
#include <optional>

class QDialog;
class QLabel;
class QLineEdit;
class QListWidget;
class QPlainTextEdit;
class QPushButton;

namespace iconfoundry {

// The feedback window: a message, an optional e-mail address to answer to, and the attached log
// files, each of which the user may take off before sending.
//
// With an endpoint ("FeedbackURL" in the environment) it sends everything as one multipart HTTP
// POST with a time-out. Without one it offers to save the message and the logs as one archive, or
// to open an e-mail draft with the message.
//
// The completion handler of a showing is called once: with true when the feedback was sent,
// saved or handed to the mail program, with false when sending or saving failed (the window then
// stays open, so nothing typed is lost). Closing the window without acting calls nothing.
// Main thread only.
class FeedbackController
{
public:
    using CompletionHandler = std::function<void(bool success)>;

    static FeedbackController& sharedController();
    FeedbackController();
    ~FeedbackController();

    const std::optional<QList<QUrl>>& logURLs() const { return logURLs_; }
    void setLogURLs(const std::optional<QList<QUrl>>& urls) { logURLs_ = urls; }
    QUrl endpoint() const;
    void setEndpoint(const QUrl& url) { endpoint_ = url; }

    // Mode 0 is the only mode: the window as described above.
    void showFeedbackWindowInMode(int mode, CompletionHandler completionHandler);

    // The window's parts, for tests and screenshots; null before the first showing.
    QDialog* window() const { return window_.get(); }
    QPlainTextEdit* messageField() const { return message_; }
    QLineEdit* emailField() const { return email_; }
    QListWidget* attachmentList() const { return attachments_; }
    QPushButton* sendButton() const { return send_; }
    QPushButton* saveButton() const { return save_; }
    QPushButton* mailButton() const { return mail_; }
    QPushButton* removeButton() const { return remove_; }
    QLabel* statusLabel() const { return status_; }

    // The files still attached in the window.
    QList<QUrl> attachedFiles() const;
    // The address of the e-mail draft for the current message.
    QUrl mailDraftURL() const;
    // Everything as one archive: "message.txt" and the attached files.
    QByteArray archive() const;

private:
    void build();
    void sendNow();
    void saveArchive();
    void openMailDraft();
    void complete(bool success);

    std::optional<QList<QUrl>> logURLs_;
    std::optional<QUrl> endpoint_;
    CompletionHandler completion_;
    std::unique_ptr<QDialog> window_;
    QPlainTextEdit* message_ = nullptr;
    QLineEdit* email_ = nullptr;
    QListWidget* attachments_ = nullptr;
    QPushButton* send_ = nullptr;
    QPushButton* save_ = nullptr;
    QPushButton* mail_ = nullptr;
    QPushButton* remove_ = nullptr;
    QLabel* status_ = nullptr;
};

} // namespace iconfoundry
