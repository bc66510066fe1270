#include "app/NewMenuItem.h"

#include <QHostAddress>
#include <QTextBoundaryFinder>

namespace lanterna
{

namespace
{

constexpr int longestToolTip = 1000; // characters

/// A text of up to 1000 characters as it is, the first 1000 and "..." of a longer one. Characters as people count them: none is cut in two.
QString shortened(const QString &text)
{
    if (text.size() <= longestToolTip)
        return text;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    for (int count = 0; count < longestToolTip; ++count) {
        if (finder.toNextBoundary() == -1)
            return text;
    }
    return finder.position() == text.size() ? text : text.left(finder.position()) + QStringLiteral("...");
}

} // namespace

void NewMenuItem::showToolTip(const QString &text)
{
    if (m_features.showToolTip)
        m_features.showToolTip(shortened(text), m_ports.statusItem.centreX().value_or(0.0));
}

void NewMenuItem::copyText(const QString &text, std::function<void()> done)
{
    m_ports.pasteboard.setText(text, [this, alive = std::weak_ptr(m_alive), done = std::move(done)](bool copied) {
        if (alive.expired())
            return;
        if (!copied) {
            m_ports.log(QStringLiteral("the clipboard could not be set"));
            showToolTip(QStringLiteral("the clipboard could not be set"));
        } else if (done) {
            done();
        }
    });
}

void NewMenuItem::noteUsefulAction()
{
    if (m_features.noteUsefulActionAndMaybeRequestReview)
        m_features.noteUsefulActionAndMaybeRequestReview();
}

void NewMenuItem::copyToClipboardFromItem(const MenuItem &item)
{
    m_ports.log(QStringLiteral("copyToClipboardFromItem: %@"), item.title);
    const QString text = bareAddress(item.title);
    // Nothing is brought to the front: the call shows no window that takes the focus, and a copy leaves it where it is.
    copyText(text, [this, text] {
        showToolTip(QStringLiteral("the following text has been copied to your clipboard: \n") + text);
        noteUsefulAction();
    });
}

void NewMenuItem::copyToClipboard()
{
    m_myWANIP = m_ports.settings.text(QStringLiteral("WANIP"));
    m_myLANIP = m_ports.settings.text(QStringLiteral("LANIP"));
    m_nics = knownInterfaces();
    QString text;
    if (m_numnics >= 2) {
        m_firstLocalNicIP = m_nics.value(0);
        m_secondLocalNicIP = m_nics.value(1);
        if (m_whichIP == firstLAN)
            text = bareAddress(m_firstLocalNicIP);
        else if (m_whichIP == wan)
            text = m_myWANIP;
        else if (m_whichIP == secondLAN)
            text = bareAddress(m_secondLocalNicIP);
    } else if (m_numnics == 1) {
        if (m_whichIP == wan)
            text = m_myWANIP;
        else if (m_whichIP == firstLAN)
            text = bareAddress(m_myLANIP);
    }
    copyText(text, [this] { noteUsefulAction(); }); // empty text clears: the pasteboard is cleared in every case
}

void NewMenuItem::copyShownAddress()
{
    const QString text = bareAddress(m_shownTitle);
    if (m_statusItemContent.image == StatusImage::none && !QHostAddress(text).isNull())
        copyText(text);
}

} // namespace lanterna
