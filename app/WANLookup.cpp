#include "app/WANLookup.h"

#include "app/DisplaySettings.h"

#include <QFile>
#include <QFileInfo>
#include <QUrl>

namespace lanterna
{

namespace
{

constexpr qint64 largestConfiguration = 1024 * 1024;

bool isWebURL(const QUrl &url)
{
    return url.isValid() && !url.host().isEmpty() && (url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https"));
}

std::optional<QByteArray> readFile(const QString &path)
{
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return file.read(largestConfiguration);
}

} // namespace

WANLookup::WANLookup(Environment environment, Finished finished) : m_environment(std::move(environment)), m_finished(std::move(finished)) { }

void WANLookup::readConfiguration(std::function<void()> configured)
{
    const auto configureWith = [this, alive = std::weak_ptr(m_alive), configured = std::move(configured)](const std::optional<QByteArray> &bytes) {
        if (alive.expired())
            return;
        configure(bytes ? decodeWANConfiguration(*bytes) : std::nullopt);
        configured();
    };
    m_environment.log(QStringLiteral("getting external IP"));
    const QString stored = m_environment.settings.text(QStringLiteral("configurationURL"));
    const QUrl url(stored.isEmpty() ? m_environment.defaultConfigurationURL : stored);
    Dispatch &dispatch = m_environment.dispatch;
    if (url.isLocalFile()) {
        const auto bytes = readFile(url.toLocalFile());
        dispatch.mainAsync([configureWith, bytes] { configureWith(bytes); });
    } else if (isWebURL(url) && wanLookupEnabled(m_environment.settings)) {
        dispatch.mainAsync([this, alive = std::weak_ptr(m_alive), address = url.toString(QUrl::FullyEncoded), configureWith] {
            if (!alive.expired())
                m_environment.download(
                    address, [configureWith](const HttpReply &reply) { configureWith(reply.error ? std::nullopt : std::optional(reply.body)); });
        });
    } else {
        dispatch.mainAsync([configureWith] { configureWith(std::nullopt); });
    }
}

void WANLookup::configure(const std::optional<QString> &text)
{
    bool complete = true;
    m_endpoint = parseWANConfiguration(text, &complete);
    if (text && text->contains(QLatin1String("||")))
        m_environment.log(QStringLiteral("Lanterna...go!"));
    if (!complete)
        m_environment.log(QStringLiteral("WAN configuration: the end marker is missing, using \"%@\""), m_endpoint.endCrop);
}

bool WANLookup::getWANIP()
{
    if (!hasEndpoint()) {
        m_environment.log(QStringLiteral("whatIsMyIPURL is nil or empty, cannot fetch WAN IP"));
        return false;
    }
    if (!wanLookupEnabled(m_environment.settings)) {
        m_environment.dispatch.mainAsync([this, alive = std::weak_ptr(m_alive)] {
            if (!alive.expired())
                m_finished(QStringLiteral("offline"), false);
        });
        return true;
    }
    const QUrl url(m_endpoint.url, QUrl::StrictMode);
    if (!isWebURL(url)) {
        m_environment.log(QStringLiteral("Invalid URL: %@"), m_endpoint.url);
        return false;
    }
    m_environment.download(url.toString(QUrl::FullyEncoded), [this, alive = std::weak_ptr(m_alive)](const HttpReply &reply) {
        if (!alive.expired())
            receive(reply);
    });
    return true;
}

void WANLookup::receive(const HttpReply &reply)
{
    if (reply.error) {
        m_environment.log(QStringLiteral("Error fetching WAN IP: %@"), *reply.error);
        m_finished(QStringLiteral("offline"), false);
        return;
    }
    m_finished(parseWANReply(QString::fromUtf8(reply.body), m_endpoint.beginningCrop, m_endpoint.endCrop), true);
}

} // namespace lanterna
