#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace lanterna
{

/// Where to ask for the WAN address, and the texts that frame it in the reply.
struct WANEndpoint {
    QString url;
    QString beginningCrop;
    QString endCrop;

    bool operator==(const WANEndpoint &) const = default;
};

/// The endpoint that is asked when no configuration names another, with the default markers.
WANEndpoint builtInWANEndpoint();

/// Reads a configuration text: "URL||beginning marker||end marker"; an empty URL means the built-in one. No text, or one without "||", means the
/// built-in endpoint. A field that is missing keeps its built-in value, and `complete` becomes false.
WANEndpoint parseWANConfiguration(const std::optional<QString> &text, bool *complete = nullptr);

/// Configuration bytes as text: none when they are no UTF-8. One line end at the end is dropped, everything else stands.
std::optional<QString> decodeWANConfiguration(const QByteArray &bytes);

/// The address that stands between the markers, trimmed; "offline" for an empty body or one that contains "502"; "unavailable" when a marker or
/// the address is missing.
QString parseWANReply(const QString &body, const QString &beginningCrop, const QString &endCrop);

} // namespace lanterna
