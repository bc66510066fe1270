#include "platform/linux/StatusPresentation.h"

namespace lanterna
{

namespace
{

using Label = PanelTraits::Label;
using Picture = PanelTraits::Picture;

const QString ellipsis = QStringLiteral("...");
const QString nameEnd = QStringLiteral(": ");

/// The drawn picture for the setting and the panel; none where the text goes beside the icon.
StatusPicture::Kind pictureKind(const PanelTraits &traits, const QString &textSetting)
{
    if (textSetting == QLatin1String("label"))
        return StatusPicture::Kind::templateIcon;
    if (textSetting == QLatin1String("icon"))
        return StatusPicture::Kind::address;
    if (textSetting == QLatin1String("lastOctets"))
        return StatusPicture::Kind::lastOctets;
    return traits.label == Label::draws ? StatusPicture::Kind::templateIcon : StatusPicture::Kind::address;
}

} // namespace

QString fullStatusTitle(const StatusItemContent &content)
{
    if (!content.title.endsWith(ellipsis))
        return content.title;
    const QString headline = content.tooltip.section(QLatin1Char('\n'), 0, 0);
    const QString kept = content.title.chopped(ellipsis.size());
    return headline.size() > content.title.size() && headline.startsWith(kept) ? headline : content.title;
}

QString addressPart(const QString &title)
{
    const qsizetype end = title.indexOf(nameEnd);
    return end < 0 ? title : title.mid(end + nameEnd.size());
}

QString statusLabelGuide(const QString &label)
{
    static const QString widest = QStringLiteral("255.255.255.255");
    if (label.isEmpty())
        return {};
    const QString guide = label.chopped(addressPart(label).size()) + widest;
    return guide.size() < label.size() ? label : guide;
}

StatusPresentation presentStatus(const StatusItemContent &content, const PanelTraits &traits, const QString &textSetting)
{
    const QString title = fullStatusTitle(content);
    const QString headline = content.tooltip.section(QLatin1Char('\n'), 0, 0);
    StatusPresentation shown;
    shown.description = content.accessibilityDescription;
    shown.toolTipTitle = headline.isEmpty() ? title : headline;
    shown.toolTipText = content.tooltip.section(QLatin1Char('\n'), 1);
    if (content.image == StatusImage::locationWarning) {
        shown.picture.kind = StatusPicture::Kind::warning;
        shown.needsAttention = true;
        shown.toolTipTitle = content.accessibilityDescription.isEmpty() ? shown.toolTipTitle : content.accessibilityDescription;
        return shown;
    }
    if (content.title.isEmpty() || content.image == StatusImage::templateIcon) {
        if (shown.toolTipTitle.isEmpty())
            shown.toolTipTitle = QStringLiteral("Lanterna");
        return shown;
    }
    if (textSetting != QLatin1String("icon") && textSetting != QLatin1String("lastOctets")) {
        shown.label = content.title;
        shown.labelGuide = statusLabelGuide(content.title);
    }
    shown.picture.kind = pictureKind(traits, textSetting);
    if (shown.picture.kind != StatusPicture::Kind::templateIcon) {
        shown.picture.text = addressPart(title);
        // A drawing is sharp only at its own sizes: a panel that draws pixels well gets no file that it might scale instead.
        shown.picture.useName = traits.picture != Picture::pixmap;
    }
    if (shown.description.isEmpty())
        shown.description = title;
    return shown;
}

} // namespace lanterna
