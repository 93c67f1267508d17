#include "app/launchreport.h"

#include "app/environment.h"
#include "app/multipartupload.h"
#include "logging/log.h"
#include "platform/bundle.h"
#include "platform/defaults.h"

#include <QSysInfo>
#include <optional>

namespace iconfoundry {

namespace {

std::optional<QUrl>& endpointOverride()
{
    static std::optional<QUrl> url;
    return url;
}

} // namespace

QUrl LaunchReport::endpoint()
{
    return endpointOverride() ? *endpointOverride() : Environment::url(Environment::LaunchReportURLKey);
}

void LaunchReport::setEndpoint(const QUrl& url)
{
    endpointOverride() = url;
}

bool LaunchReport::sendTrackingReport(std::function<void(bool sent)> completion)
{
    const QUrl url = endpoint();
    Defaults& defaults = Defaults::standardUserDefaults();
    if (url.isEmpty() || !defaults.sendsLaunchReport())
        return false;
    const QList<MultipartUpload::Part> parts{
        MultipartUpload::textPart(QStringLiteral("version"), Bundle::shortVersion() + QStringLiteral(" (") +
                                                                 Bundle::buildNumber() + QLatin1Char(')')),
        MultipartUpload::textPart(QStringLiteral("platform"), QSysInfo::prettyProductName() +
                                                                  QStringLiteral(", ") +
                                                                  QSysInfo::currentCpuArchitecture()),
        MultipartUpload::textPart(QStringLiteral("install"), defaults.installIdentifier())};
    MultipartUpload::post(url, parts, [completion = std::move(completion)](bool sent, const QString& error) {
        if (!sent)
            LOG_WARN("Launch report not sent: %s", qUtf8Printable(error));
        if (completion)
            completion(sent);
    });
    return true;
}

} // namespace iconfoundry
