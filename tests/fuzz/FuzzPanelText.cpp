#include "platform/linux/PanelHosts.h"
#include "platform/linux/StatusPresentation.h"
#include "platform/linux/desktop/AddressIcon.h"
#include "platform/linux/desktop/DesktopWorkspace.h"

using namespace lanterna;

/// What the panel code reads from outside: names of processes, lists of URL handlers, and titles with interface names of any bytes.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const QString text = QString::fromUtf8(bytes);
    const QString process = processNameFrom(bytes.left(16), bytes.mid(16));
    hasSchemeHandler(text.left(4), {text, text.mid(4)});
    const StatusItemContent content{text.left(30), StatusImage::none, {}, text};
    const StatusPresentation shown = presentStatus(content, panelTraits(process), text.right(4));
    for (const int pixels : {16, 22, 48}) {
        AddressIcon::draw(shown.picture.text, pixels, AddressIcon::Style::fourOctets);
        AddressIcon::draw(text, pixels, AddressIcon::Style::lastOctets);
    }
    return 0;
}
