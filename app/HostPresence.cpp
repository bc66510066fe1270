#include "app/HostPresence.h"

#include "app/AddressText.h"
#include "platform/SystemLog.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>

namespace lanterna
{

namespace
{

constexpr qsizetype longestServiceName = 63; // bytes of a DNS label

struct CloseStream {
    void operator()(FILE *stream) const { pclose(stream); }
};

} // namespace

QString presenceName(const QString &machineName, const QString &user, const QString &interfaceText)
{
    return formatText(QStringLiteral("%@, %@: %@"), {machineName, user, interfaceText});
}

bool isAnnounced(const QString &interfaceText)
{
    return !interfaceText.isEmpty() && !containsString(interfaceText, QStringLiteral("127.0.0.1"));
}

bool fitsServiceName(const QString &name)
{
    const qsizetype size = name.toUtf8().size();
    return size > 0 && size <= longestServiceName;
}

QString shellOutput(const QString &command)
{
    const bool ascii = std::all_of(command.begin(), command.end(), [](QChar character) { return character.unicode() < 0x80; });
    if (!ascii)
        return {};
    const std::unique_ptr<FILE, CloseStream> stream(popen(command.toLatin1().constData(), "re"));
    if (!stream)
        return {};
    QByteArray output; // decoded as a whole: a piece may end within a character
    std::array<char, 1024> piece{};
    while (std::fgets(piece.data(), piece.size(), stream.get()))
        output += piece.data();
    return QString::fromUtf8(output);
}

} // namespace lanterna
